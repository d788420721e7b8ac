// Jobs as operators read them: description, dump, one-line summary, leak trace.
#include "record/QORJobBrowsingInfo.h"
#include "record/QORJobInfo.h"
#include "tests/support/FullJob.h"

#include <map>
#include <thread>

namespace
{

using JobTexts = JobTest;

/// The description whole, and whether the object is known.
std::string DescriptionOf(const QORJob& iJob)
{
    QORJobBrowsingInfo2 info;
    EXPECT_EQ(iJob.GetJobBrowsingInfo2(&info), S_OK);
    return QBase::WideCharToUTF8(info.mWholeDescription) + (info.mObjectGuid == FakeCollaborator::cId ? " +" : "");
}

std::string DumpOf(const QORJob& iJob)
{
    QBase::wstring text;
    iJob.GetJobInfo(text);
    return QBase::WideCharToUTF8(text);
}

/// The names of the lines that say yes.
Texts TrueIn(const std::string& iDump)
{
    Texts names;
    std::istringstream lines(iDump);
    for (std::string line; std::getline(lines, line);)
        if (line.ends_with(": true"))
            names.push_back(line.substr(1, line.size() - 7));
    return names;
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
        FakeCollaborator collaborator;
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
        for (const auto& [nameCode, name] :
             {std::pair(E_FAIL, QORJOB_W(" Sales")), {S_OK, static_cast<const QBase::WCHAR*>(nullptr)}})
        {
            collaborator.mNameCode = nameCode;
            collaborator.mpName = name;
            EXPECT_EQ(job->SetDescription(), S_OK);
            EXPECT_EQ(DescriptionOf(*job.Get()).find("Sales"), std::string::npos);
        }
        collaborator.mbThrows = true;
        EXPECT_EQ(job->SetDescription(), type == RequestMetaData ? S_OK : HRESULT(0x8004308B));
        std::thread([&] { DescriptionOf(*job.Get()); }).join(); // the lock is free
        EXPECT_EQ(collaborator.mReferences, 1u) << "the context's";
        EXPECT_EQ(instance.mReferences, 1u);
    }
}

TEST_F(JobTexts, NameEachRequestType)
{
    const char* const cNames[] = {"Meta data request",
                                  "Report request",
                                  "Document request",
                                  "Request element",
                                  "Request SQL",
                                  "Batch child report request",
                                  "Batch execution request",
                                  "Datamart report request",
                                  "Plazabox job request",
                                  "Import .vtx job request",
                                  "External Notification job request",
                                  "Unknown job type"};
    for (int type = 0; type < static_cast<int>(std::size(cNames)); ++type)
    {
        const JobPtr job = NewJob(type);
        EXPECT_EQ(job->SetDescription(), S_OK);
        EXPECT_EQ(DescriptionOf(*job.Get()), cNames[type]);
    }
}

