// Jobs as operators read them: description, dump, one-line summary, leak trace.
#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "data/QORStringData.h"
#include "report/QORJobBrowsingInfo.h"
#include "tests/support/JobTest.h"

#include <stdexcept>
#include <thread>

namespace
{

using JobDescription = JobTest;
using JobDump = JobTest;
using JobTraceFlags = JobTest;

constexpr unsigned cEnglish = 0x409;
constexpr unsigned cGerman = 0x407;
constexpr GUID cObjectId = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

template <class Interface>
class Stranger : public Interface
{
public:
    HRESULT QueryInterface(const GUID&, void** oInterface) override
    {
        *oInterface = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++mReferences; }
    ULONG Release() override { return --mReferences; }

    ULONG mReferences = 0;

protected:
    ~Stranger() = default;
};

class SessionObject final : public Stranger<ICKDXSession>
{
public:
    HRESULT get_Flags(LONG*) override { return E_NOTIMPL; }
    HRESULT get_Name8(BSTR*) override { return E_NOTIMPL; }
    HRESULT get_Name9(BSTR*) override { return E_NOTIMPL; }
    HRESULT Call(IUnknown*) override { return E_NOTIMPL; }
    HRESULT FillLocalisation(const GUID&, int) override { return E_NOTIMPL; }
    HRESULT get_Locale(unsigned* oLocale) override
    {
        *oLocale = mLocale;
        return mCode;
    }

    unsigned mLocale = cEnglish;
    HRESULT mCode = S_OK;
};

class Definition final : public Stranger<ICKDXObjectDefinition>
{
public:
    HRESULT get_ObjectID(GUID*) override { return E_NOTIMPL; }
    HRESULT get_DefinitionID(GUID* oDefinitionId) override
    {
        *oDefinitionId = cObjectId;
        return S_OK;
    }
    HRESULT get_Name(BSTR* oName) override
    {
        if (mbThrows)
            throw std::runtime_error("a stranger's");
        *oName = SysAllocString(W(" Sales"));
        return S_OK;
    }

    bool mbThrows = false;
};

std::string DescriptionOf(const QORJob& iJob)
{
    QBase::wstring text;
    EXPECT_EQ(iJob.GetDescription(text), S_OK);
    return QBase::WideCharToUTF8(text);
}

GUID ObjectOf(const QORJob& iJob)
{
    QORJobBrowsingInfo2 info;
    EXPECT_EQ(iJob.GetJobBrowsingInfo2(&info), S_OK);
    return info.mObjectGuid;
}

std::string DumpOf(const QORJob& iJob)
{
    QBase::wstring text;
    iJob.GetJobInfo(text);
    return QBase::WideCharToUTF8(text);
}

std::wstring Widened(const QBase::wstring& iText) { return {iText.begin(), iText.end()}; }

} // namespace

TEST_F(JobDescription, HasAMessageIdForEachRequestType)
{
    const unsigned ids[] = {0x40063F6A, 0x40063F6C, 0x40063F6D, 0x40063F6B, 0x40063F97, 0x40063F6E, 0x40063F6F,
                            0x40063F70, 0x40063F94, 0x40063F95, 0x40063F96, 0x40063F71, 0x40063F71};
    for (int type = 0; type < 13; ++type)
        EXPECT_EQ(NewJob(type == 12 ? -1 : type)->GetJobStringIDFromRequestType(), ids[type]) << type;
}

TEST_F(JobDescription, IsTheTypesTextInTheSessionsLanguageAndTheObjectsName)
{
    struct
    {
        int mType;
        unsigned mLocale;
        HRESULT mLocaleCode;
        const char* mText;
    } const rows[] = {
        {RequestReport, cEnglish, S_OK, "Report request Sales"},
        {RequestBatchChildReport, 0x10000 + cGerman, S_OK, "Berichtsanforderung aus einem Stapel Sales"},
        {RequestDocument, cGerman, E_FAIL, "Document request Sales"},
        {RequestMetaData, cGerman, S_OK, "Metadatenanforderung"},
    };
    for (const auto& row : rows)
    {
        SessionObject session;
        Definition definition;
        Texts calls;
        FakeReportInstance instance(calls);
        session.mLocale = row.mLocale;
        session.mCode = row.mLocaleCode;
        QBase::PtrI<CKDXProcessContext> context;
        ASSERT_EQ(CreateProcessContext(context), S_OK);
        const JobPtr job = NewJob(row.mType);
        job->SetDescription(W("an old one"));
        EXPECT_EQ(job->SetDescription(), S_OK);
        EXPECT_EQ(DescriptionOf(*job.Get()).find(" Sales"), std::string::npos) << "no context, no name";
        context->put_ContextObjectA(&session);
        context->put_ContextObjectB(&instance);
        job->SetProcessContext(context.Get());
        EXPECT_EQ(job->SetDescription(), S_OK);
        EXPECT_EQ(ObjectOf(*job.Get()), GUID_NULL) << "an instance without a definition";
        instance.mpObject = &definition;
        EXPECT_EQ(job->SetDescription(), S_OK);
        EXPECT_EQ(DescriptionOf(*job.Get()), row.mText);
        EXPECT_EQ(ObjectOf(*job.Get()), row.mType == RequestMetaData ? GUID_NULL : cObjectId);

        definition.mbThrows = true;
        EXPECT_EQ(job->SetDescription(), row.mType == RequestMetaData ? S_OK : HRESULT(0x8004308C));
        std::thread([&] { EXPECT_NE(DescriptionOf(*job.Get()), ""); }).join(); // the lock is free
        EXPECT_EQ(definition.mReferences, 0u);
        EXPECT_EQ(session.mReferences, 1u);
        EXPECT_EQ(instance.mReferences, 1u);
    }
}

