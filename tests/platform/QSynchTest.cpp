#include "platform/QSynch.h"

#include "platform/Mutex.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>

using QSynch::CriticalSection;
using QSynch::RWLock;

namespace
{

/// Lets two threads go on together, again and again.
class Meeting
{
public:
    void Wait(int iRound)
    {
        for (++mArrived; mArrived.load() < 2 * iRound;)
            std::this_thread::yield();
    }

private:
    std::atomic<int> mArrived{0};
};

/// How often the first two users of a new lock, who come at once, met inside; of 2,000 locks.
template <class FirstHold, class SecondHold, class Lock>
int CountMeetingsInside(Lock* (*iCreate)(), void (*iDestroy)(Lock*))
{
    Meeting before;
    Meeting after;
    Lock* lock = nullptr;
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
        for (int round = 1; round <= 2000; ++round)
        {
            if (iIndex == 0)
                lock = iCreate();
            before.Wait(round);
            if (iIndex == 0)
            {
                const FirstHold hold(lock);
                stay();
            }
            else
            {
                const SecondHold hold(lock);
                stay();
            }
            after.Wait(round);
            if (iIndex == 0)
                iDestroy(lock);
        }
    });
    return meetings;
}

} // namespace

TEST(NewLocks, KeepTwoFirstUsersApart)
{
    constexpr auto cNewRWLock = [] { return QSynch::CreateRWLock(1); };
    constexpr auto cNewSection = [] { return QSynch::CreateCriticalSection(1); };
    EXPECT_EQ((CountMeetingsInside<RWLock::WriteHold, RWLock::WriteHold, RWLock>(cNewRWLock, QSynch::DestroyRWLock)),
              0);
    EXPECT_EQ((CountMeetingsInside<RWLock::WriteHold, RWLock::ReadHold, RWLock>(cNewRWLock, QSynch::DestroyRWLock)), 0);
    EXPECT_EQ((CountMeetingsInside<CriticalSection::SmartLock, CriticalSection::SmartLock, CriticalSection>(
                  cNewSection, QSynch::DestroyCriticalSection)),
              0);
}

/// A section is made on the heap, and in memory of the caller's.
TEST(Locks, LetOneThreadInAtATimeAndASectionsThreadAgainUntilItsLastLeave)
{
    alignas(QSynch::cCriticalSectionAlignment) std::byte place[QSynch::cCriticalSectionBytes];
    QSynch::Mutex mutex;
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
