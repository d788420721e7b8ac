#include "tests/interleaving/Scheduler.h"

#include "platform/Mutex.h"

#include <bit>
#include <cstdio>
#include <cstdlib>

extern "C"
{
    void AnnotateIgnoreSyncBegin(const char* iFile, int iLine);
    void AnnotateIgnoreSyncEnd(const char* iFile, int iLine);
    void AnnotateIgnoreReadsBegin(const char* iFile, int iLine);
    void AnnotateIgnoreReadsEnd(const char* iFile, int iLine);
    void AnnotateIgnoreWritesBegin(const char* iFile, int iLine);
    void AnnotateIgnoreWritesEnd(const char* iFile, int iLine);
}

namespace
{

/// The thread sanitizer doesn't see that threads take turns: to it they are ordered by the locks alone, so that it
/// finds what isn't under any.
struct Unseen
{
    Unseen()
    {
        QORJOB_TELL_SANITIZER(AnnotateIgnoreSyncBegin(nullptr, 0));
        QORJOB_TELL_SANITIZER(AnnotateIgnoreReadsBegin(nullptr, 0));
        QORJOB_TELL_SANITIZER(AnnotateIgnoreWritesBegin(nullptr, 0));
    }
    ~Unseen()
    {
        QORJOB_TELL_SANITIZER(AnnotateIgnoreWritesEnd(nullptr, 0));
        QORJOB_TELL_SANITIZER(AnnotateIgnoreReadsEnd(nullptr, 0));
        QORJOB_TELL_SANITIZER(AnnotateIgnoreSyncEnd(nullptr, 0));
    }
    Unseen(const Unseen&) = delete;
    Unseen& operator=(const Unseen&) = delete;
};

} // namespace

thread_local Scheduler::Thread* Scheduler::tpThread = nullptr;

Scheduler::Scheduler()
{
    for (Thread& thread : mThreads)
    {
        thread.mpScheduler = this;
        thread.mName = static_cast<char>('A' + (&thread - mThreads.data()));
        thread.mThread = std::thread([this, &thread] { RunThread(thread); });
    }
}

Scheduler::~Scheduler()
{
    for (Thread& thread : mThreads)
    {
        thread.mpParts = nullptr;
        QORJOB_TELL_SANITIZER(__tsan_release(this));
        thread.mTurn.release();
        thread.mThread.join();
    }
}

void Scheduler::Begin(bool ibWholeParts, int iMostSwitches, const char* iNoted, std::string_view iSchedule)
{
    mbWholeParts = ibWholeParts;
    mMostSwitches = iMostSwitches;
    mpNoted = iNoted;
    mDecisions.clear();
    for (const char letter : iSchedule)
        mDecisions.push_back({0, static_cast<std::size_t>(letter - 'A')});
}

void Scheduler::Run(const std::vector<Parts>& iThreads)
{
    mDepth = 0;
    mSwitches = 0;
    mLetters.clear();
    mLines.clear();
    for (std::size_t i = 0; i < iThreads.size(); ++i)
    {
        mThreads[i].mpParts = &iThreads[i];
        mThreads[i].mState = EnumState::Ready;
    }
    QORJOB_TELL_SANITIZER(__tsan_release(this));
    {
        const Unseen unseen;
        mThreads[Choose()].mTurn.release();
        mAllDone.acquire();
    }
    QORJOB_TELL_SANITIZER(__tsan_acquire(&mAllDone));
}

bool Scheduler::Next()
{
    for (; !mDecisions.empty(); mDecisions.pop_back())
    {
        Decision& last = mDecisions.back();
        if (const unsigned left = last.mCandidates >> (last.mChosen + 1); left != 0)
        {
            last.mChosen += 1 + static_cast<std::size_t>(std::countr_zero(left));
            return true;
        }
    }
    return false;
}

void Scheduler::RunThread(Thread& ioThread)
{
    for (;;)
    {
        Park(ioThread);
        QORJOB_TELL_SANITIZER(__tsan_acquire(this));
        if (ioThread.mpParts == nullptr)
            return;
        for (const auto& part : *ioThread.mpParts)
        {
            if (&part != &ioThread.mpParts->front()) // which it was chosen for
                Part(ioThread, "begins the next part", true);
            part();
        }
        QORJOB_TELL_SANITIZER(__tsan_release(&mAllDone));
        const Unseen unseen;
        if (ioThread.mHeldLocks != 0)
            Fail("a lock isn't left");
        ioThread.mState = EnumState::Done;
        const std::size_t next = Choose();
        (next == cThreads ? mAllDone : mThreads[next].mTurn).release();
    }
}

bool Scheduler::CanGoOn(const Thread& iThread)
{
    return iThread.mState == EnumState::Ready || (iThread.mState == EnumState::Spinning && iThread.mbOthersWentOn) ||
           (iThread.mState == EnumState::AtLock && iThread.mpLock->IsFree(iThread.mbShared));
}

