// Jobs as operators read them: description, dump, one-line summary, leak trace.
#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "data/QORStringData.h"
#include "report/QORJobBrowsingInfo.h"
#include "tests/support/JobTest.h"

#include <thread>

namespace
{

using JobTexts = JobTest;

constexpr GUID cObjectId = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

/// The German session and the definition of what the job runs, in one.
class Collaborator final : public ICKDXSession, public ICKDXObjectDefinition
{
public:
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
    HRESULT get_DefinitionID(GUID* oDefinitionId) override { return *oDefinitionId = cObjectId, S_OK; }
    HRESULT get_Name(BSTR* oName) override
    {
        return mbThrows ? throw QBase::Message("a stranger's") : (*oName = SysAllocString(W(" Sales")), S_OK);
    }

    ULONG mReferences = 0;
    HRESULT mLocaleCode = S_OK;
    bool mbThrows = false;
};

/// The description whole, and whether the object is known.
std::string DescriptionOf(const QORJob& iJob)
{
    QORJobBrowsingInfo2 info;
    EXPECT_EQ(iJob.GetJobBrowsingInfo2(&info), S_OK);
    return QBase::WideCharToUTF8(info.mWholeDescription) + (info.mObjectGuid == cObjectId ? " +" : "");
}

std::string DumpOf(const QORJob& iJob)
{
    QBase::wstring text;
    iJob.GetJobInfo(text);
    return QBase::WideCharToUTF8(text);
}

} // namespace

TEST_F(JobTexts, DescribeTheTypeInTheSessionsLanguageAndNameTheObject)
{
    const std::tuple<int, HRESULT, const char*> rows[] = {
        {RequestBatchChildReport, S_OK, "Berichtsanforderung aus einem Stapel Sales +"},
        {RequestDocument, E_FAIL, "Document request Sales +"},
        {RequestMetaData, S_OK, "Metadatenanforderung"},
    };
    for (const auto& [type, localeCode, text] : rows)
    {
        Collaborator collaborator;
        Texts calls;
        FakeReportInstance instance(calls);
        QBase::PtrI<CKDXProcessContext> context;
        ASSERT_EQ(CreateProcessContext(context), S_OK);
        const JobPtr job = NewJob(type);
        EXPECT_EQ(job->SetDescription(), S_OK) << "without a context";
        EXPECT_TRUE(GetPrsContextLogFlag(job.Get()) && !GetPrsContextLogFlag(nullptr));
        job->SetProcessContext(context.Get());
        context->put_UserContextLogFlag(type);
        EXPECT_EQ(GetPrsContextLogFlag(job.Get()), type != 0);
        collaborator.mLocaleCode = localeCode;
        context->put_ContextObjectA(static_cast<ICKDXSession*>(&collaborator));
        context->put_ContextObjectB(&instance);
        instance.mpObject = static_cast<ICKDXSession*>(&collaborator);
        EXPECT_EQ(job->SetDescription(), S_OK);
        EXPECT_EQ(DescriptionOf(*job.Get()), text);
        collaborator.mbThrows = true;
        EXPECT_EQ(job->SetDescription(), type == RequestMetaData ? S_OK : HRESULT(0x8004308B));
        std::thread([&] { DescriptionOf(*job.Get()); }).join(); // the lock is free
        EXPECT_EQ(collaborator.mReferences * 10 + instance.mReferences, 11u);
    }
}

