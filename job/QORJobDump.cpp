#include "data/QORJobData.h"
#include "job/QORJobRows.h"
#include "record/QORJobPUInfo.h"
#include "record/QORJobStep.h"

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>
#include <string_view>

namespace
{

/// One line of a dump, as it is put together: an argument that is streamed into it goes where the format has its next
/// `%d`, `%x`, `%s` or `%ls`.
class Line
{
public:
    explicit Line(const char* iFormat) : mpNext(iFormat) { TakeLiteral(); }

    Line& operator<<(int iValue)
    {
        char digits[16];
        if (*mpNext == 'x')
            std::snprintf(digits, sizeof(digits), "%x", static_cast<unsigned>(iValue));
        else
            std::snprintf(digits, sizeof(digits), "%d", iValue);
        return Take(digits);
    }

    Line& operator<<(unsigned iValue) { return *this << static_cast<int>(iValue); }
    Line& operator<<(bool ibValue) { return Take(ibValue ? "true" : "false"); }
    Line& operator<<(const GUID& iGuid) { return Take(QBase::ToString(iGuid)); }
    Line& operator<<(const QDataType::DateTime& iTime) { return *this << iTime.ToText(); }

    /// Up to its first zero.
    Line& operator<<(const QBase::wstring& iText)
    {
        mText.append(iText, 0, iText.find(QORJOB_W('\0')));
        return EndArgument();
    }

    const QBase::wstring& GetText() const { return mText; }

private:
    Line& Take(std::string_view iText)
    {
        mText.append(iText.begin(), iText.end());
        return EndArgument();
    }

    Line& EndArgument()
    {
        mpNext += *mpNext == 'l' ? 2 : 1;
        TakeLiteral();
        return *this;
    }

    /// Up to the letter of the next argument.
    void TakeLiteral()
    {
        while (*mpNext != '\0' && *mpNext != '%')
            mText += static_cast<QBase::WCHAR>(*mpNext++);
        if (*mpNext == '%')
            ++mpNext;
    }

    const char* mpNext;
    QBase::wstring mText;
};

/// A line of more than 1,023 units is left out: readers have room for 1,024 with the zero.
template <class... Arguments>
void AddLine(QBase::wstring& ioText, const char* iFormat, const Arguments&... iArguments)
{
    constexpr std::size_t cRoom = 1024;
    Line line(iFormat);
    static_cast<void>((line << ... << iArguments));
    if (line.GetText().size() < cRoom)
        ioText += line.GetText();
}

template <class T, class Record>
T Read(const Record& iRecord, HRESULT (Record::*iGetter)(T*) const)
{
    T value(0);
    (iRecord.*iGetter)(&value);
    return value;
}

template <class Steps>
void AddSteps(QBase::wstring& ioText, const Steps& iSteps)
{
    for (const QORJobStep* step : iSteps)
        if (step != nullptr)
            AddLine(ioText, "\t\tStepId: %d, ThreadId: %d, PUId: %d, StepStartTime: %ls, StepFinishTime: %ls\n",
                    Read(*step, &QORJobStep::GetId), static_cast<int>(Read(*step, &QORJobStep::GetThreadId)),
                    Read(*step, &QORJobStep::GetPUId), Read(*step, &QORJobStep::GetStartTime),
                    Read(*step, &QORJobStep::GetFinishTime));
}

/// Where a wide character has more than 16 bits, two units of a pair become one.
std::wstring Widen(std::basic_string_view<QBase::WCHAR> iText)
{
    std::wstring wide;
    wide.reserve(iText.size());
    for (std::size_t i = 0; i < iText.size(); ++i)
    {
        auto unit = static_cast<std::uint32_t>(iText[i]);
        if (sizeof(wchar_t) > sizeof(QBase::WCHAR) && (unit & 0xFC00) == 0xD800 && i + 1 < iText.size() &&
            (iText[i + 1] & 0xFC00) == 0xDC00)
            unit = 0x10000 + ((unit & 0x3FF) << 10) + (iText[++i] & 0x3FFu);
        wide += static_cast<wchar_t>(unit);
    }
    return wide;
}

template <class Steps>
void WriteSteps(std::wostream& ioStream, const Steps& iSteps)
{
    for (const QORJobStep* step : iSteps)
        if (step != nullptr)
            ioStream << Read(*step, &QORJobStep::GetId) << L" ";
    ioStream << L">,";
}

const wchar_t* StatusWord(int iStatus)
{
    switch (iStatus)
    {
    case JobReady:
        return L" Status: Ready, ";
    case JobExecuting:
        return L" Status: Executing, ";
    case JobWaiting:
        return L" Status: Waiting, ";
    case JobCompleted:
        return L" Status: Completed, ";
    case JobStoppedWithError:
        return L" Status: Stopped with error, ";
    case JobCancelled:
        return L" Status: Cancelled, ";
    case JobStopped:
        return L" Status: Stopped, ";
    default:
        return L" Status: Unknown, ";
    }
}

} // namespace

void QORJob::GetJobInfo(QBase::wstring& oText) const
{
    Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        AddIdentity(oText);
        AddState(oText);
        AddLine(oText, "\tTodoStepList:\n");
        AddSteps(oText, mSteps.GetTodo());
        AddLine(oText, "\tFinishedStepList:\n");
        AddSteps(oText, mSteps.GetFinished());
        AddLine(oText, "\tJobPUInfoList:\n");
        for (const QORJobPUInfo* visit : GetVisits())
            if (visit != nullptr)
                AddLine(oText, "\t\tPUId: %d, EnterTime: %ls, StartTime: %ls, ExitTime: %ls\n",
                        Read(*visit, &QORJobPUInfo::GetId), Read(*visit, &QORJobPUInfo::GetEnterTime),
                        Read(*visit, &QORJobPUInfo::GetStartTime), Read(*visit, &QORJobPUInfo::GetExitTime));
        return S_OK;
    });
}

