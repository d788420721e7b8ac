// Two threads call one job at once: what they are given, and what the job is afterwards, must come of some order of
// their calls. The operations are those that hold the lock once.
#include "tests/job/JobModelPair.h"
#include "tests/support/Soak.h"

#include <chrono>
#include <optional>

namespace
{

/// Bit n: the thread lets the other one go on at the n-th place from here where it takes or has released a lock.
thread_local unsigned tPauses = 0;

std::atomic<unsigned> gPlaces{0}; ///< such places that threads have come to

} // namespace

#if defined(__linux__) // the linker leads calls of the two operations here

void EnterReal(QSynch::CriticalSection* iLock) asm("__real__ZN6QSynch15CriticalSection5EnterEv");
void LeaveReal(QSynch::CriticalSection* iLock) asm("__real__ZN6QSynch15CriticalSection5LeaveEv");
void EnterWithPause(QSynch::CriticalSection* iLock) asm("__wrap__ZN6QSynch15CriticalSection5EnterEv");
void LeaveWithPause(QSynch::CriticalSection* iLock) asm("__wrap__ZN6QSynch15CriticalSection5LeaveEv");

/// Until the other one has come to such a place, but not for long: it may have ended, or wait for this thread's lock.
static void PauseIfDue()
{
    const unsigned before = gPlaces.fetch_add(1, std::memory_order_relaxed) + 1; // relaxed: it orders nothing else
    for (int turn = 0; turn < 20 && (tPauses & 1) != 0 && gPlaces.load(std::memory_order_relaxed) == before; ++turn)
        std::this_thread::yield();
    tPauses >>= 1;
}

void EnterWithPause(QSynch::CriticalSection* iLock)
{
    PauseIfDue();
    EnterReal(iLock);
}

void LeaveWithPause(QSynch::CriticalSection* iLock)
{
    LeaveReal(iLock);
    PauseIfDue();
}

#endif

namespace
{

constexpr unsigned cRounds = 4000;
constexpr std::size_t cThreads = 2;

/// A call of a thread. Its times are the clock's: a counter that both count would keep them in step.
struct Done
{
    Call mCall;
    int mThreadTime;
    DWORD mThread = 0;
    Result mResult{};
    std::chrono::steady_clock::time_point mBegun{};
    std::chrono::steady_clock::time_point mEnded{};
};

using Lists = std::array<std::vector<Done>, cThreads>;
using Places = std::array<std::size_t, cThreads>;

bool HoldsLockOnce(const Operation& iOperation, bool ibContext)
{
    const std::string name = iOperation.mName;
    const auto is = [&](const char* iName) { return name.rfind(iName, 0) == 0; };
    if (is("GetJobErrorBuilder") || is("UpdateJobCloseCounters"))
        return !ibContext; // which they ask without the lock
    return !is("ResetStatusBeforeResume") && !is("SetLimit");
}

/// Where two threads meet, without sleeping: they go on at the same moment.
class Meeting
{
public:
    void Meet()
    {
        const unsigned goal = (mCame++ / cThreads + 1) * cThreads;
        for (unsigned turn = 1; mCame < goal; ++turn)
            if (turn % 1024 == 0) // who wakes up first mustn't be done before the other one begins
                std::this_thread::yield();
    }

private:
    std::atomic<unsigned> mCame{0};
};

std::string CallsIn(const Texts& iContextCalls, const Texts& iItemCalls)
{
    std::string text;
    for (const Texts* calls : {&iContextCalls, &iItemCalls})
        for (const std::string& call : *calls)
            text += call == "Release" ? "" : call + '\n';
    return text;
}

class JobOfTwoThreads : public JobTest
{
protected:
    void RunRounds(Soak& ioSoak)
    {
        Builtin::LogSinks::Enable("Kernel", "*", false);
        Meeting meeting;
        std::optional<Pair> pair;
        bool bGoesOn = true;
        RunOnThreads(cThreads, [&](int iThread) {
            while (true)
            {
                unsigned seed = 0;
                if (iThread == 0 && (bGoesOn = ioSoak.HasNext()))
                    Prepare(seed = ioSoak.TakeSeed(), pair);
                meeting.Meet();
                if (!bGoesOn)
                    return;
                tPauses = mPauses[static_cast<std::size_t>(iThread)];
                for (Done& done : mLists[static_cast<std::size_t>(iThread)])
                    Do(*pair, done);
                tPauses = 0;
                meeting.Meet();
                if (iThread == 0)
                    Check(seed, *pair);
            }
        });
    }

