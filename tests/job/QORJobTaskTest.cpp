#include "job/QORJobTask.h"

#include "context/Collaborators.h"
#include "data/QORBinaryData.h"
#include "job/QORJobError.h"
#include "platform/QResource.h"
#include "tests/support/JobTest.h"
#include "tests/support/OperationPlace.h"

#include <memory>

using Builtin::Faults::EnumFault;

namespace
{

/// A job's context, and the session in it: notes what is called, and throws where it is told to.
struct Outside final : NullProcessContext, ICKDXSession
{
    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        *oInterface = QBase::PtrI<ICKDXSession>(iInterfaceId == IID_ICKDXSession ? this : nullptr).Detach();
        return S_OK;
    }
    DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }
    DWORD QORJOB_STDCALL Release() override { return --mReferences; }
    HRESULT QORJOB_STDCALL get_HandleB(QBase::Counted** oHandle) override
    {
        *oHandle = QBase::PtrI<QBase::Counted>(mpReporter).Detach();
        return Note("reporter");
    }
    HRESULT QORJOB_STDCALL get_ContextObjectA(IUnknown** oObject) override
    {
        *oObject = QBase::PtrI<ICKDXSession>(this).Detach();
        return S_OK;
    }
    HRESULT QORJOB_STDCALL get_Locale(unsigned* oLocale) override
    {
        *oLocale = 0x407;
        return Note("locale");
    }
    HRESULT QORJOB_STDCALL get_Flags(LONG*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Name8(BSTR*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Name9(BSTR*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL Call(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL FillLocalisation(const GUID&, int) override { return E_NOTIMPL; }
    HRESULT Note(const std::string& iCall)
    {
        mCalls += iCall + ";";
        return iCall == mFaultAt ? throw QBase::Message("a fault") : S_OK;
    }

    QBase::Counted* mpReporter = nullptr;
    std::string mFaultAt, mCalls;
    unsigned mReferences = 0;
};

struct Reporter final : QORErrorReporter
{
    unsigned AddRef() override { return static_cast<unsigned>(mOutside.AddRef()); }
    unsigned Release() override { return static_cast<unsigned>(mOutside.Release()); }
    HRESULT SetReportKind(int iKind) override { return mOutside.Note(std::to_string(iKind)); }
    HRESULT ReportError(HRESULT iCode, const QBase::WCHAR* iText) override
    {
        return mOutside.Note(std::to_string(iCode & 0xFFFF) + QBase::WideCharToUTF8(iText));
    }

    Outside mOutside;
};

struct FaultyItem final : QORBinaryData
{
    using QORBinaryData::QORBinaryData;
    HRESULT Reset() override { throw std::bad_alloc(); }
};

/// Notes how its task and the jobs stand when it goes.
struct WitnessItem final : QORBinaryData
{
    WitnessItem(QORJobTask* iTask, std::string& oSeen) : QORBinaryData(0, nullptr, 0), mpTask(iTask), mSeen(oSeen) {}
    HRESULT Reset() override
    {
        JobTaskStatus status = JobTaskStatusNone;
        if (mpTask != nullptr)
            mpTask->GetStatus(&status);
        mSeen += "status " + std::to_string(status) + ", jobs " +
                 std::to_string(Builtin::PerfReadings::GetLiveInstances(cJobCategory)) + ";";
        return S_OK;
    }

    QORJobTask* mpTask;
    std::string& mSeen;
};

struct JobTask : JobTest
{
    ~JobTask() override { EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(7), 0) << "tasks are left behind"; }

    const JobPtr mJob = NewJob();
};

} // namespace

TEST_F(JobTask, SharesItsJobWithItsClonesAndNothingElse)
{
    QORJobTask task(NewJob().Get()); // nobody else holds that one
    for (QORJob* const job : {mJob.Get(), mJob.Get()})
        EXPECT_EQ(task.SetJob(job), S_OK);
    task.SetComplete();
    QORTask* made = nullptr;
    EXPECT_EQ(task.Clone(&made), S_OK);
    const std::unique_ptr<QORTask> owned(made);
    JobTaskStatus status = JobTaskStatusAborted;
    EXPECT_EQ(dynamic_cast<QORJobTask&>(*made).GetStatus(&status), S_OK);
    EXPECT_EQ(status, JobTaskStatusNone);
    EXPECT_EQ(dynamic_cast<QORJobTask&>(*made).GetJobId(), cJobId);

    QResource::MessageFormatter address;
    address << static_cast<const void*>(&task);
    for (const std::string id : {"4711", "-1"})
    {
        TakeLog();
        Builtin::EventTrace::Start();
        task.CancelLog();
        const std::string line = "Error: QORJobTask " + address.GetArguments()[0] + " of Job " + id + " is cancelled";
        EXPECT_EQ(Join(TakeLog(), Builtin::EventTrace::Stop()), (Texts{line, "QORTask::CancelLog"}));
        task.SetJob(nullptr);
    }
}

TEST_F(JobTask, BorrowsItsInputsUntilItEnds)
{
    QORJobData* given = nullptr;
    void* bytes = QBase::HeapAllocate(4);
    QORJobTask task(nullptr);
    EXPECT_EQ(task.SetOutput(0, bytes, 4), E_HANDLE);
    EXPECT_EQ(task.SetOutput(nullptr), E_HANDLE);
    EXPECT_EQ(task.GetContextDataX(0, &given), E_HANDLE);
    task.SetJob(mJob.Get());
    EXPECT_EQ(task.SetOutput(0, bytes, 4), S_OK);
    EXPECT_EQ(task.SetOutput(5, QBase::HeapAllocate(4), 4), E_FAIL);
    bytes = QBase::HeapAllocate(4);
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(task.SetOutput(0, bytes, 4), E_OUTOFMEMORY);
    for (const auto end : {&QORJobTask::SetComplete, &QORJobTask::SetAbort, &QORJobTask::SetAbort})
    {
        for (const int id : {3, 7, -1, 0})
        {
            void* same = &task;
            EXPECT_EQ(task.GetContextDataX(id, &given), S_OK);
            EXPECT_EQ(task.GetContextData(id, &same), S_OK);
            EXPECT_EQ(given != nullptr, id == 0);
            EXPECT_EQ(same, given);
        }
        QORJobData* none = given;
        Builtin::Faults::FailNth(EnumFault::Allocation, 1);
        EXPECT_EQ(task.GetContextDataX(0, &none), static_cast<HRESULT>(0x8004308C));
        EXPECT_EQ(none, nullptr);
        for (const unsigned count : {4u, 2u}) // with one of the test's own
        {
            EXPECT_EQ(given->AddRef(), count);
            given->Release();
            EXPECT_EQ((task.*end)(), S_OK);
        }
    }
    task.GetContextDataX(0, &given); // goes with the task
}

TEST_F(JobTask, LetsItsInputsGoBeforeItsStatusChangesAndItsJobGoes)
{
    std::string seen;
    QORJobData* given = nullptr;
    const auto borrow = [&](QORJobTask& ioTask, bool ibAsks) {
        EXPECT_EQ(ioTask.SetOutput(new WitnessItem(ibAsks ? &ioTask : nullptr, seen)), S_OK);
        EXPECT_EQ(ioTask.GetContextDataX(0, &given), S_OK);
        EXPECT_EQ(ioTask.SetOutput(0, nullptr, 0), S_OK); // the job has another one now
    };
    for (const auto end : {&QORJobTask::SetComplete, &QORJobTask::SetAbort})
    {
        QORJobTask task(mJob.Get());
        borrow(task, true);
        EXPECT_EQ((task.*end)(), S_OK);
        EXPECT_EQ(std::exchange(seen, ""), "status 0, jobs 1;");
        EXPECT_EQ(Read(task, &QORJobTask::GetStatus),
                  end == &QORJobTask::SetComplete ? JobTaskStatusComplete : JobTaskStatusAborted);
    }
    {
        QORJobTask task(NewJob().Get()); // nobody else holds that job
        borrow(task, false);
    }
    EXPECT_EQ(seen, "status 0, jobs 2;");
}

TEST_F(JobTask, HasItsOperationsWhereOtherModulesHaveThem)
{
    using Task = QORJobTask;
    using Factory = Task::DataObjectFactory;
    // The destructor stands third, in as many places as the compiler likes.
    const std::size_t cancelLog = PlaceOf(&Task::CancelLog);
    EXPECT_TRUE(cancelLog == 3 || cancelLog == 4);
    ExpectPlaces(0, &Task::Run, &Task::Clone);
    ExpectPlaces(cancelLog, &Task::CancelLog, &Task::Cancel, static_cast<DWORD (Task::*)(Factory)>(&Task::Init),
                 static_cast<unsigned (Task::*)(ConfigManager*, Factory)>(&Task::Init));
}

TEST_F(JobTask, MakesItemsByItsFactoryAndRefusesNull)
{
    QORJobTask task(mJob.Get());
    QORJobData* item = nullptr;
    const auto factory = [](const QORJob*, int iId, QORJobData**) { return HRESULT{iId}; };
    EXPECT_EQ(task.Init(QORJobData::CreateJobDataObject), 0u);
    EXPECT_EQ(task.CreateJobDataObject(1, &item), E_INVALIDARG);
    EXPECT_EQ(task.Init(nullptr, factory), 0u);
    EXPECT_EQ(task.CreateJobDataObject(2, &item), 2);
    EXPECT_EQ(task.Cancel(mJob.Get()), E_NOTIMPL);
    for (const HRESULT code : {task.GetStatus(nullptr), task.Clone(nullptr), task.GetContextDataX(0, nullptr),
                               task.GetContextData(0, nullptr), QORJobTask::GetId(QORJOB_W("any"), nullptr),
                               QORJobTask::GetName(0, nullptr), QORJobTask::GetProfileIndex(0, nullptr)})
        EXPECT_EQ(code, E_POINTER);
}

TEST_F(JobTask, AsksItsJobAndNothingElse)
{
    FakeProcessContext context; // has nobody to report to
    mJob->SetProcessContext(&context);
    QORJobTask task(mJob.Get());
    const int any = 7;
    int id = 77;
    EXPECT_EQ(task.GetJobId(&any), cJobId);
    EXPECT_EQ(task.GetDataIdByName(QORJOB_W("any"), &id), S_OK);
    EXPECT_EQ(id, 77);
    EXPECT_EQ(task.SetConfigManager(nullptr), S_OK);
    EXPECT_NE(task.GetJobErrorBuilder(E_FAIL).Get(), nullptr);
    EXPECT_EQ(Read(*mJob.Get(), &QORJob::GetStatus), JobStoppedWithError);
    EXPECT_EQ(task.SetAbort(), S_OK);
    mJob->SetProcessContext(nullptr);
}

TEST_F(JobTask, AbortsWhateverTheReportAndTheInputsMeet)
{
    const std::string cOfItem = Caught("QORJobTask::ReleaseContextData", nullptr);
    const std::string cOfReport = Caught("QORJobTask::SetAbort", "a fault");
    for (const auto& [bReporter, fault, calls] : {std::tuple(false, "", "reporter;"),
                                                  {true, "", "reporter;4;locale;65039Die Aufgabe wurde abgebrochen.;"},
                                                  {true, "locale", "reporter;4;locale;65039The task was aborted.;"},
                                                  {true, "4", "reporter;4;"}})
    {
        Reporter reporter;
        Outside& outside = reporter.mOutside;
        outside.mpReporter = bReporter ? &reporter : nullptr;
        outside.mFaultAt = fault;
        mJob->SetProcessContext(&outside);
        QORJobTask task(mJob.Get());
        QORJobData* item = nullptr;
        task.SetOutput(new FaultyItem(0, nullptr, 0));
        task.SetOutput(1, nullptr, 0);
        for (const int id : {0, 1})
            task.GetContextDataX(id, &item);
        task.SetOutput(0, nullptr, 0); // leaves the faulty one to the task
        TakeLog();
        EXPECT_EQ(task.SetAbort(), S_OK);
        EXPECT_EQ(outside.mCalls, calls);
        EXPECT_EQ(TakeLog(), *fault == '\0' ? Texts{cOfItem} : (Texts{cOfReport, cOfItem}));
        JobTaskStatus status = JobTaskStatusNone;
        task.SetStatus(JobTaskStatusNone, &status);
        EXPECT_EQ(status, JobTaskStatusAborted);
        EXPECT_EQ(item->AddRef(), 2u);
        item->Release();
        mJob->SetProcessContext(nullptr);
        EXPECT_EQ(outside.mReferences, 0u);
    }
}

TEST_F(JobTask, FindsNamesAndProfilesAsTheRegistryWasMade)
{
    const QBase::WCHAR* const query = QORJOB_W("Query");
    int id = 0;
    const QBase::WCHAR* none = query;
    QBase::wstring noText(query);
    EXPECT_EQ(QORJobTask::GetId(query, &id), E_HANDLE);
    EXPECT_EQ(QORJobTask::GetName(41, &none), E_HANDLE);
    EXPECT_EQ(QORJobTask::GetName(41, noText), E_HANDLE);
    // Made by Init the registry leaves the profiles as they were loaded; made by a name, even in vain, it clears them.
    for (const int profile : {0, -1})
    {
        const auto make = [&] {
            return profile == 0 ? QORJobTask::InitJobTaskNameIds() : QORJobTask::AddName(query, 41);
        };
        Builtin::Faults::FailNth(EnumFault::LockCreation, 1);
        EXPECT_EQ(make(), E_OUTOFMEMORY);
        EXPECT_EQ(make(), S_OK);
        EXPECT_EQ(QORJobTask::AddName(query, 41), S_OK);
        EXPECT_EQ(QORJobTask::AddName(nullptr, 3), E_INVALIDARG);
        EXPECT_EQ(QORJobTask::AddName(QORJOB_W("Gr\u00F6\u00DFe"), 40), S_OK);
        EXPECT_EQ(QORJobTask::GetId(query, &id), S_OK);
        EXPECT_EQ(id, 41);
        const QBase::WCHAR* name = nullptr;
        QBase::wstring text;
        EXPECT_EQ(QORJobTask::GetName(41, &name), S_OK);
        EXPECT_EQ(QORJobTask::GetName(41, text), S_OK);
        EXPECT_EQ(QBase::wstring(name), query);
        EXPECT_EQ(text, query);
        for (const auto& [task, code, expected] :
             {std::tuple(3, S_OK, profile), {41, E_POINTER, -1}, {-1, E_POINTER, -1}})
        {
            EXPECT_EQ(QORJobTask::GetProfileIndex(task, &id), code);
            EXPECT_EQ(id, expected);
        }
        for (const Builtin::PerfReadings::Profile& made : Builtin::PerfReadings::GetProfiles())
            EXPECT_NE(made.mName, "Query") << "past the ids that are profiled";
        EXPECT_EQ(QORJobTask::GetProfileIndex(40, &id), S_OK);
        EXPECT_EQ(Builtin::PerfReadings::GetProfiles().at(static_cast<std::size_t>(id)).mName, "Gr\u00F6\u00DFe");
        EXPECT_EQ(QORJobTask::UnInitJobTaskNameIds(), S_OK);
    }
}
