// Threads that start together, and waiting for what they do.
#pragma once

#include <atomic>
#include <chrono>
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

/// Whether the condition came true within the limit.
template <class Condition>
bool WaitFor(Condition iCondition, std::chrono::milliseconds iLimit = std::chrono::seconds(10))
{
    const auto end = std::chrono::steady_clock::now() + iLimit;
    while (!iCondition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}
