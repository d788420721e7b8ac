// A scheduler that runs threads in every order of the points at which they can be parted.
#pragma once

#include <array>
#include <functional>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// A lock under the scheduler. Only the thread that runs looks at it: the others are parked.
struct ScheduledLock
{
    bool IsFree(bool ibShared) const { return mpOwner == nullptr && (ibShared || mReaders == 0); }

    const void* mpOwner = nullptr; // who has it for itself
    int mFurtherEntries = 0;       // the owner's
    short mReaders = 0;
    short mCategory = 0;
};

/// Parts threads before they take a lock and after they have left their last one, where a part of what they do begins,
/// and where they Meet something without holding a lock. One of them runs at a time. It keeps its threads from run to
/// run.
///
/// The first run goes through all points with the lowest thread that can go on; each Next() turns to the next order,
/// depth first, until there is none. A run in which threads wait for each other, or keep a lock, ends the program and
/// tells its schedule.
class Scheduler
{
public:
    using Parts = std::vector<std::function<void()>>;

    static constexpr std::size_t cThreads = 3;

    Scheduler();
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// Turns to the first order. With whole parts threads are parted where a part begins or a lock isn't free, and
    /// nowhere else. In one run the turn is taken at most `iMostSwitches` times from a thread that could go on. Noted
    /// calls of the platform are met if their names contain `iNoted`. A schedule such as "ABBA" says who goes on at the
    /// first points.
    void Begin(bool ibWholeParts, int iMostSwitches, const char* iNoted, std::string_view iSchedule = "");
    /// Runs what each thread has to do, in the present order.
    void Run(const std::vector<Parts>& iThreads);
    bool Next();

    /// The last run: a line with the letters of the threads, and one for each point that was passed.
    std::string GetSchedule() const { return mLetters + '\n' + mLines; }

    // For what stands in for the platform; without effect on threads that the scheduler doesn't run, but for the locks.

    /// Something that others may come before or after.
    static void Meet(const std::string& iWhat);
    static void MeetNoted(std::string_view iOperation);
    /// Waits until any other thread has gone on.
    static void Spin();
    static void Enter(ScheduledLock& ioLock, bool ibShared);
    static void Leave(ScheduledLock& ioLock, bool ibShared);

private:
    enum class EnumState
    {
        Ready,
        AtLock,
        Spinning,
        Done,
    };

    struct Thread
    {
        Scheduler* mpScheduler = nullptr;
        char mName = 'A';
        std::thread mThread{};
        std::binary_semaphore mTurn{0};
        const Parts* mpParts = nullptr; // null ends the thread
        EnumState mState = EnumState::Done;
        const ScheduledLock* mpLock = nullptr;
        bool mbShared = false;
        bool mbOthersWentOn = false;
        int mHeldLocks = 0;
    };

    struct Decision
    {
        unsigned mCandidates; // a bit a thread; 0: as the schedule says
        std::size_t mChosen;
    };

    void RunThread(Thread& ioThread);
    static bool CanGoOn(const Thread& iThread);
    std::size_t Choose(const Thread* iCurrent = nullptr);
    static void TakeLock(ScheduledLock& ioLock, bool ibShared);
    static void Park(Thread& ioThread);
    void Part(Thread& ioThread, const std::string& iWhat, bool ibAlways = false);
    [[noreturn]] void Fail(const std::string& iWhy) const;

    static thread_local Thread* tpThread;

    std::array<Thread, cThreads> mThreads;
    std::binary_semaphore mAllDone{0};
    bool mbWholeParts = false;
    int mMostSwitches = 0;
    const char* mpNoted = nullptr;
    std::vector<Decision> mDecisions; // on the way to the present order
    std::size_t mDepth = 0;           // of them made in this run
    int mSwitches = 0;                // in this run
    std::string mLetters;
    std::string mLines;
};