TEST_F(JobTexts, DumpAllThereIs)
{
    const FullJob full;
    EXPECT_EQ(
        DumpOf(*full.mJob.Get()),
        "Job Trace Flags: 0x40\nJobId: 4711\nParent JobId: 28\nReference JobId: 29\n\tStatus: 8\n\tSource: 24\n"
        "\tType: 26\n\tRequest Type: 7\n\tProject Internal Id: 27\n\tProject Name: ProjectName\n"
        "\tProject GUID: {12345678-9ABC-DEF0-0102-030405060701}\n\tOwner: Owner\n\tUser: User\n"
        "\tUser Login: UserLogin\n\tUser GUID: {12345678-9ABC-DEF0-0102-030405060702}\n"
        "\tWarehouse GUID: {12345678-9ABC-DEF0-0102-030405060704}\n\tDescription: Description\n"
        "\tPU Priority: 23\n\tCreation Time: " +
            At(1) + "\n\tStatus Time: " + At(2) + "\n\tFinish Time: " + At(3) + "\n\tTimeout Time: " + At(4) +
            "\n\tIsRunning: true\n\tStats Collected: true\n\tTimeout Extended: true\n\tIs Batch Job: true\n"
            "\tIs SendNow Job: true\n\tIs Executing In Warehouse: true\n\tPU Started: true\n"
            "\tJob Completed: true\n\tIAmDead: true\n\tExternal Buffer: true\n\tReference Count: 6\n"
            "\tPerf Count: 1\n\tDelivery Type: 30\n\tSubscription Owner: SubscriptionOwner\n"
            "\tSubscription Recipient: SubscriptionRecipient\n\tDestination: Destination\n\tError Code: 0x80043018\n"
            "\tComponent Error Code: 0x80040202\n\tTodoStepList:\n\t\tStepId: 13, ThreadId: 1013, PUId: 2013, "
            "StepStartTime: " +
            At(26) + ", StepFinishTime: " + At(27) +
            "\n\t\tStepId: 14, ThreadId: 1014, PUId: 2014, StepStartTime: " + At(28) + ", StepFinishTime: " + At(29) +
            "\n\tFinishedStepList:\n\t\tStepId: 12, ThreadId: 1012, PUId: 2012, StepStartTime: " + At(24) +
            ", StepFinishTime: " + At(25) + "\n\t\tStepId: 11, ThreadId: 1011, PUId: 2011, StepStartTime: " + At(22) +
            ", StepFinishTime: " + At(23) + "\n\tJobPUInfoList:\n\t\tPUId: 35, EnterTime: " + At(107) +
            ", StartTime: " + At(108) + ", ExitTime: " + cNever + "\n\t\tPUId: 36, EnterTime: " + At(106) +
            ", StartTime: " + cNever + ", ExitTime: " + At(110) + "\n\t\tPUId: 35, EnterTime: " + At(105) +
            ", StartTime: " + cNever + ", ExitTime: " + At(109) + "\n");
}

TEST_F(JobTexts, DumpEachFlagInItsOwnLine)
{
    const std::map<std::string, std::string> cLines = {{"SendNow", "Is SendNow Job"},
                                                       {"Batch", "Is Batch Job"},
                                                       {"InWarehouse", "Is Executing In Warehouse"},
                                                       {"Stats", "Stats Collected"},
                                                       {"TimeoutExtended", "Timeout Extended"},
                                                       {"Running", "IsRunning"},
                                                       {"Dead", "IAmDead"}};
    std::string old;
    for (const Attribute& attribute : cAttributes)
    {
        const JobPtr job = NewJob();
        QORJobInfo info;
        QORJobBrowsingInfo2 browsing;
        EXPECT_EQ(attribute.mSetter(*job.Get(), old), S_OK);
        const auto line = cLines.find(attribute.mName);
        EXPECT_EQ(TrueIn(DumpOf(*job.Get())), line == cLines.end() ? Texts() : Texts{line->second});
        EXPECT_EQ(job->GetJobInfo(&info), S_OK);
        EXPECT_EQ(job->GetJobBrowsingInfo2(&browsing), S_OK);
        EXPECT_EQ(info.mbRunning, attribute.mName == "Running");
        EXPECT_EQ(browsing.mbSendNow, attribute.mName == "SendNow");
        EXPECT_EQ(browsing.mbExecutingInWarehouse, attribute.mName == "InWarehouse");
    }
    const JobPtr job = NewJob(RequestReport);
    EXPECT_EQ(job->SetPUStart(1), S_OK);
    EXPECT_EQ(TrueIn(DumpOf(*job.Get())), Texts{"PU Started"});
    for (const char* count : {"\tPerf Count: 1\n", "\tPerf Count: 0\n"})
    {
        EXPECT_NE(DumpOf(*job.Get()).find(count), std::string::npos) << count;
        SetStatus(*job.Get(), JobStopped);
    }
    EXPECT_EQ(job->UpdateJobCloseCounters(), S_OK);
    EXPECT_EQ(TrueIn(DumpOf(*job.Get())), (Texts{"PU Started", "Job Completed"}));
}

