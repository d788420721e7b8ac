// A job with a different value in every field, so that a reader who mixes two up or leaves one out is noticed.
#pragma once

#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "data/QORBinaryData.h"
#include "data/QORStringData.h"
#include "job/QORJobError.h"
#include "tests/support/Attributes.h"

#include <array>
#include <cstring>

/// As the records and dumps show it.
inline std::string At(int iNumber) { return QBase::WideCharToUTF8(Moment(iNumber).ToText()); }
inline const std::string cNever = "1899-12-30 00:00:00.000";

/// A German session and the definition of what the job runs, in one.
class FakeCollaborator final : public ICKDXSession, public ICKDXObjectDefinition
{
public:
    static constexpr GUID cId = GuidOf(5);

    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        *oInterface = iInterfaceId == IID_ICKDXSession ? static_cast<void*>(static_cast<ICKDXSession*>(this))
                                                       : static_cast<ICKDXObjectDefinition*>(this);
        return AddRef(), S_OK;
    }
    DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }
    DWORD QORJOB_STDCALL Release() override { return --mReferences; }
    HRESULT QORJOB_STDCALL get_Flags(LONG*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Name8(BSTR*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Name9(BSTR*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL Call(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL FillLocalisation(const GUID&, int) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_ObjectID(GUID*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Locale(unsigned* oLocale) override { return *oLocale = 0x10407, mLocaleCode; }
    HRESULT QORJOB_STDCALL get_DefinitionID(GUID* oDefinitionId) override { return *oDefinitionId = cId, S_OK; }
    HRESULT QORJOB_STDCALL get_Name(BSTR* oName) override
    {
        return mbThrows ? throw QBase::Message("a stranger's") : (*oName = SysAllocString(mpName), mNameCode);
    }

    DWORD mReferences = 0;
    HRESULT mLocaleCode = S_OK;
    HRESULT mNameCode = S_OK;
    const QBase::WCHAR* mpName = QORJOB_W(" Sales");
    bool mbThrows = false;
};

/// Stays its owner's: the job's end doesn't delete it.
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
    TextItem(int iId, const QBase::WCHAR* iText) : QORStringData(iId, iText, COPY_STRING) { AddRef(); }
};

/// Its steps, ids and times are numbered: of a step n the id is n, the moments are 2n and 2n + 1.
struct FullJob
{
    static constexpr HRESULT cErrorCode = static_cast<HRESULT>(0x80043018);

    FullJob()
    {
        EXPECT_EQ(CreateProcessContext(mContext), S_OK);
        mContext->SetRequestIn(0, QMessage::NewReadMessage(nullptr, 0).Get(), nullptr, nullptr, GUID_NULL);
        mContext->put_ContextObjectB(&mInstance);
        mInstance.mpObject = static_cast<ICKDXSession*>(&mDefinition);
        Builtin::Settings::SetClock(Moment(1));
        mJob = JobPtr(QORJob::NewJob(cJobId, RequestDatamartReport, cJobPriority, nullptr, NewBuffer()));
        mFurtherReferences.fill(mJob);
        mJob->SetProcessContext(mContext.Get());
        Fill(*mJob.Get());
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
        Builtin::Settings::SetThreadTimes(static_cast<unsigned>(4000 + iNumber), 0);
        step->SetTaskCPUTime({}, {});
        Builtin::Settings::ReleaseThreadTimes();
        return step;
    }

    Texts mCalls;
    FakeReportInstance mInstance{mCalls};
    FakeCollaborator mDefinition;
    QBase::PtrI<CKDXProcessContext> mContext;
    TextItem mText{0, QORJOB_W("item")};
    BytesItem mBytes{3, 7};
    JobPtr mJob;
    std::array<JobPtr, 5> mFurtherReferences;

private:
    void Fill(QORJob& ioJob)
    {
        ioJob.SetDescription(); // notes the object's id
        *ioJob.GetJobErrorBuilder(cErrorCode) << QORJOB_W("Climate");
        ioJob.UpdateJobCloseCounters();
        ioJob.SetStatus(8, nullptr); // goes on after all
        ioJob.ClearTodoSteps();
        for (const int step : {11, 12, 13, 14})
            ioJob.AddStepToRun(NewStep(step), nullptr);
        for (const int step : {11, 12})
            ioJob.SetStepComplete(step);
        int moment = 105;
        const auto tick = [&] { Builtin::Settings::SetClock(Moment(moment++)); };
        for (const int unit : {35, 36, 35})
            tick(), ioJob.SetPUEnter(unit, nullptr, 0);
        tick(), ioJob.SetPUStart(35); // the newest visit
        for (const int unit : {35, 36})
            tick(), ioJob.SetPUExit(unit, nullptr); // the oldest
        ioJob.SetJobData(&mText);
        ioJob.SetJobData(&mBytes);
        ioJob.MarkJobTraceFlags(64);
        Builtin::Settings::SetClock(Moment(2)); // of the status
        std::string old;
        for (const Attribute& attribute : cAttributes)
            EXPECT_EQ(attribute.mSetter(ioJob, old), S_OK);
    }
};
