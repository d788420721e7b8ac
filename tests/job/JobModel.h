// A job by its rules alone: what can be seen of it after each operation, what it logs and whom it tells. No locks, no
// memory to run out of, no speed.
#pragma once

#include "tests/job/JobModelStatus.h"

class JobModel : public JobModelStatus
{
public:
    using JobModelStatus::JobModelStatus;

    // --- Units -------------------------------------------------------------------------------------------------------
    void SetPUEnter(int iUnit)
    {
        mVisits.push_front({iUnit, mNow});
        if (IsEnded())
            return;
        mStatus = 2;
        mStatusTime = mNow;
    }

    void SetPUStart(int iUnit)
    {
        const auto visit = std::find_if(mVisits.begin(), mVisits.end(),
                                        [&](const ModelVisit& iVisit) { return iVisit.mUnit == iUnit; });
        if (visit != mVisits.end())
            visit->mStart = mNow;
        if (IsEnded())
            return;
        if (!std::exchange(mbStartedOnce, true) && IsReport())
        {
            mCounters[0] += mNow; // made at 0
            mCounters[1] += 1 - mActive;
            mActive = 1;
        }
        mStatus = 1;
        mStatusTime = mNow;
    }

    void SetPUExit(int iUnit)
    {
        const auto visit = std::find_if(mVisits.rbegin(), mVisits.rend(),
                                        [&](const ModelVisit& iVisit) { return iVisit.mUnit == iUnit; });
        if (visit != mVisits.rend())
            visit->mExit = mNow;
    }

    HRESULT GetPUId(int& oUnit) const
    {
        if (mTodo.empty())
            return E_FAIL;
        oUnit = mTodo.front().mUnit < 1 && !mVisits.empty() ? mVisits.front().mUnit : mTodo.front().mUnit;
        return S_OK;
    }

    int SetPriority(int iPriority)
    {
        if (iPriority != mPriority)
            Log("Job Trace: QORJob::SetPUPriority: Changing Job:4711 priority to ", iPriority, " from ", mPriority,
                ".");
        return std::exchange(mPriority, iPriority);
    }

    void SetPUPriority(int iPriority)
    {
        if (iPriority != mPUPriority)
            Log("Job Trace: QORJob::SetPUPriority: Changing Job:4711 PU priority to ", iPriority, " from ", mPUPriority,
                ".");
        mPUPriority = iPriority;
    }

