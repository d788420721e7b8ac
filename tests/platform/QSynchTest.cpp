#include "platform/QSynch.h"

#include "platform/Mutex.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

using QSynch::CriticalSection;
using QSynch::RWLock;

namespace
{

/// How often the first two users of a new lock, who come at once, met inside; of 2,000 locks.
template <class FirstHold, class SecondHold, class LockPtr>
int CountMeetingsInside(LockPtr (*iMake)(int))
{
    std::vector<LockPtr> locks(2000);
    std::generate(locks.begin(), locks.end(), [iMake] { return iMake(1); });
    std::atomic<std::size_t> arrived{0};
    std::atomic<int> inside{0};
    std::atomic<int> meetings{0};
    const auto stay = [&] {
        bool bAlone = inside++ == 0;
        for (int i = 0; i < 20; ++i)
            bAlone = inside.load() == 1 && bAlone;
        --inside;
        meetings += bAlone ? 0 : 1;
    };
    RunOnThreads(2, [&](int iIndex) {
        for (std::size_t round = 0; round < locks.size(); ++round)
        {
            for (++arrived; arrived.load() < 2 * (round + 1);)
                std::this_thread::yield();
            if (iIndex == 0)
            {
                const FirstHold hold(locks[round].get());
                stay();
            }
            else
            {
                const SecondHold hold(locks[round].get());
                stay();
            }
        }
    });
    return meetings;
}

} // namespace

TEST(NewLocks, KeepTwoFirstUsersApart)
{
    using Section = CriticalSection::SmartLock;
    EXPECT_EQ((CountMeetingsInside<RWLock::WriteHold, RWLock::WriteHold>(QSynch::MakeRWLock)), 0);
    EXPECT_EQ((CountMeetingsInside<RWLock::WriteHold, RWLock::ReadHold>(QSynch::MakeRWLock)), 0);
    EXPECT_EQ((CountMeetingsInside<Section, Section>(QSynch::MakeCriticalSection)), 0);
}

/// A section is made on the heap, and in memory of the caller's.
TEST(Locks, LetOneThreadInAtATimeAndASectionsThreadAgainUntilItsLastLeave)
{
    alignas(QSynch::cCriticalSectionAlignment) std::byte place[QSynch::cCriticalSectionBytes];
    QSynch::Mutex<QSynch::LockLevelNone> mutex;
    CriticalSection* const sections[] = {QSynch::CreateCriticalSection(1), QSynch::CreateCriticalSection(1, place)};
    int counts[3] = {};
    const auto countUp = [](int& ioCount) {
        const int seen = ioCount;
        std::this_thread::yield(); // the others would come in here
        ioCount = seen + 1;
    };
    RunOnThreads(4, [&](int) QORJOB_NO_THREAD_SAFETY_ANALYSIS {
        for (int i = 0; i < 500; ++i)
        {
            {
                const QSynch::MutexHold hold(mutex);
                countUp(counts[0]);
            }
            for (const int which : {0, 1})
            {
                const CriticalSection::SmartLock outer(sections[which]);
                for (int further = 0; further < 2; ++further)
                    const CriticalSection::SmartLock inner(sections[which]);
                countUp(counts[1 + which]);
            }
        }
    });
    for (const int count : counts)
        EXPECT_EQ(count, 2000);
    for (CriticalSection* section : sections)
        QSynch::DestroyCriticalSection(section);
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