TEST_F(JobTexts, DumpAllThereIs)
{
    Settings::SetClock(TimeOf(78));
    const JobPtr job = NewJob(RequestReport);
    EXPECT_EQ(DumpOf(*job.Get()),
              "Job Trace Flags: 0x0\nJobId: 4711\nParent JobId: -1\nReference JobId: -1\n\tStatus: 0\n\tSource: 0\n"
              "\tType: 0\n\tRequest Type: 1\n\tProject Internal Id: -1\n\tProject Name: \n"
              "\tProject GUID: {00000000-0000-0000-0000-000000000000}\n\tOwner: \n\tUser: \n\tUser Login: \n"
              "\tUser GUID: {00000000-0000-0000-0000-000000000000}\n"
              "\tWarehouse GUID: {00000000-0000-0000-0000-000000000000}\n\tDescription: \n\tPU Priority: 5\n"
              "\tCreation Time: 2023-03-15 00:00:00.078\n\tStatus Time: 1899-12-30 00:00:00.000\n"
              "\tFinish Time: 1899-12-30 00:00:00.000\n\tTimeout Time: 1899-12-30 00:00:00.000\n\tIsRunning: false\n"
              "\tStats Collected: false\n\tTimeout Extended: false\n\tIs Batch Job: false\n\tIs SendNow Job: false\n"
              "\tIs Executing In Warehouse: false\n\tPU Started: false\n\tJob Completed: false\n\tIAmDead: false\n"
              "\tExternal Buffer: false\n\tReference Count: 1\n\tPerf Count: 0\n\tDelivery Type: 0\n"
              "\tSubscription Owner: \n\tSubscription Recipient: \n\tDestination: \n\tError Code: 0x0\n"
              "\tComponent Error Code: 0x0\n\tTodoStepList:\n\tFinishedStepList:\n\tJobPUInfoList:\n");

    Queue(*job.Get(), "3@9 - 2");
    job->SetStepComplete();
    job->SetPUEnter(9, nullptr, 0);
    job->SetPUStart(9);
    job->MarkJobTraceFlags(64);
    job->MarkJobTraceFlags(8);                   // of leaks, which aren't traced
    job->SetOwner(QBase::wstring(1015, W('o'))); // with "\tOwner: " and the line's end 1,024 units
    job->SetUser(QBase::wstring(1015, W('u')));  // 1,023 units
    TakeLog();
    const std::string dump = DumpOf(*job.Get());
    for (const char* line : {"Flags: 0x40\n", "u\n\tUser Login", "\tPU Started: true\n", "\tPerf Count: 1\n"})
        EXPECT_NE(dump.find(line), std::string::npos) << line << dump;
    EXPECT_EQ(dump.find("\tOwner: "), std::string::npos) << "a line without room for its end";
    EXPECT_EQ(dump.substr(dump.find("\tTodo")),
              "\tTodoStepList:\n\t\tStepId: 2, ThreadId: 0, PUId: -1, StepStartTime: 1899-12-30 00:00:00.000, "
              "StepFinishTime: 1899-12-30 00:00:00.000\n\tFinishedStepList:\n\t\tStepId: 3, ThreadId: 77, PUId: 9, "
              "StepStartTime: 1899-12-30 00:00:00.000, StepFinishTime: 1899-12-30 00:00:00.000\n\tJobPUInfoList:\n"
              "\t\tPUId: 9, EnterTime: 2023-03-15 00:00:00.078, StartTime: 2023-03-15 00:00:00.078, "
              "ExitTime: 1899-12-30 00:00:00.000\n");
    job->MarkJobTraceFlags(2);
    EXPECT_EQ(TakeLog(), Texts());
    job->MarkJobTraceFlags(8);
    EXPECT_EQ(DumpOf(*job.Get()).substr(0, 21), "Job Trace Flags: 0x4a");
    EXPECT_EQ(TakeLog().front().find("Info: QORJobLeak Trace for JobId: 4711 and callstack: "), 0u);
}

TEST_F(JobTexts, SumTheJobUpInOneLine)
{
    Settings::SetClock(TimeOf(78));
    EXPECT_EQ(QORJobData::InitJobDataNameIds(), S_OK);
    QORStringData named(0, nullptr, QORStringData::COPY_STRING);
    QORStringData unnamed(3, nullptr, QORStringData::COPY_STRING);
    const JobPtr job = NewJob();
    Queue(*job.Get(), "3 10 - 2");
    job->SetStepComplete();
    job->SetStepComplete(StepSendingErrorMessage);
    job->SetType(26, nullptr);
    job->SetSource(31);
    for (QORJobData* item : {&named, &unnamed}) // with a reference of the test's own: it never goes with the job
        EXPECT_EQ(item->AddRef() == 1 ? job->SetJobData(item) : E_FAIL, S_OK);
    const QBase::wstring time = TimeOf(78).ToLocalTime().ToText();
    const std::wstring local(time.begin(), time.end());
    const std::wstring words[] = {L"Ready", L"Executing", L"Waiting", L"Completed", L"Stopped with error"};
    std::wostringstream stream;
    for (int status = 0; status < 5; ++status)
    {
        SetStatus(*job.Get(), status);
        stream.str(L"");
        stream << std::hex; // as somebody left it
        EXPECT_EQ(job->WriteJobInfo(stream), &stream);
        EXPECT_EQ(stream.flags() & std::ios::basefield, std::ios::dec);
        EXPECT_EQ(stream.str(), L"Job 4711: Priority = 5, StepsCompleted = <10 3 >,, StepsToDo = <2 >,, Data Items = "
                                L"<QORDataMachineName  >, Source = 31, Type = 1a, CreationTime = " +
                                    local + L", WaitingTime = 0ms, Status: " + words[status] + L",  entered at " +
                                    local + L"\n");
    }
    EXPECT_THROW((stream.setstate(std::ios::badbit), stream.exceptions(std::ios::badbit)), std::ios_base::failure);
    EXPECT_EQ(job->WriteJobInfo(stream), nullptr);
    EXPECT_EQ(QORJobData::UnInitJobDataNameIds(), S_OK);
}
