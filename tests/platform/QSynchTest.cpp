#include "platform/QSynch.h"

#include "tests/support/Threads.h"

#include <gtest/gtest.h>

using QSynch::RWLock;

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
