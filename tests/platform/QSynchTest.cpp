#include "platform/QSynch.h"

#include "platform/builtin/Faults.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

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

TEST(ReadersWriterLocks, LetReadersInTogetherAndKeepWritersAlone)
{
    RWLock* const lock = QSynch::CreateRWLock(1);
    int first = 0;
    int second = 0;
    RunOnThreads(4, [&](int iIndex) {
        for (int i = 0; i < 500 && iIndex < 2; ++i)
        {
            const RWLock::WriteHold hold(lock);
            ++first;
            ++second;
        }
        const RWLock::ReadHold hold(lock);
        EXPECT_EQ(first, second);
    });
    EXPECT_EQ(first, 1000);
    {
        const RWLock::ReadHold hold(lock);
        RunOnThreads(1, [&](int) { const RWLock::ReadHold other(lock); }); // would never end otherwise
    }
    QSynch::DestroyRWLock(lock);
}

TEST(Locks, AreNullWhenTheyCannotBeMade)
{
    Faults::StartCountingBlocks();
    for (const EnumFault fault : {EnumFault::LockCreation, EnumFault::Allocation})
    {
        Faults::FailNth(fault, 1);
        EXPECT_EQ(QSynch::CreateCriticalSection(1), nullptr);
        Faults::FailNth(fault, 1);
        EXPECT_EQ(QSynch::CreateRWLock(1), nullptr);
    }
    QSynch::DestroyCriticalSection(QSynch::CreateCriticalSection(1));
    QSynch::DestroyRWLock(QSynch::CreateRWLock(1));
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}
