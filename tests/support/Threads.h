// Runs one function on several threads that start together.
#pragma once

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

template <class Function>
void RunOnThreads(int iThreads, Function iFunction)
{
    std::atomic<int> waiting{iThreads};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(iThreads));
    for (int index = 0; index < iThreads; ++index)
    {
        threads.emplace_back([&waiting, &iFunction, index] {
            for (--waiting; waiting.load() != 0;)
                std::this_thread::yield();
            iFunction(index);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}