/// Who goes on; cThreads when all are done.
std::size_t Scheduler::Choose(const Thread* iCurrent)
{
    constexpr std::size_t cEndless = 10000;
    unsigned candidates = 0;
    std::string waiting;
    for (const Thread& thread : mThreads)
    {
        if (CanGoOn(thread))
            candidates |= 1u << (&thread - mThreads.data());
        else if (thread.mState == EnumState::AtLock)
            waiting += std::string(" ") + thread.mName + " for lock " + std::to_string(thread.mpLock->mCategory);
        else if (thread.mState != EnumState::Done)
            waiting += std::string(" ") + thread.mName + " for any other";
    }
    if (candidates == 0 && waiting.empty())
        return cThreads;
    if (candidates == 0 || mDepth == cEndless)
        Fail("threads wait for ever:" + waiting);
    const bool bCanStay = iCurrent != nullptr && CanGoOn(*iCurrent);
    if (bCanStay && mSwitches == mMostSwitches)
        candidates = 1u << (iCurrent - mThreads.data());
    if (mDepth == mDecisions.size())
        mDecisions.push_back({candidates, static_cast<std::size_t>(std::countr_zero(candidates))});
    Decision& decision = mDecisions[mDepth++];
    if (decision.mCandidates == 0)
        decision.mCandidates = candidates;
    if (decision.mCandidates != candidates || (candidates >> decision.mChosen & 1) == 0)
        Fail("the same order went another way");
    Thread& chosen = mThreads[decision.mChosen];
    for (Thread& thread : mThreads)
        thread.mbOthersWentOn = thread.mbOthersWentOn || &thread != &chosen;
    if (bCanStay && &chosen != iCurrent)
        ++mSwitches;
    mLetters += chosen.mName;
    return decision.mChosen;
}

/// Until it is the thread's turn. Meanwhile it isn't the scheduler's: waiting may begin with spinning.
void Scheduler::Park(Thread& ioThread)
{
    const Unseen unseen;
    tpThread = nullptr;
    ioThread.mTurn.acquire();
    tpThread = &ioThread;
}

/// The thread's state says what it waits for.
void Scheduler::Part(Thread& ioThread, const std::string& iWhat, bool ibAlways)
{
    const Unseen unseen;
    if (ibAlways || !mbWholeParts || !CanGoOn(ioThread))
    {
        Thread& next = mThreads[Choose(&ioThread)];
        if (&next != &ioThread)
        {
            next.mTurn.release();
            Park(ioThread);
        }
    }
    ioThread.mState = EnumState::Ready;
    mLines.append("  ").append(1, ioThread.mName).append(" ").append(iWhat).append("\n");
}

/// The threads can't be ended any more, and so the program is.
void Scheduler::Fail(const std::string& iWhy) const
{
    std::fprintf(stderr, "%s, after %s", iWhy.c_str(), GetSchedule().c_str());
    std::abort();
}

void Scheduler::Meet(const std::string& iWhat)
{
    if (tpThread != nullptr && tpThread->mHeldLocks == 0)
        tpThread->mpScheduler->Part(*tpThread, "meets " + iWhat);
}

void Scheduler::MeetNoted(std::string_view iOperation)
{
    const char* const noted = tpThread != nullptr ? tpThread->mpScheduler->mpNoted : nullptr;
    if (noted != nullptr && iOperation.find(noted) != std::string_view::npos)
        Meet(std::string(iOperation));
}

void Scheduler::Spin()
{
    if (tpThread == nullptr)
        return;
    const Unseen unseen;
    tpThread->mState = EnumState::Spinning;
    tpThread->mbOthersWentOn = false;
    tpThread->mpScheduler->Part(*tpThread, "has spun");
}

void Scheduler::Enter(ScheduledLock& ioLock, bool ibShared)
{
    TakeLock(ioLock, ibShared);
    QORJOB_TELL_SANITIZER(__tsan_acquire(&ioLock));
}

void Scheduler::TakeLock(ScheduledLock& ioLock, bool ibShared)
{
    static constexpr char cOutside = 0; // the owner of what threads outside hold
    const Unseen unseen;
    const void* const self = tpThread != nullptr ? static_cast<const void*>(tpThread) : &cOutside;
    if (ioLock.mpOwner == self && !ibShared)
    {
        ++ioLock.mFurtherEntries;
        return;
    }
    if (tpThread != nullptr)
    {
        tpThread->mState = EnumState::AtLock;
        tpThread->mpLock = &ioLock;
        tpThread->mbShared = ibShared;
        tpThread->mpScheduler->Part(*tpThread, "enters lock " + std::to_string(ioLock.mCategory));
        ++tpThread->mHeldLocks;
    }
    if (ibShared)
        ++ioLock.mReaders;
    else
        ioLock.mpOwner = self;
}

void Scheduler::Leave(ScheduledLock& ioLock, bool ibShared)
{
    QORJOB_TELL_SANITIZER(__tsan_release(&ioLock));
    const Unseen unseen;
    if (ioLock.mFurtherEntries > 0)
    {
        --ioLock.mFurtherEntries;
        return;
    }
    if (ibShared)
        --ioLock.mReaders;
    else
        ioLock.mpOwner = nullptr;
    if (tpThread != nullptr && --tpThread->mHeldLocks == 0)
        tpThread->mpScheduler->Part(*tpThread, "has left lock " + std::to_string(ioLock.mCategory));
}
