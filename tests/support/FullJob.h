// A job with something of its own in every field: what is mixed up or left out on the way to a reader shows.
#pragma once

#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "data/QORBinaryData.h"
#include "data/QORStringData.h"
#include "report/QORChannelRequest.h"
#include "report/QORJobError.h"
#include "tests/support/JobTest.h"

#include <array>
#include <cstring>

/// A moment that differs from the others in all its parts: a day, two hours, three minutes and 4.005 seconds apart.
inline constexpr unsigned cApart = 93'784'005;
inline QDataType::DateTime Moment(int iNumber)
{
    return TimeOf(0) + QDataType::TimeSpan::FromTicks(iNumber * std::int64_t{cApart} * 10'000);
}

/// As the records and dumps show it.
inline std::string At(int iNumber) { return QBase::WideCharToUTF8(Moment(iNumber).ToText()); }
inline const std::string cNever = "1899-12-30 00:00:00.000";

/// A German session and the definition of what the job runs, in one.
class FakeCollaborator final : public ICKDXSession, public ICKDXObjectDefinition
{
public:
    static constexpr GUID cId = GuidOf(5);

    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        *oInterface = iInterfaceId == IID_ICKDXSession ? static_cast<void*>(static_cast<ICKDXSession*>(this))
                                                       : static_cast<ICKDXObjectDefinition*>(this);
        return AddRef(), S_OK;
    }
    ULONG AddRef() override { return ++mReferences; }
    ULONG Release() override { return --mReferences; }
    HRESULT get_Flags(LONG*) override { return E_NOTIMPL; }
    HRESULT get_Name8(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_Name9(BSTR*) override { return E_NOTIMPL; }
    HRESULT Call(IUnknown*) override { return E_NOTIMPL; }
    HRESULT FillLocalisation(const GUID&, int) override { return E_NOTIMPL; }
    HRESULT get_ObjectID(GUID*) override { return E_NOTIMPL; }
    HRESULT get_Locale(unsigned* oLocale) override { return *oLocale = 0x10407, mLocaleCode; }
    HRESULT get_DefinitionID(GUID* oDefinitionId) override { return *oDefinitionId = cId, S_OK; }
    HRESULT get_Name(BSTR* oName) override
    {
        return mbThrows ? throw QBase::Message("a stranger's") : (*oName = SysAllocString(W(" Sales")), S_OK);
    }

    ULONG mReferences = 0;
    HRESULT mLocaleCode = S_OK;
    bool mbThrows = false;
};

/// Stays its owner's: it never goes with the job.
struct BytesItem final : QORBinaryData
{
    BytesItem(int iId, unsigned iBytes)
        : QORBinaryData(iId, std::memset(QBase::HeapAllocate(iBytes), 'b', iBytes), iBytes)
    {
        AddRef();
    }
};

struct TextItem final : QORStringData
{
    TextItem(int iId, const WCHAR* iText) : QORStringData(iId, iText, COPY_STRING) { AddRef(); }
};

/// Its steps, ids and times are numbered: of a step n the id is n, the moments are 2n and 2n + 1.
struct FullJob
{
    static constexpr HRESULT cErrorCode = static_cast<HRESULT>(0x80043018);
    static constexpr HRESULT cComponentCode = static_cast<HRESULT>(0x80040202);

    FullJob()
    {
        EXPECT_EQ(CreateProcessContext(mContext), S_OK);
        mContext->SetRequestIn(0, mInMessage.Get(), nullptr, nullptr, GUID_NULL);
        mContext->put_ContextObjectB(&mInstance);
        mInstance.mpObject = static_cast<ICKDXSession*>(&mDefinition);
        Settings::SetClock(Moment(1));
        mJob = JobPtr(QORJob::NewJob(cJobId, RequestDatamartReport, 21, &mSession, NewBuffer()));
        mFurtherReferences.fill(mJob);
        mJob->SetProcessContext(mContext.Get());
        FillState(*mJob.Get());
        FillAttributes(*mJob.Get());
    }

    /// One with all fields set.
    static QORJobStep* NewStep(int iNumber)
    {
        auto* step = new QORJobStep(iNumber);
        step->SetStartTime(Moment(2 * iNumber));
        step->SetFinishTime(Moment(2 * iNumber + 1));
        step->SetThreadId(1000 + static_cast<DWORD>(iNumber));
        step->SetPUId(2000 + iNumber);
        step->SetPUPriority(3000 + iNumber);
        step->SetChapterKey(QBase::UTF8ToWideChar("K" + std::to_string(iNumber)).c_str());
        Settings::SetThreadTimes(static_cast<unsigned>(4000 + iNumber), 0);
        step->SetTaskCPUTime({}, {});
        Settings::ReleaseThreadTimes();
        return step;
    }

    FakeSession mSession;
    Texts mCalls;
    FakeReportInstance mInstance{mCalls};
    FakeCollaborator mDefinition;
    QBase::PtrI<CKDXProcessContext> mContext;
    QBase::PtrI<ICKDXReadMessage> mInMessage = QMessage::NewReadMessage(nullptr, 0);
    QBase::PtrI<CKDXServerMessage> mInBoxMessage = QMessage::NewServerMessage();
    TextItem mText{0, W("item")};
    BytesItem mBytes{3, 7};
    JobPtr mJob;
    std::array<JobPtr, 5> mFurtherReferences;

private:
    void FillAttributes(QORJob& ioJob)
    {
        int old = 0;
        GUID project = GuidOf(1);
        ioJob.SetDescription(); // notes the object's id
        ioJob.SetDescription(W("description"));
        ioJob.SetPriority(22, &old);
        ioJob.SetPUPriority(23);
        ioJob.SetSource(24);
        ioJob.SetType(26, nullptr);
        ioJob.SetProjectId(27, nullptr);
        ioJob.SetParentId(28);
        ioJob.SetPreJobId(29);
        ioJob.SetDeliveryType(EnumSubscriptionDeliveryType{30});
        ioJob.SetCurrentStepForStatistics(31);
        ioJob.SetRunningChildCount(32, nullptr);
        ioJob.SetRequestId(33);
        ioJob.SetProjectID(project);
        ioJob.SetUserID(GuidOf(2));
        ioJob.SetSessionID(GuidOf(3));
        ioJob.SetWarehouseID(GuidOf(4));
        ioJob.SetProjectName(W("project"));
        ioJob.SetOwner(W("owner"));
        ioJob.SetUser(W("user"));
        ioJob.SetUserLogin(W("login"));
        ioJob.SetSubscriptionOwner(W("subscription owner"));
        ioJob.SetSubscriptionRecipient(W("recipient"));
        ioJob.SetDestination(W("destination"));
        ioJob.SetIsSendNowJob(true);
        ioJob.SetIsBatchJob(true);
        ioJob.SetIsExecutingInWarehouse(true);
        ioJob.SetIsDocumentDataModelNull(true);
        ioJob.SetStatsFlag(true);
        ioJob.SetIfKeepRunWhenSessionTimeout(true);
        ioJob.SetTimeoutExtended(true, nullptr);
        ioJob.SetGovernedControl(1);
        ioJob.MarkJobTraceFlags(64);
    }

    void FillState(QORJob& ioJob)
    {
        bool bDead = false;
        *ioJob.GetJobErrorBuilder(cErrorCode) << W("Climate");
        ioJob.SetComponentErrorCode(cComponentCode);
        ioJob.UpdateJobCloseCounters();
        ioJob.SetStatus(8, nullptr); // goes on after all
        ioJob.ClearTodoSteps();
        for (const int step : {11, 12, 13, 14})
            ioJob.AddStepToRun(NewStep(step), nullptr);
        ioJob.SetStepComplete();
        ioJob.SetStepComplete();
        for (const int unit : {35, 36})
        {
            Settings::SetClock(Moment(3 * unit));
            ioJob.SetPUEnter(unit, nullptr, 0);
            Settings::SetClock(Moment(3 * unit + 1));
            ioJob.SetPUStart(unit);
            Settings::SetClock(Moment(3 * unit + 2));
            ioJob.SetPUExit(unit, nullptr);
        }
        for (const int child : {41, 42})
            ioJob.AddChild(child);
        ioJob.MarkChildComplete(42);
        ioJob.SetRunning(true, nullptr);
        ioJob.SetIAmDead(true, &bDead, StepFindCube);
        ioJob.SetInMessage(mInMessage.Get());
        ioJob.SetInBoxMsgPtr(mInBoxMessage.Get());
        ioJob.AddChannelRequest(new QORChannelRequest(nullptr, 51, 52)); // goes with the job
        ioJob.SetJobData(&mText);
        ioJob.SetJobData(&mBytes);
        Settings::SetClock(Moment(2));
        ioJob.SetStatus(8, nullptr);
        QDataType::DateTime finish = Moment(3);
        ioJob.SetJobFinishTime(finish);
        ioJob.SetTimeOutPeriodInMilliseconds(3 * cApart); // Moment(4)
    }
};
