// Runs one function on several threads that start together.
#pragma once

#include <latch>
#include <thread>
#include <vector>

template <class Function>
void RunOnThreads(int iThreads, Function iFunction)
{
    std::latch start(iThreads);
    std::vector<std::jthread> threads;
    for (int index = 0; index < iThreads; ++index)
        threads.emplace_back([&start, &iFunction, index] {
            start.arrive_and_wait();
            iFunction(index);
        });
}
