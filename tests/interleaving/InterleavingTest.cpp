// Operations that meet, in every order of their locks: what comes of it has to be what some order of whole operations
// gives. A scene that fails prints its schedule; QORJOB_SCHEDULE=ABBA... runs that one again and prints it.
#include "base/QORJobInitializer.h"
#include "context/CKDXProcessContext.h"
#include "data/QORNamedIdsList.h"
#include "data/QORStringData.h"
#include "job/QORJobError.h"
#include "job/QORJobTask.h"
#include "platform/QPerfMon.h"
#include "platform/builtin/LibraryUsers.h"
#include "record/QORChannelRequest.h"
#include "tests/interleaving/Scheduler.h"
#include "tests/support/JobTest.h"
#include "tests/support/Messages.h"
#include "tests/support/OwnInitializerAway.h"

#include <cstdlib>
#include <optional>
#include <set>

namespace
{

constexpr int cUnit = 7;
constexpr HRESULT cErrors[] = {static_cast<HRESULT>(0x80043018), static_cast<HRESULT>(0x80043019)};

struct Jobs : JobTest
{
    using JobTest::NewJob;
    using JobTest::Queue;
};

template <class... Values>
std::string Say(Values... iValues)
{
    return ((std::to_string(iValues) + ' ') + ...);
}

/// What the operations of a scene work on, made anew for each run.
struct World
{
    World()
    {
        Builtin::Settings::SetClock(Moment(1));
        Builtin::PerfReadings::Reset();
        mContext.mOnCall = Scheduler::Meet;
        mContext.mpInstance = &mInstance;
    }

    ~World() { QORJobTask::UnInitJobTaskNameIds(); }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    void Make(int iRequestType, const std::string& iTodo, int iStatus, ICKDXProcessContext* iContext)
    {
        mJob = Jobs::NewJob(iRequestType);
        mJob->SetProcessContext(iContext);
        Jobs::Queue(*mJob.Get(), iTodo);
        mJob->SetPUStart(cUnit);
        mJob->SetStatus(iStatus, nullptr);
        mJob->SetRunning(true, nullptr);
    }

    void Make(int iRequestType, const std::string& iTodo, int iStatus = JobExecuting)
    {
        Make(iRequestType, iTodo, iStatus, &mContext);
    }

    /// With a context that has messages.
    void MakeWithMessages(const std::string& iTodo)
    {
        EXPECT_EQ(CreateProcessContext(mReal), S_OK);
        mReal->SetRequestIn(0, QMessage::NewReadMessage(nullptr, 0).Get(), nullptr, nullptr, GUID_NULL);
        Make(RequestElement, iTodo, JobExecuting, mReal.Get());
    }

    /// All that can be seen afterwards, in lines.
    Texts Show() const
    {
        Texts lines(mGiven.begin(), mGiven.end());
        for (const JobPtr* job : {&mJob, &mChild})
        {
            QBase::wstring text;
            bool bDead = false;
            bool bExecuting = false;
            auto step = StepNoMore;
            if (*job)
                (*job)->GetJobInfo(text), (*job)->GetIAmDead(&bDead, &step),
                    (*job)->IsExecuting(&bExecuting, nullptr, nullptr, nullptr, nullptr);
            std::istringstream dump(QBase::WideCharToUTF8(text) + Say(bDead, step, bExecuting));
            for (std::string line; std::getline(dump, line);)
                lines.push_back(line);
        }
        Texts calls = mContext.mCalls; // those without the lock have no order
        std::sort(calls.begin(), calls.end());
        lines.insert(lines.end(), calls.begin(), calls.end());
        for (const auto& [id, value] : ReadCounters())
            lines.push_back("counter " + Say(id, value));
        if (mReal)
            for (const unsigned code : CodesIn(Given(mReal, &CKDXProcessContext::get_OutMessage)))
                lines.push_back("code " + Say(code));
        int value = -2;
        for (const QBase::WCHAR* name : {QORJOB_W("one"), QORJOB_W("two")})
        {
            if (mNames != nullptr)
                lines.push_back("index " + Say(mNames->NameToIndex(name, &value), value));
            lines.push_back("task " + Say(QORJobTask::GetId(name, &value), value));
        }
        for (const int index : {0, 1, 2})
        {
            if (mNames != nullptr)
                lines.push_back("id " + Say(mNames->IndexToId(index, &value), value));
            lines.push_back("profile " + Say(QORJobTask::GetProfileIndex(index, &value), value));
        }
        lines.push_back("live " + Say(Builtin::PerfReadings::GetLiveInstances(cJobCategory), mSent,
                                      Builtin::LibraryUsers::GetLogUsers(),
                                      Builtin::LibraryUsers::GetMemGovernorCount()));
        return lines;
    }