void QORJob::AddIdentity(QBase::wstring& ioText) const
{
    const Origin& origin = mOrigin.Read();
    AddLine(ioText, "Job Trace Flags: 0x%x\n", mTraceFlags.load());
    AddLine(ioText, "JobId: %d\n", mId.Get());
    AddLine(ioText, "Parent JobId: %d\n", mFamily.mParentId.Get());
    AddLine(ioText, "Reference JobId: %d\n", mPreJobId.Get());
    AddLine(ioText, "\tStatus: %d\n", mStatus);
    AddLine(ioText, "\tSource: %d\n", mSource.Get());
    AddLine(ioText, "\tType: %d\n", mType.Get());
    AddLine(ioText, "\tRequest Type: %d\n", mRequestType);
    AddLine(ioText, "\tProject Internal Id: %d\n", mProjectId);
    AddLine(ioText, "\tProject Name: %ls\n", origin.mProjectName);
    AddLine(ioText, "\tProject GUID: %ls\n", origin.mProjectID);
    AddLine(ioText, "\tOwner: %ls\n", origin.mOwner);
    AddLine(ioText, "\tUser: %ls\n", origin.mUser);
    AddLine(ioText, "\tUser Login: %ls\n", origin.mUserLogin);
    AddLine(ioText, "\tUser GUID: %ls\n", origin.mUserID);
    AddLine(ioText, "\tWarehouse GUID: %ls\n", origin.mWarehouseID);
    AddLine(ioText, "\tDescription: %ls\n", origin.mDescription);
}

void QORJob::AddState(QBase::wstring& ioText) const
{
    const Delivery& delivery = mDelivery.Read();
    AddLine(ioText, "\tPU Priority: %d\n", mPUPriority);
    AddLine(ioText, "\tCreation Time: %ls\n", mCreationTime);
    AddLine(ioText, "\tStatus Time: %ls\n", mStatusTime);
    AddLine(ioText, "\tFinish Time: %ls\n", mFinishTime);
    AddLine(ioText, "\tTimeout Time: %ls\n", mTimeOutTime);
    AddLine(ioText, "\tIsRunning: %s\n", mbRunning);
    AddLine(ioText, "\tStats Collected: %s\n", mbStats.Get());
    AddLine(ioText, "\tTimeout Extended: %s\n", mbTimeoutExtended);
    AddLine(ioText, "\tIs Batch Job: %s\n", mbBatch);
    AddLine(ioText, "\tIs SendNow Job: %s\n", mbSendNow);
    AddLine(ioText, "\tIs Executing In Warehouse: %s\n", mbExecutingInWarehouse);
    AddLine(ioText, "\tPU Started: %s\n", mbStartedOnce);
    AddLine(ioText, "\tJob Completed: %s\n", mbCloseCountersUpdated);
    AddLine(ioText, "\tIAmDead: %s\n", mbIAmDead);
    AddLine(ioText, "\tExternal Buffer: %s\n", mbExternalBuffer);
    AddLine(ioText, "\tReference Count: %d\n", mReferenceCount.Get());
    AddLine(ioText, "\tPerf Count: %d\n", mActiveCount);
    AddLine(ioText, "\tDelivery Type: %d\n", static_cast<int>(mDeliveryType));
    AddLine(ioText, "\tSubscription Owner: %ls\n", delivery.mSubscriptionOwner);
    AddLine(ioText, "\tSubscription Recipient: %ls\n", delivery.mRecipient);
    AddLine(ioText, "\tDestination: %ls\n", delivery.mDestination);
    AddLine(ioText, "\tError Code: 0x%x\n", static_cast<int>(mErrorCode));
    AddLine(ioText, "\tComponent Error Code: 0x%x\n", static_cast<int>(mComponentErrorCode));
}

std::wostream* QORJob::WriteJobInfo(std::wostream& ioStream) const
{
    const HRESULT code = Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        ioStream << std::dec << L"Job " << mId.Get() << L": Priority = " << mPriority << L", StepsCompleted = <";
        WriteSteps(ioStream, mSteps.GetFinished());
        ioStream << L", StepsToDo = <";
        WriteSteps(ioStream, mSteps.GetTodo());
        ioStream << L", Data Items = <";
        for (const QORJobData* item : mData)
        {
            if (item == nullptr)
                continue;
            const QBase::WCHAR* name = nullptr;
            if (SUCCEEDED(item->GetName(&name)) && name != nullptr)
                ioStream << Widen(name);
            ioStream << L" ";
        }
        ioStream << L">, Source = " << mSource.Get() << L", Type = " << std::hex << mType.Get() << std::dec << L",";
        unsigned waitingTime = 0;
        GetWaitingTimeInternal(&waitingTime);
        ioStream << L" CreationTime = " << Widen(mCreationTime.ToLocalTime().ToText()) << L", WaitingTime = "
                 << waitingTime << L"ms," << StatusWord(mStatus) << L" entered at "
                 << Widen(mStatusTime.ToLocalTime().ToText()) << L"\n";
        return S_OK;
    });
    return code == S_OK ? &ioStream : nullptr;
}