TEST_F(JobTexts, LeaveOutWhatHasNoRoomOrIsNotThere)
{
    const JobPtr job = NewJobWith("- 3");
    job->SetOwner(QBase::wstring(1015, QORJOB_W('o'))); // with "\tOwner: " and the line's end 1,024 units
    job->SetUser(QBase::wstring(1015, QORJOB_W('u')));  // 1,023 units
    const std::string dump = DumpOf(*job.Get());
    EXPECT_NE(dump.find("u\n\tUser Login"), std::string::npos);
    EXPECT_EQ(dump.find("\tOwner: "), std::string::npos);
    EXPECT_EQ(dump.substr(dump.find("\tTodo")),
              "\tTodoStepList:\n\t\tStepId: 3, ThreadId: 0, PUId: -1, StepStartTime: " + cNever +
                  ", StepFinishTime: " + cNever + "\n\tFinishedStepList:\n\tJobPUInfoList:\n");
}

TEST_F(JobTexts, TraceLeaksOnceThatIsSwitchedOn)
{
    const JobPtr job = NewJob();
    TakeLog();
    for (const auto& [flag, flags] : {std::pair(8u, "0x0"), {64u, "0x40"}, {2u, "0x42"}})
    {
        job->MarkJobTraceFlags(flag);
        EXPECT_EQ(DumpOf(*job.Get()).find(std::string("Job Trace Flags: ") + flags + "\n"), 0u);
    }
    EXPECT_EQ(TakeLog(), Texts());
    for (const unsigned flag : {4u, 8u, 16u, 32u})
    {
        job->MarkJobTraceFlags(flag);
        EXPECT_EQ(TakeLog().front().find("Info: QORJobLeak Trace for JobId: 4711 and callstack: "), 0u);
    }
    EXPECT_EQ(DumpOf(*job.Get()).find("Job Trace Flags: 0x7e\n"), 0u);
    QORJob::StartJobLeakTrace();
    EXPECT_FALSE(QORJob::GetJobLeakTrace()) << "each job has its own switch";
    QORJob::StopJobLeakTrace();
}

TEST_F(JobTexts, SumTheJobUpInOneLine)
{
    const FullJob full;
    QORJob& job = *full.mJob.Get();
    EXPECT_EQ(QORJobData::AddName(QORJOB_W("\U0001F600 \xD83Ditem\xD83D"), 3), S_OK); // behind the library's own name
    const auto local = [](int iMoment) {
        const QBase::wstring text = Moment(iMoment).ToLocalTime().ToText();
        return std::wstring(text.begin(), text.end());
    };
    const std::pair<int, std::wstring> words[] = {
        {0, L"Ready"},     {1, L"Executing"}, {2, L"Waiting"}, {3, L"Completed"}, {4, L"Stopped with error"},
        {5, L"Cancelled"}, {6, L"Stopped"},   {7, L"Unknown"}, {20, L"Unknown"}};
    job.AddStepToRun(nullptr, nullptr);
    std::wostringstream stream;
    for (const auto& [status, word] : words)
    {
        SetStatus(job, status);
        stream.str(L"");
        stream << std::hex; // as somebody left it
        EXPECT_EQ(job.WriteJobInfo(stream), &stream);
        EXPECT_EQ(stream.flags() & std::ios::basefield, std::ios::dec);
        EXPECT_EQ(stream.str(),
                  L"Job 4711: Priority = 22, StepsCompleted = <12 11 >,, StepsToDo = <13 14 >,, Data Items "
                  L"= <QORDataMachineName \U0001F600 \xD83Ditem\xD83D >, Source = 24, Type = 1a, CreationTime = " +
                      local(1) + L", WaitingTime = 0ms, Status: " + word + L",  entered at " + local(2) + L"\n");
    }
    EXPECT_THROW((stream.setstate(std::ios::badbit), stream.exceptions(std::ios::badbit)), std::ios_base::failure);
    EXPECT_EQ(job.WriteJobInfo(stream), nullptr);
    EXPECT_EQ(QORJobData::UnInitJobDataNameIds(), S_OK);
}