    std::optional<OwnInitializerAway> mAway;
    std::array<std::optional<QORJOB::Initializer>, 2> mInitializers;
    Texts mCalls;
    FakeReportInstance mInstance{mCalls};
    FakeProcessContext mContext;
    QBase::PtrI<CKDXProcessContext> mReal;
    QORJobTask mTask{nullptr};
    std::unique_ptr<QORNamedIdsList> mNames;
    int mSent = 0;
    JobPtr mJob;
    JobPtr mSecond; // another reference to the same job, or none
    JobPtr mChild;
    std::array<std::string, Scheduler::cThreads> mGiven;
};

using Operation = std::function<std::string(World&)>;

std::string Dispatch(World& ioWorld)
{
    int step = -2;
    int running = -2;
    const HRESULT code = ioWorld.mJob->GetCurrentStepIdToRun(&step, &running);
    return Say(code, step, running);
}

Operation Finish(int iStepId)
{
    return [=](World& ioWorld) { return Say(ioWorld.mJob->SetStepFinish(iStepId, cUnit, &ioWorld.mTask)); };
}

Operation SetStatus(int iStatus)
{
    return [=](World& ioWorld) {
        int old = -1;
        const HRESULT code = ioWorld.mJob->SetStatus(iStatus, &old);
        return Say(code, old);
    };
}

std::string Cancel(World& ioWorld) { return Say(ioWorld.mJob->Cancel()); }

std::string Snapshot(const JobPtr& iJob)
{
    QORJobInfo info;
    std::string text = Say(iJob->GetJobInfo(&info), info.mStatus, info.mbRunning, info.mTodoCount);
    for (int i = 0; i < info.mFinishedCount; ++i)
        text += Say(Read(info.mFinishedSteps[static_cast<std::size_t>(i)], &QORJobStep::GetId));
    for (int i = 0; i < info.mDataCount; ++i)
        text += "data " +
                Say(*static_cast<const char*>(Read(info.mData[static_cast<std::size_t>(i)], &QORJobInfoData::GetData)));
    return text;
}

Operation Fail(HRESULT iCode)
{
    return [=](World& ioWorld) {
        const auto error = ioWorld.mJob->GetJobErrorBuilder(iCode);
        *error << QORJOB_W("Climate");
        return Say(error->GetCreationResult());
    };
}

Operation Release(JobPtr World::*iReference)
{
    return [=](World& ioWorld) { return Say((ioWorld.*iReference).Detach()->Release()); };
}

Operation MustPersist(EnumRunAwayCaller iCaller)
{
    return [=](World& ioWorld) {
        const bool bMust = ioWorld.mJob->NeedToPerisistMsgStatusForRunAway(iCaller);
        ioWorld.mSent += bMust ? 1 : 0;
        return Say(bMust);
    };
}

Operation SetData(const QBase::WCHAR* iText)
{
    return [=](World& ioWorld) {
        const QBase::PtrI<QORJobData> item(new QORStringData(0, iText, QORStringData::COPY_STRING));
        return Say(ioWorld.mJob->SetJobData(item.Get()));
    };
}

std::string GetData(World& ioWorld)
{
    QORJobData* item = nullptr;
    const HRESULT code = ioWorld.mJob->GetJobData(0, &item);
    const auto held = QBase::PtrI<QORJobData>::Adopt(item);
    return Say(code) + QBase::WideCharToUTF8(static_cast<const QBase::WCHAR*>(Read(*held.Get(), &QORJobData::GetData)));
}

std::string AddChild(World& ioWorld)
{
    const HRESULT parent = ioWorld.mJob->AddChild(ioWorld.mChild->GetId());
    return Say(parent, ioWorld.mChild->SetParentId(cJobId, ioWorld.mJob->GetMemGovernor()));
}

std::string CancelListed(World& ioWorld)
{
    QBase::list<QSynch::AtomicLong> children;
    ioWorld.mJob->GetExecutingChildrenList(children);
    return children.empty() ? "none" : Say(ioWorld.mChild->Cancel());
}

Operation PackCode(unsigned iCode)
{
    return [=](World& ioWorld) {
        ::Pack(Given(ioWorld.mReal, &CKDXProcessContext::get_OutMessage).Get(), iCode);
        return std::string();
    };
}

Operation MakeInitializer(std::size_t iPlace)
{
    return [=](World& ioWorld) {
        ioWorld.mInitializers[iPlace].emplace();
        return Say(Builtin::LibraryUsers::GetThreadSpaceUsers(), Builtin::LibraryUsers::GetMemGovernorCount());
    };
}

Operation AddName(const QBase::WCHAR* iName, int iId)
{
    return [=](World& ioWorld) { return Say(ioWorld.mNames->AddNameCopy(iName, iId)); };
}

std::string FindName(World& ioWorld)
{
    int index = -2;
    const HRESULT code = ioWorld.mNames->NameToIndex(QORJOB_W("one"), &index);
    return Say(code, index);
}

std::string FindId(World& ioWorld)
{
    int id = -2;
    const HRESULT code = ioWorld.mNames->IndexToId(0, &id);
    return Say(code, id);
}

struct Scene
{
    const char* mpName;
    void (*mpSetUp)(World&);
    std::vector<std::vector<Operation>> mThreads; // of each its operations, one after the other
    int mSent = 0;                                // what has to go out, whatever the order
    const char* mpNoted = nullptr;
};

void PrintTo(const Scene& iScene, std::ostream* oStream) { *oStream << iScene.mpName; }

void MakeReport(World& ioWorld) { ioWorld.Make(RequestReport, "3@7 4 2"); }

/// Its first step runs.
void MakeRunningReport(World& ioWorld)
{
    ioWorld.Make(RequestReport, "3 4 2");
    ioWorld.mJob->SetStepStart(3, cUnit, &ioWorld.mTask);
}

void MakeDocument(World& ioWorld)
{
    ioWorld.Make(RequestDocument, "13 19 2");
    ioWorld.mJob->SetStepStart(13, cUnit, &ioWorld.mTask);
}

void MakeWithSecondReference(World& ioWorld)
{
    ioWorld.Make(RequestReport, "3 2");
    SetData(QORJOB_W("a"))(ioWorld);
    ioWorld.mSecond = ioWorld.mJob;
}

void MakeFamily(World& ioWorld)
{
    ioWorld.Make(RequestDocument, "13 2");
    ioWorld.mChild = JobPtr(QORJob::NewJob(cJobId + 1, RequestReport, cJobPriority, nullptr, nullptr));
}

void MakeAsked(World& ioWorld)
{
    ioWorld.MakeWithMessages("3 2");
    const auto channel = QMessage::NewChannel([&](ICKDXReadMessage*) { return ++ioWorld.mSent, S_OK; });
    ioWorld.mJob->AddChannelRequest(new QORChannelRequest(channel.Get(), 0, 0));
}

const Operation cPause = [](World& ioWorld) { return ioWorld.mJob->PauseCurrentStep(), std::string(); };
const Operation cStart = [](World& ioWorld) { return Say(ioWorld.mJob->SetPUStart(cUnit)); };
const Operation cCount = [](World& ioWorld) { return Say(ioWorld.mJob->UpdateJobCloseCounters()); };
const Operation cAddStep = [](World& ioWorld) { return Say(ioWorld.mJob->AddStep(new QORJobStep(5), nullptr)); };
const Operation cLook = [](World& ioWorld) { return Snapshot(ioWorld.mJob); };
const Operation cLookAtSecond = [](World& ioWorld) { return Snapshot(ioWorld.mSecond); };
const Operation cHang = [](World& ioWorld) { return Say(ioWorld.mJob->StopRunningIfHang(0, 0, &ioWorld.mTask)); };
const Operation cStartNext = [](World& ioWorld) { return Say(ioWorld.mJob->SetStepStart(4, cUnit, nullptr)); };
const Operation cRunAway = [](World& ioWorld) { return ioWorld.mJob->SetRunAwayStatus(), std::string(); };
const Operation cBegin = [](World& ioWorld) { return Say(ioWorld.mReal->BeginThreadMessage()); };
const Operation cEnd = [](World& ioWorld) { return ioWorld.mReal->EndThreadMessage(0), std::string(); };
const Operation cEndFirst = [](World& ioWorld) { return ioWorld.mInitializers[0].reset(), std::string(); };
const Operation cNameTask = [](World&) { return Say(QORJobTask::AddName(QORJOB_W("one"), 1)); };
const Operation cNameOther = [](World&) { return Say(QORJobTask::AddName(QORJOB_W("two"), 2)); };

const Scene cScenes[] = {
    {"DispatchAndFinish", MakeRunningReport, {{Dispatch}, {Finish(3)}}},
    {"DispatchAndDispatch", [](World& w) { w.Make(RequestReport, "3 4 2"); }, {{Dispatch}, {Dispatch}, {Dispatch}}},
    {"DispatchOfTheClosingStep", [](World& w) { w.Make(RequestReport, "2"); }, {{Dispatch}, {Dispatch}, {Dispatch}}},
    {"DispatchOfNothing", [](World& w) { w.Make(RequestReport, ""); }, {{Dispatch}, {cAddStep}, {cLook}}},
    {"CancelAndDispatch", [](World& w) { w.Make(RequestReport, "3 4 2"); }, {{Cancel}, {Dispatch}, {Dispatch}}},
    {"CancelAndFinishAndDispatch", MakeRunningReport, {{Cancel}, {Finish(3)}, {Dispatch}}},
    {"CancelAndEnd", MakeReport, {{Cancel}, {SetStatus(JobCompleted)}, {cLook}}},
    {"CancelAndCancel", MakeReport, {{Cancel}, {Cancel}}},
    {"PauseAndFinish", MakeDocument, {{cPause}, {Finish(13)}, {Dispatch}}},
    {"PauseAndCancel", MakeDocument, {{cPause}, {Cancel}, {Finish(13)}}},
    {"HangAndFinish", MakeRunningReport, {{cHang, SetStatus(JobStoppedWithError), Dispatch}, {Finish(3)}}},
    {"HangAndStartOfTheNext", MakeRunningReport, {{cHang}, {Finish(3), cStartNext}}},
    {"ErrorAndStatus", [](World& w) { w.MakeWithMessages("3 4 2"); }, {{Fail(cErrors[0])}, {SetStatus(JobCompleted)}}},
    {"ErrorAndCancel", [](World& w) { w.MakeWithMessages("3 4 2"); }, {{Fail(cErrors[0])}, {Cancel}}},
    {"ErrorAndError", [](World& w) { w.MakeWithMessages("3 4 2"); }, {{Fail(cErrors[0])}, {Fail(cErrors[1])}}},
    {"ReleaseAndSnapshot",
     MakeWithSecondReference,
     {{Release(&World::mJob)}, {cLookAtSecond, Release(&World::mSecond)}},
     0,
     "LogReference"},
    {"ReleaseAndRelease",
     MakeWithSecondReference,
     {{Release(&World::mJob)}, {Release(&World::mSecond)}},
     0,
     "LogReference"},
    {"RunawayAndCleanUp",
     MakeRunningReport,
     {{cRunAway, MustPersist(RunAwayCleanUp)}, {MustPersist(RunAwayThread)}},
     1},
    {"RunawayBothAtOnce",
     [](World& w) { MakeRunningReport(w), cRunAway(w); },
     {{MustPersist(RunAwayCleanUp)}, {MustPersist(RunAwayThread)}},
     1},
    {"ChildAndCancel", MakeFamily, {{AddChild}, {Cancel, CancelListed}}},
    {"DataAndSnapshot", MakeWithSecondReference, {{SetData(QORJOB_W("b"))}, {cLook}, {GetData}}},
    {"DataAndData", MakeWithSecondReference, {{SetData(QORJOB_W("b"))}, {SetData(QORJOB_W("c"))}, {GetData}}},
    {"StartAndStart", MakeReport, {{cStart}, {cStart}, {SetStatus(JobStoppedWithError)}}},
    {"CloseCountersOnce", MakeReport, {{cCount}, {cCount}}},
    {"ReplyAndReply", MakeAsked, {{SetStatus(JobReplied)}, {SetStatus(JobReplied)}}, 1},
    {"ThreadMessageAndReply", MakeAsked, {{cBegin, PackCode(41), cEnd}, {PackCode(42)}}},
    {"NameAndName",
     [](World& w) { w.mNames = std::make_unique<QORNamedIdsList>(); },
     {{AddName(QORJOB_W("one"), -1)}, {AddName(QORJOB_W("two"), -1)}, {FindName}}},
    {"NameTwice",
     [](World& w) { w.mNames = std::make_unique<QORNamedIdsList>(); },
     {{AddName(QORJOB_W("one"), 3)}, {AddName(QORJOB_W("one"), 5)}, {FindId}}},
    {"MakingOfTheTaskNames",
     [](World&) { QPerfMon::GetProfileIndex("one"), QPerfMon::GetProfileIndex("two"); },
     {{cNameTask}, {cNameOther}},
     0,
     "CreateRWLock"},
    {"InitialiserAndInitialiser",
     [](World& w) { w.mAway.emplace(); },
     {{MakeInitializer(0)}, {MakeInitializer(1)}},
     0,
     "nitializer"},
    {"EndAndInitialiser",
     [](World& w) { w.mAway.emplace(), w.mInitializers[0].emplace(); },
     {{cEndFirst}, {MakeInitializer(1)}},
     0,
     "nitializer"},
};

/// Lines of the outcome that aren't in the other.
std::string Differences(const Texts& iOutcome, const Texts& iOther)
{
    std::string differences;
    for (const std::string& line : iOutcome)
        if (std::find(iOther.begin(), iOther.end(), line) == iOther.end())
            differences += "    " + line + '\n';
    return differences;
}

class Interleaving : public JobTest, public testing::WithParamInterface<Scene>
{
protected:
    ~Interleaving() override { Builtin::Faults::StartCountingBlocks(); } // each run was counted by itself