    /// Of a job without finished steps it is the time since its making at 0, in 100-nanosecond units, or what 32 bits
    /// hold of it.
    HRESULT GetWaitingTime() const
    {
        return mFinished.empty() ? static_cast<HRESULT>(mNow * std::int64_t{10'000} & 0xFFFFFFFF) : S_OK;
    }

    // --- Children ----------------------------------------------------------------------------------------------------
    HRESULT AddChild(int iChild)
    {
        Log(cFamily, "AddChild: child job ", iChild, " is added into document job 4711");
        if (mStatus >= 3 && mStatus <= 6)
            return E_FAIL;
        mExecuting.push_back(iChild);
        return S_OK;
    }

    void RemoveExecutingChild(int iChild)
    {
        Log(cFamily, "RemoveExecutingChild: child job ", iChild, " is removed from document job 4711");
        std::erase(mExecuting, iChild);
    }

    void MarkChildComplete(int iChild)
    {
        Log(cFamily, "MarkChildComplete: child job ", iChild, " of document job 4711 is completed");
        std::erase(mExecuting, iChild);
        mEnded.push_back(iChild);
    }

    // --- Runaway tasks -----------------------------------------------------------------------------------------------
    void SetRunAwayStatus()
    {
        if (mRunaway == 0)
            mRunaway = 1;
        else if (mRunaway == 3)
            Log("Info: QORJob::SetRunAwayStatus: A cancelled runaway thread (job task) for Job (4711)  at step (",
                mCurrentStep, ") returns even BEFORE setting it as runaway.");
        else
            Log("Error: QORJob::SetRunAwayStatus: unexpected called - try to set Job (4711) aready in runaway status (",
                mRunaway, ") to be runaway at step (", mCurrentStep, ").");
    }

    /// 1 is the thread, 2 the clean-up.
    bool NeedToPersist(int iCaller)
    {
        if (iCaller == 0)
            return false;
        const int cNext[2][4] = {{3, 3, 2, 3}, {0, 2, 2, 3}};
        const int before = mRunaway;
        mRunaway = cNext[iCaller - 1][before];
        if (before == (iCaller == 1 ? 3 : 2))
            Log("Error: QORJob::NeedToPerisistMsgStatusForRunAway: unexpected called from EnumRunAwayCaller (", iCaller,
                ") for Job (4711) in runaway status (", before, ").");
        return before == (iCaller == 1 ? 2 : 3);
    }

    // --- Data items --------------------------------------------------------------------------------------------------
    HRESULT SetJobData(int iItem)
    {
        if (iItem == cNoItem)
            return E_POINTER;
        mItemCalls.push_back(Join(iItem, " GetId"));
        int* const slot = SlotOf(cItemIds[static_cast<std::size_t>(iItem)]);
        if (slot == nullptr)
            return E_FAIL;
        ReleaseItem(*slot);
        AddReference(iItem);
        *slot = iItem;
        return S_OK;
    }

    /// Its caller keeps the reference.
    void GetJobData(int iId, int& oItem)
    {
        const int* const slot = SlotOf(iId);
        if (slot == nullptr)
            return;
        oItem = *slot;
        AddReference(oItem);
    }

    void AskItemsForTheirBytes()
    {
        for (const int item : mSlots)
            if (item != cNoItem)
                mItemCalls.insert(mItemCalls.end(), {Join(item, " GetId"), Join(item, " save")});
    }

    // --- Memory ------------------------------------------------------------------------------------------------------
    HRESULT Request(int iGovernor, std::uint64_t iBytes, std::string& oRefusal)
    {
        ModelGovernor& governor = mGovernors[static_cast<std::size_t>(iGovernor)];
        const std::uint64_t most = ~std::uint64_t{0};
        const std::uint64_t room = (governor.mbExempt ? most : governor.mLimit) - governor.mUsed;
        if (!governor.mbExempt && (governor.mUsed > governor.mLimit || iBytes > room))
        {
            Refuse(iGovernor, iBytes, oRefusal);
            return static_cast<HRESULT>(0x8000FE24);
        }
        governor.mUsed += std::min(iBytes, room);
        governor.mPeak = std::max(governor.mPeak, governor.mUsed);
        return S_OK;
    }

    void Release(int iGovernor, std::uint64_t iBytes)
    {
        std::uint64_t& used = mGovernors[static_cast<std::size_t>(iGovernor)].mUsed;
        used -= std::min(used, iBytes);
    }

    void SetParentId(int iParent, int iGovernor)
    {
        mParent = iParent;
        mGovernor = iGovernor;
        if (!mbContext)
            return;
        mContextGovernor = iGovernor;
        Tell("put_SharedHandle");
    }

    void SetDeliveryType(int iType) { GetGovernor().mbExempt |= iType != 0; }
    void SetUserID(int iUser) { GetGovernor().mUser = iUser; }

    // --- The end -----------------------------------------------------------------------------------------------------
    void UpdateCloseCounters()
    {
        if (std::exchange(mbClosed, true))
            return;
        const int failed = IsEnded() ? 1 : 0;
        if (mType == 2)
        {
            ++mCounters[18 + failed];
            mCounters[50] += mNow;
        }
        if (!IsReport())
            return;
        Tell("get_ContextObjectB");
        const int kind = mbContext && mbInstance && mFailingCall != 1 ? mKind : 0;
        ++mCounters[failed != 0 ? 4 : 2];
        mCounters[8] += mNow;
        if (kind == 7 || kind == 8)
        {
            mCounters[31 + kind] += 1 - failed;
            mCounters[35 + kind] += mNow;
        }
    }

    void End()
    {
        Log("Job Trace: QORJob::Destructing: Job:4711");
        if (GetGovernor().mPeak != 0)
            LogFinish(GetGovernor());
        AskItemsForTheirBytes();
        for (int& slot : mSlots)
            ReleaseItem(std::exchange(slot, cNoItem));
        Tell("get_ContextObjectB");
        if (mbContext && mbInstance && mFailingCall != 1)
            Tell("instance Reset 0");
        Log("Job Trace: QORJob::QORJob Job:4711 destructed.");
    }

    ModelGovernor& GetGovernor() { return mGovernors[static_cast<std::size_t>(mGovernor)]; }

private:
    static constexpr const char* cFamily = "Job Trace: [DEBUG TRACING]QORJob::";

    int* SlotOf(int iId) { return iId >= 0 && iId < 5 ? &mSlots[static_cast<std::size_t>(iId)] : nullptr; }

    void AddReference(int iItem)
    {
        if (iItem == cNoItem)
            return;
        ++mReferences[static_cast<std::size_t>(iItem)];
        mItemCalls.push_back(Join(iItem, " AddRef"));
    }

    void ReleaseItem(int iItem)
    {
        if (iItem == cNoItem)
            return;
        --mReferences[static_cast<std::size_t>(iItem)];
        mItemCalls.push_back(Join(iItem, " Release"));
    }

    static std::string Megabytes(std::uint64_t iBytes)
    {
        char part[8];
        std::snprintf(part, sizeof(part), "%.2f", static_cast<double>(iBytes % (1 << 20)) / (1 << 20));
        return Join((iBytes >> 20) + static_cast<std::uint64_t>(part[0] - '0'), part + 1);
    }

    void Refuse(int iGovernor, std::uint64_t iBytes, std::string& oRefusal)
    {
        ModelGovernor& governor = mGovernors[static_cast<std::size_t>(iGovernor)];
        governor.mbCancel = true;
        const int job = iGovernor == 0 ? 4711 : cParentId;
        const std::uint64_t left = governor.mLimit - std::min(governor.mUsed, governor.mLimit);
        const std::string user = governor.mUser == -1
                                     ? "{00000000-0000-0000-0000-000000000000}"
                                     : Join("{12345678-9ABC-DEF0-0102-03040506070", governor.mUser, "}");
        Log("Error: User ", user, " requests ", Megabytes(iBytes), " MB (", iBytes, " Bytes) for job ", job,
            ", but only ", Megabytes(left), " MB (", left, " Bytes) left with the configured memory limit ",
            governor.mLimit >> 20, " MB.");
        oRefusal = Join("Job ", job, " needs more memory than its limit of ", governor.mLimit >> 20, " MB allows.");
        Log("Error: 8000FE24 E_KERNEL_MEMORY_GOVERNOR_REQUEST (): ", oRefusal);
    }

    void LogFinish(const ModelGovernor& iGovernor)
    {
        const bool bHit = !iGovernor.mbExempt && iGovernor.mPeak > iGovernor.mLimit;
        Log("Job Trace: Job with ID '4711' ", bHit ? "has failed" : "is finishing", ". This job is ",
            iGovernor.mbExempt ? "not " : "",
            "governed by the setting \"Maximum memory consumption per job,\" which is configured at ",
            iGovernor.mLimit >> 20, " MB. The peak memory consumption of this job is ", Megabytes(iGovernor.mPeak),
            " MB (", iGovernor.mPeak, " bytes)",
            iGovernor.mbExempt ? "."
            : bHit             ? ", which hits the limit."
                               : ", which doesn't hit the limit.");
    }
};