    std::uint64_t mOperations = 0;

private:
    /// Some calls by one thread, and then what each of the two is to call.
    void Prepare(unsigned iSeed, std::optional<Pair>& oPair)
    {
        Random random(iSeed);
        oPair.reset();
        JobModel& model = oPair.emplace(PickJob(random)).mModel;
        const Favourites favourites = PickFavourites(random);
        for (unsigned calls = random() % 12; calls > 0; --calls)
        {
            const Call call = PickCall(random, model, favourites);
            model.mNow += call.mElapsed;
            model.mThreadTime += 7;
            SetTimes(model);
            Result result;
            call.mpOperation->mOnJob(*oPair, call.mArguments, result);
            call.mpOperation->mOnModel(model, call.mArguments, result);
        }
        model.mNow += 10;
        SetTimes(model);
        oPair->mContext.mCalls.clear();
        oPair->mStrangers.mCalls.clear();
        model.mCalls.clear();
        model.mItemCalls.clear();
        for (unsigned& pauses : mPauses)
            pauses = Pick<unsigned>(random, {0xFFFF, 0x5555, 0x3333, 0x0F0F}) & static_cast<unsigned>(random());
        for (std::vector<Done>& list : mLists)
        {
            list.clear();
            for (std::size_t length = 3 + random() % 2; list.size() < length;)
            {
                Call call = PickCall(random, model, favourites);
                if (random() % 2 == 0) // the two threads have to do with the same things
                    call.mpOperation = favourites[random() % favourites.size()];
                call.mFailing = 0;
                if (HoldsLockOnce(*call.mpOperation, model.mbContext))
                    list.push_back({call, model.mThreadTime += 7});
            }
            mOperations += list.size();
        }
    }

    static void Do(Pair& ioPair, Done& ioDone)
    {
        SetThreadTime(ioDone.mThreadTime);
        ioDone.mThread = QBase::GetCurrentThreadID();
        ioDone.mBegun = std::chrono::steady_clock::now();
        ioDone.mCall.mpOperation->mOnJob(ioPair, ioDone.mCall.mArguments, ioDone.mResult);
        ioDone.mEnded = std::chrono::steady_clock::now();
    }

    void Check(unsigned iSeed, Pair& ioPair)
    {
        const std::string calls = CallsIn(ioPair.mContext.mCalls, ioPair.mStrangers.mCalls);
        const std::string seen = calls + TextOf(ioPair);
        if (IsOrder(ioPair.mModel, {}, seen))
            return;
        std::string lists;
        for (const std::vector<Done>& list : mLists)
            for (const Done& done : list)
                lists += JobModelState::Join("  thread ", done.mThread, ": ", done.mCall.Text(), ' ',
                                             done.mResult.Text(), " from ", (done.mBegun - mLists[0][0].mBegun).count(),
                                             " to ", (done.mEnded - mLists[0][0].mBegun).count(), '\n');
        ADD_FAILURE() << "seed " << iSeed << ": no order of these calls gives what they gave, and the job below\n"
                      << lists << "Before:\n"
                      << TextOf(ioPair.mModel) << "Afterwards:\n"
                      << seen;
    }

    /// Whether the calls from these places on, in some order that their times allow, lead to what was seen.
    bool IsOrder(const JobModel& iModel, const Places& iNext, const std::string& iSeen) const
    {
        if (iNext == Places{mLists[0].size(), mLists[1].size()})
            return CallsIn(iModel.mCalls, iModel.mItemCalls) + TextOf(iModel) == iSeen;
        for (std::size_t thread = 0; thread < cThreads; ++thread)
        {
            const std::size_t other = 1 - thread;
            if (iNext[thread] == mLists[thread].size())
                continue;
            const Done& done = mLists[thread][iNext[thread]];
            if (iNext[other] < mLists[other].size() && mLists[other][iNext[other]].mEnded < done.mBegun)
                continue;
            Result expected;
            JobModel after = iModel;
            after.mThread = done.mThread;
            after.mThreadTime = done.mThreadTime;
            done.mCall.mpOperation->mOnModel(after, done.mCall.mArguments, expected);
            Places next = iNext;
            ++next[thread];
            if (expected == done.mResult && IsOrder(after, next, iSeen))
                return true;
        }
        return false;
    }

    Lists mLists;
    std::array<unsigned, cThreads> mPauses{};
};

} // namespace

TEST_F(JobOfTwoThreads, DoesAsIfTheyCalledItInTurn)
{
    Soak soak(cRounds);
    RunRounds(soak);
    soak.Report("rounds of two threads", mOperations);
#if defined(__linux__)
    EXPECT_GT(gPlaces.load(), 0u) << "the linker leads no calls here";
#endif
}
