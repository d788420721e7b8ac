#include "platform/Mutex.h"
#include "platform/QSynch.h"

#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>

#if defined(QORJOB_LOCK_ORDER)

namespace
{

using Hold = std::shared_ptr<void>;

template <class Holder, class Lock>
Hold HoldOf(Lock* iLock) QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    return std::make_shared<Holder>(iLock);
}

/// Of each kind of lock one, in the order in which they may be taken; readers and writers have one lock.
class LockOrder : public testing::Test
{
protected:
    Hold Take(std::size_t iKind) QORJOB_NO_THREAD_SAFETY_ANALYSIS
    {
        using Section = QSynch::CriticalSection::SmartLock;
        using RWLock = QSynch::RWLock;
        const std::function<Hold()> cTake[] = {
            [&] { return std::make_shared<QSynch::LockNote>(this, QSynch::LockLevelInitializer); },
            [&] { return HoldOf<Section>(mJob.get()); },
            [&] { return HoldOf<Section>(mContext.get()); },
            [&] { return HoldOf<Section>(mThreadMessages.get()); },
            [&] { return HoldOf<RWLock::ReadHold>(mRegistry.get()); },
            [&] { return HoldOf<RWLock::WriteHold>(mRegistry.get()); },
            [&] { return HoldOf<RWLock::WriteHold>(mDependencies.get()); },
            [&]() QORJOB_NO_THREAD_SAFETY_ANALYSIS { return std::make_shared<QSynch::MutexHold<Sinks>>(mSinks); },
            [&] { return std::make_shared<std::unique_lock<Last>>(mLast); },
        };
        return iKind < std::size(cTake) ? cTake[iKind]() : nullptr;
    }

    static constexpr std::size_t cKinds = 9;
    static constexpr int cRanks[cKinds] = {0, 1, 2, 3, 4, 4, 4, 5, 6};

private:
    using Sinks = QSynch::Mutex<QSynch::LockLevelSinks>;
    using Last = QSynch::StandardMutex<QSynch::LockLevelDiagnostics>;

    QSynch::CriticalSectionPtr mJob = QSynch::MakeCriticalSection(4);
    QSynch::CriticalSectionPtr mContext = QSynch::MakeCriticalSection(300);
    QSynch::CriticalSectionPtr mThreadMessages = QSynch::MakeCriticalSection(-3);
    QSynch::RWLockPtr mRegistry = QSynch::MakeRWLock(27);
    QSynch::RWLockPtr mDependencies = QSynch::MakeRWLock(26);
    Sinks mSinks;
    Last mLast;
};

} // namespace

TEST_F(LockOrder, IsThatOfTheLevelsAndForgetsWhatWasLeft)
{
    for (std::size_t first = 0; first < cKinds; ++first)
        for (std::size_t second = 0; second < cKinds; ++second)
        {
            SCOPED_TRACE(std::to_string(second) + " after " + std::to_string(first));
            Hold held = Take(first);
            if (cRanks[first] < cRanks[second])
            {
                const Hold further = Take(second);
                held.reset(); // not the last one first
            }
            else if (first != second || first > 3) // the thread's own section isn't taken once more
            {
                EXPECT_DEATH(Take(second), "out of order: .*takes the one at\n.+has taken the other at\n.+");
            }
        }
}

TEST_F(LockOrder, LeavesASectionToItsThreadAndALockWithoutALevelToAnyone)
{
    const Hold section = Take(1);
    const Hold again = Take(1);
    const Hold registry = Take(4);
    const QSynch::CriticalSectionPtr own = QSynch::MakeCriticalSection(1);
    const QSynch::CriticalSection::SmartLock hold(own.get());
    Take(7);
}

#endif