    static void TearDownTestSuite() { std::printf("%d interleavings in all\n", gRuns); }

    Texts RunOnce()
    {
        World world;
        GetParam().mpSetUp(world);
        mbSetUpAnew = world.mAway.has_value();
        std::vector<Scheduler::Parts> threads;
        for (const auto& operations : GetParam().mThreads)
        {
            std::string& given = world.mGiven[threads.size()];
            Scheduler::Parts& parts = threads.emplace_back();
            for (const Operation& operation : operations)
                parts.emplace_back([&] { given += operation(world) + ';'; });
        }
        mScheduler.Run(threads);
        EXPECT_EQ(world.mSent, GetParam().mSent) << mScheduler.GetSchedule();
        return world.Show();
    }

    template <class See>
    int RunAll(bool ibWholeParts, std::string_view iSchedule, See iSee)
    {
        int runs = 0;
        mScheduler.Begin(ibWholeParts, GetParam().mpNoted, iSchedule);
        do
        {
            Builtin::Faults::StartCountingBlocks();
            iSee(RunOnce());
            EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), mbSetUpAnew ? 12 : 0) << mScheduler.GetSchedule();
            TakeLog();
            ++runs;
        } while (!HasFailure() && iSchedule.empty() && mScheduler.Next());
        return runs;
    }

    Scheduler mScheduler;
    bool mbSetUpAnew = false; // the library itself, whose blocks stay
    static inline int gRuns = 0;
};

} // namespace

TEST_P(Interleaving, GivesWhatSomeOrderOfWholeOperationsGives)
{
    std::set<Texts> allowed;
    RunAll(true, "", [&](const Texts& iOutcome) { allowed.insert(iOutcome); });
    const char* const schedule = std::getenv("QORJOB_SCHEDULE");
    const int runs = RunAll(false, schedule != nullptr ? schedule : "", [&](const Texts& iOutcome) {
        if (schedule != nullptr)
            std::puts(mScheduler.GetSchedule().c_str());
        if (allowed.contains(iOutcome))
            return;
        std::string text;
        for (const Texts& other : allowed)
            text += "  has\n" + Differences(iOutcome, other) + "  where an order of whole operations has\n" +
                    Differences(other, iOutcome);
        ADD_FAILURE() << text << "schedule " << mScheduler.GetSchedule();
    });
    gRuns += runs;
    RecordProperty("Interleavings", runs);
    std::printf("%s: %d interleavings, %zu outcomes\n", GetParam().mpName, runs, allowed.size());
}

INSTANTIATE_TEST_SUITE_P(Scenes, Interleaving, testing::ValuesIn(cScenes),
                         [](const auto& iInfo) { return iInfo.param.mpName; });
