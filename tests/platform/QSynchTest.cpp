#include "platform/QSynch.h"

#include "platform/builtin/Faults.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <cstdint>

using Faults::EnumFault;
using QSynch::CriticalSection;
using QSynch::RWLock;

TEST(CriticalSections, AreReentrantAndKeepOthersOut)
{
    CriticalSection* const lock = QSynch::CreateCriticalSection(1);
    int sum = 0;
    RunOnThreads(4, [&](int) NO_THREAD_SAFETY_ANALYSIS {
        for (int i = 0; i < 1000; ++i)
        {
            const CriticalSection::SmartLock outer(lock);
            {
                const CriticalSection::SmartLock inner(lock);
            }
            ++sum; // still held
        }
    });
    EXPECT_EQ(sum, 4000);
    QSynch::DestroyCriticalSection(lock);
}

TEST(ReadersWriterLocks, LetReadersInTogether)
{
    RWLock* const lock = QSynch::CreateRWLock(1);
    {
        const RWLock::ReadHold hold(lock);
        RunOnThreads(2, [&](int) { const RWLock::ReadHold other(lock); }); // would never end otherwise
    }
    QSynch::DestroyRWLock(lock);
}

TEST(ReadersWriterLocks, KeepWritersAlone)
{
    RWLock* const lock = QSynch::CreateRWLock(1);
    int first = 0;
    int second = 0;
    RunOnThreads(4, [&](int iIndex) {
        for (int i = 0; i < 1000; ++i)
        {
            if (iIndex < 2)
            {
                const RWLock::WriteHold hold(lock);
                ++first;
                ++second;
            }
            else
            {
                const RWLock::ReadHold hold(lock);
                ASSERT_EQ(first, second);
            }
        }
    });
    EXPECT_EQ(first, 2000);
    QSynch::DestroyRWLock(lock);
}

TEST(Locks, StandOnTheirOwnCacheLines)
{
    CriticalSection* const lock = QSynch::CreateCriticalSection(1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lock) % 128, 0u);
    QSynch::DestroyCriticalSection(lock);
}

TEST(Locks, AreNullWhenTheyCannotBeMade)
{
    for (const EnumFault fault : {EnumFault::LockCreation, EnumFault::Allocation})
    {
        Faults::FailNth(fault, 1);
        EXPECT_EQ(QSynch::CreateCriticalSection(1), nullptr);
        Faults::FailNth(fault, 1);
        EXPECT_EQ(QSynch::CreateRWLock(1), nullptr);
    }
    Faults::StartCountingBlocks();
    QSynch::DestroyCriticalSection(QSynch::CreateCriticalSection(1));
    QSynch::DestroyRWLock(QSynch::CreateRWLock(1));
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST(SmartPointers, LetTheirObjectGoOnceWhicheverWayItMoves)
{
    static int sDisposed;
    struct Count
    {
        static void Dispose(int*) { ++sDisposed; }
    };
    sDisposed = 0;
    int object = 0;
    {
        QSynch::SmartPtr<int, Count> first(&object);
        QSynch::SmartPtr<int, Count> second(std::move(first));
        QSynch::SmartPtr<int, Count> third;
        third = std::move(second);
        EXPECT_EQ(third.Get(), &object);
        EXPECT_EQ(sDisposed, 0);
    }
    EXPECT_EQ(sDisposed, 1);
}
