#include "host/QORHostRun.h"

#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <utility>

using namespace QORHOST;

QORHostRun::QORHostRun(Core& ioCore, std::shared_ptr<Record> iRecord, Unit& ioUnit, Worker* iWorker)
    : mCore(ioCore), mpRecord(std::move(iRecord)), mpJob(mpRecord->mpJob), mpContext(mpRecord->mpContext),
      mUnit(ioUnit), mpWorker(iWorker), mTask(mpJob.Get())
{
}

/// Under the record's lock.
void QORHostRun::Begin(const QORHostStep& iStep)
{
    mpStep = &iStep;
    mTask.SetStatus(JobTaskStatusNone, nullptr);
    mAttempt = mpRecord->mRetries + 1;
    mbTold = false;
    if (!mbEndedBefore && std::exchange(mpRecord->mbContextTold, false) && mpContext)
        mpContext->put_LongB(ICKDXProcessContext::cGoOn); // it was for a step before
    mStop = std::stop_source(std::nostopstate);
}

QORHostJob QORHostRun::GetHandle() const { return QORHostJob(mpRecord); }

bool QORHostRun::IsToldToStop() const
{
    LONG told = ICKDXProcessContext::cGoOn;
    return mbTold ||
           (!mbEndedBefore && mpContext && mpContext->get_LongB(&told) == S_OK && told == ICKDXProcessContext::cStop);
}

void QORHostRun::CheckStop() const
{
    if (IsToldToStop())
        throw QORHostStopped();
}

std::stop_token QORHostRun::GetStopToken()
{
    std::stop_source made; // the memory for it before the lock
    const std::lock_guard hold(mpRecord->mMutex);
    if (!mStop.stop_possible())
    {
        mStop = std::move(made);
        if (mbTold)
            mStop.request_stop(); // nobody has registered with it yet
    }
    return mStop.get_token();
}

bool QORHostRun::Report(int iPercent)
{
    mLastReport = Clock::now().time_since_epoch().count();
    mpRecord->mProgress = iPercent;
    return !IsToldToStop();
}

QBase::PtrI<QORJobData> QORHostRun::FindItem(const QBase::WCHAR* iName) const
{
    int id = -1; // which it stays for a name that isn't registered; no job has an item of that id
    QORJobData* found = nullptr;
    QORJobData::GetId(iName, &id);
    if (mpJob->GetJobData(id, &found) != S_OK)
        return {};
    return QBase::PtrI<QORJobData>::Adopt(found);
}

void QORHostRun::RefuseItem(const QBase::WCHAR* iName) const
{
    Refuse("the job has no item \"" + QBase::WideCharToUTF8(iName) + "\" of the class that is asked for");
}

void QORHostRun::Refuse(const std::string& iReason) const
{
    throw MakeError(mCore.GetStepName(mStepId), mpRecord->mId, iReason);
}

void QORHostRun::SetItem(QORJobData& ioItem)
{
    if (mpJob->SetJobData(&ioItem) == E_FAIL)
        Refuse("a job has room for data items of the ids 0 to 4 only");
}

std::string QORHostRun::GetText(const QBase::WCHAR* iName) const
{
    QBase::wstring text;
    Expect(GetItem<QORStringData>(iName)->GetData(text), "GetData");
    return QBase::WideCharToUTF8(text.c_str());
}

void QORHostRun::SetText(const QBase::WCHAR* iName, const std::string& iText)
{
    int id = -1;
    QORJobData::GetId(iName, &id);
    if (id < 0)
        Refuse("no data item has the name \"" + QBase::WideCharToUTF8(iName) + "\"");
    const QBase::PtrI<QORStringData> item(
        new QORStringData(id, QBase::UTF8ToWideChar(iText).c_str(), QORStringData::COPY_STRING));
    if (!item)
        throw std::bad_alloc();
    SetItem(*item.Get());
}

void QORHostRun::TakeMemory(std::uint64_t iBytes)
{
    if (!mpJob->ApplyGovernorOrNot())
        return;
    const std::shared_ptr<JobMemGovernor> governor = mpJob->GetMemGovernor();
    if (governor == nullptr)
        return;
    constexpr std::uint64_t cMegabyte = 1'024 * 1'024;
    QBase::wstring refusal;
    const HRESULT code = governor->Request(iBytes, refusal);
    if (code == cMemoryRefused)
        throw QORHostError(code,
                           {std::to_string(governor->mJobId.Get()), std::to_string(governor->mLimitBytes / cMegabyte)},
                           QBase::WideCharToUTF8(refusal.c_str()));
    Expect(code, "Request");
    mMemory += iBytes;
    mCore.AddBytes(static_cast<std::int64_t>(iBytes));
}

void QORHostRun::ReturnMemory() noexcept
{
    const std::uint64_t taken = std::exchange(mMemory, 0);
    if (taken == 0)
        return;
    if (const std::shared_ptr<JobMemGovernor> governor = mpJob->GetMemGovernor())
        governor->Release(taken);
    mCore.AddBytes(-static_cast<std::int64_t>(taken));
}

void QORHostRun::TryAgain(const QORHostRetry& iRetry, const std::string& iReason)
{
    {
        const std::lock_guard hold(mpRecord->mMutex);
        Timers::Prepare(*mpRecord);
    }
    throw RetryRequest{iRetry, MakeError(mCore.GetStepName(mStepId), mpRecord->mId, iReason)};
}

QORHostSubmission QORHostRun::SubmitChild(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions)
{
    return mCore.SubmitChild(*this, std::move(iJob), std::move(iOptions));
}