TEST_F(JobDump, ShowsAllThereIs)
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
    job->MarkJobTraceFlags(0x40);
    job->UpdateJobCloseCounters();
    job->SetProjectName(W("P\x00E4"));           // not ASCII
    job->SetOwner(QBase::wstring(1015, W('o'))); // with "\tOwner: " and the line's end 1,024 units
    job->SetUser(QBase::wstring(1015, W('u')));  // 1,023 units
    const std::string dump = DumpOf(*job.Get());
    for (const char* line :
         {"Flags: 0x40\n", "\tStatus: 1\n", "\tProject Name: P\xC3\xA4\n", "\tPU Started: true\n",
          "\tJob Completed: true\n", "\tPerf Count: 1\n",
          "\tTodoStepList:\n\t\tStepId: 2, ThreadId: 0, PUId: -1, StepStartTime: 1899-12-30 00:00:00.000, "
          "StepFinishTime: 1899-12-30 00:00:00.000\n\tFinishedStepList:\n\t\tStepId: 3, ThreadId: 77, PUId: 9, ",
          "\tJobPUInfoList:\n\t\tPUId: 9, EnterTime: 2023-03-15 00:00:00.078, StartTime: 2023-03-15 00:00:00.078, "
          "ExitTime: 1899-12-30 00:00:00.000\n"})
        EXPECT_NE(dump.find(line), std::string::npos) << line << dump;
    EXPECT_EQ(dump.find("\tOwner: "), std::string::npos) << "a line without room for its end";
    EXPECT_NE(dump.find("u\n"), std::string::npos);
}

TEST_F(JobDump, WritesOneLine)
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
    for (QORJobData* item : {&named, &unnamed})
    {
        item->AddRef(); // the test's own: the item never goes with the job
        EXPECT_EQ(job->SetJobData(item), S_OK);
    }
    const std::wstring local = Widened(TimeOf(78).ToLocalTime().ToText());
    const wchar_t* const words[] = {L"Ready",     L"Executing", L"Waiting", L"Completed", L"Stopped with error",
                                    L"Cancelled", L"Stopped",   L"Unknown"};
    for (int status = 0; status < 8; ++status)
    {
        SetStatus(*job.Get(), status);
        std::wostringstream stream;
        EXPECT_EQ(job->WriteJobInfo(stream), &stream);
        stream << 17;
        EXPECT_EQ(stream.str(), L"Job 4711: Priority = 5, StepsCompleted = <10 3 >,, StepsToDo = <2 >,, Data Items = "
                                L"<QORDataMachineName  >, Source = 31, Type = 1a, CreationTime = " +
                                    local + L", WaitingTime = 0ms, Status: " + words[status] + L",  entered at " +
                                    local + L"\n17");
    }
    std::wostringstream broken;
    broken.exceptions(std::ios::badbit);
    EXPECT_THROW(broken.setstate(std::ios::badbit), std::ios_base::failure);
    TakeLog();
    EXPECT_EQ(job->WriteJobInfo(broken), nullptr);
    std::thread([&] { EXPECT_EQ(job->SetStatus(JobReady, nullptr), S_OK); }).join(); // the lock is free
    EXPECT_EQ(TakeLog().front(), "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION (WriteJobInfo): WriteJobInfo, 4711");
    EXPECT_EQ(QORJobData::UnInitJobDataNameIds(), S_OK);
}

TEST_F(JobTraceFlags, OfLeaksCountOnlyWhileLeaksAreTraced)
{
    const JobPtr job = NewJob();
    TakeLog();
    const auto mark = [&](unsigned iFlag) {
        job->MarkJobTraceFlags(iFlag);
        return DumpOf(*job.Get()).substr(0, 22);
    };
    EXPECT_EQ(mark(8), "Job Trace Flags: 0x0\nJ");
    EXPECT_EQ(mark(64), "Job Trace Flags: 0x40\n");
    EXPECT_EQ(mark(2), "Job Trace Flags: 0x42\n");
    EXPECT_EQ(TakeLog(), Texts());
    EXPECT_EQ(mark(8), "Job Trace Flags: 0x4a\n");
    const std::string start = "Info: QORJobLeak Trace for JobId: 4711 and callstack: ";
    const Texts lines = TakeLog();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].compare(0, start.size(), start), 0) << lines[0];
    EXPECT_GT(lines[0].size(), start.size());
}

TEST_F(JobTraceFlags, OfTheUserAreTheContexts)
{
    QBase::PtrI<CKDXProcessContext> context;
    ASSERT_EQ(CreateProcessContext(context), S_OK);
    const JobPtr job = NewJob();
    EXPECT_FALSE(GetPrsContextLogFlag(nullptr));
    EXPECT_TRUE(GetPrsContextLogFlag(job.Get()));
    job->SetProcessContext(context.Get());
    for (const LONG flag : {2, 0})
    {
        context->put_UserContextLogFlag(flag);
        EXPECT_EQ(GetPrsContextLogFlag(job.Get()), flag != 0);
    }
}
