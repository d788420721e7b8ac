// Operations that meet, in every order of their locks: what comes of it has to be what some order of whole operations
// gives. A scene that fails prints its schedule; QORJOB_SCHEDULE=ABBA... runs that one again and prints it.
#include "data/QORStringData.h"
#include "job/QORJobError.h"
#include "platform/QPerfMon.h"
#include "record/QORChannelRequest.h"
#include "tests/interleaving/World.h"

#include <cstdlib>
#include <set>

namespace
{

constexpr HRESULT cErrors[] = {static_cast<HRESULT>(0x80043018), static_cast<HRESULT>(0x80043019)};

using Operation = std::function<std::string(World&)>;

/// Of what gives a code or nothing.
template <class Body>
Operation Do(Body iBody)
{
    return [=](World& ioWorld) {
        if constexpr (std::is_void_v<std::invoke_result_t<Body, World&>>)
            return iBody(ioWorld), std::string();
        else
            return Say(iBody(ioWorld));
    };
}

/// Of what one thread only may be told.
template <class Body>
Operation Once(Body iBody)
{
    return [=](World& ioWorld) {
        const bool bTold = iBody(ioWorld);
        ioWorld.mCount += bTold ? 1 : 0;
        return Say(bTold);
    };
}

std::string Dispatch(World& ioWorld)
{
    return Ask([&](int* oValue) { return ioWorld.mJob->GetCurrentStepIdToRun(oValue, nullptr); });
}

const Operation cDispatchOnce = Once([](World& ioWorld) {
    int step = StepNoMore;
    ioWorld.mJob->GetCurrentStepIdToRun(&step, nullptr);
    return step != StepNoMore;
});

/// A step's end is its task's, or the watchdog's.
Operation Finish(int iStepId)
{
    return Once([=](World& ioWorld) { return ioWorld.mJob->SetStepFinish(iStepId, cUnit, &ioWorld.mTask) == S_OK; });
}

Operation SetStatus(int iStatus)
{
    return [=](World& ioWorld) { return Ask([&](int* oValue) { return ioWorld.mJob->SetStatus(iStatus, oValue); }); };
}

Operation Look(JobPtr World::*iReference)
{
    return [=](World& ioWorld) {
        QORJobInfo info;
        (ioWorld.*iReference)->GetJobInfo(&info);
        std::string text = Say(info.mStatus, info.mbRunning);
        for (const auto* steps : {&info.mTodoSteps, &info.mFinishedSteps}) // those that aren't there have the id 0
            for (const QORJobStep& step : *steps)
                text += Say(Read(step, &QORJobStep::GetId));
        if (info.mDataCount > 0)
            text += *static_cast<const char*>(Read(info.mData[0], &QORJobInfoData::GetData));
        return text;
    };
}

Operation Fail(HRESULT iCode)
{
    return Do([=](World& ioWorld) {
        const auto error = ioWorld.mJob->GetJobErrorBuilder(iCode);
        *error << QORJOB_W("Climate");
        return error->GetCreationResult();
    });
}

Operation Release(JobPtr World::*iReference)
{
    return Do([=](World& ioWorld) { return (ioWorld.*iReference).Detach()->Release(); });
}

Operation MustPersist(EnumRunAwayCaller iCaller)
{
    return Once([=](World& ioWorld) { return ioWorld.mJob->NeedToPerisistMsgStatusForRunAway(iCaller); });
}

Operation SetData(const QBase::WCHAR* iText)
{
    return Do([=](World& ioWorld) {
        const QBase::PtrI<QORJobData> item(new QORStringData(0, iText, QORStringData::COPY_STRING));
        return ioWorld.mJob->SetJobData(item.Get());
    });
}

std::string GetData(World& ioWorld)
{
    QORJobData* item = nullptr;
    ioWorld.mJob->GetJobData(0, &item);
    const auto held = QBase::PtrI<QORJobData>::Adopt(item);
    return Say(*static_cast<const QBase::WCHAR*>(Read(*held.Get(), &QORJobData::GetData)));
}

std::string CancelListed(World& ioWorld)
{
    QBase::list<QSynch::AtomicLong> children;
    ioWorld.mJob->GetExecutingChildrenList(children);
    return children.empty() ? "none" : Say(ioWorld.mChild->Cancel());
}

Operation PackCode(unsigned iCode)
{
    return Do([=](World& ioWorld) { Pack(Given(ioWorld.mReal, &CKDXProcessContext::get_OutMessage).Get(), iCode); });
}

Operation MakeInitializer(std::size_t iPlace)
{
    return Do([=](World& ioWorld) {
        ioWorld.mInitializers[iPlace].emplace();
        return Builtin::LibraryUsers::GetMemGovernorCount(); // the last to come up
    });
}

Operation AddName(const QBase::WCHAR* iName, int iId)
{
    return Do([=](World& ioWorld) { return ioWorld.mNames.AddNameCopy(iName, iId); });
}

std::string SeeStatus(World& ioWorld)
{
    return Ask([&](int* oValue) { return ioWorld.mJob->GetStatus(oValue); });
}

std::string SeeErrors(World& ioWorld)
{
    QBase::wstring text;
    ioWorld.mJob->GetJobError(text);
    return Say(text.size());
}

const Operation cCancel = Do([](World& ioWorld) { return ioWorld.mJob->Cancel(); });
const Operation cPause = Do([](World& ioWorld) { ioWorld.mJob->PauseCurrentStep(); });
const Operation cStart = Do([](World& ioWorld) { return ioWorld.mJob->SetPUStart(cUnit); });
const Operation cCount = Do([](World& ioWorld) { return ioWorld.mJob->UpdateJobCloseCounters(); });
const Operation cAddStep = Do([](World& ioWorld) { return ioWorld.mJob->AddStep(new QORJobStep(5), nullptr); });
const Operation cFindHung =
    Once([](World& ioWorld) { return ioWorld.mJob->StopRunningIfHang(0, 0, &ioWorld.mTask) == S_OK; });
const Operation cStartNext =
    Do([](World& ioWorld) { return ioWorld.mJob->SetStepStart(4, cUnit, &ioWorld.mNextTask); });
/// Its owner deletes a request that it has taken off the list; what was still to be sent counts as sent.
const Operation cCompleteRequest = Once([](World& ioWorld) {
    ioWorld.mJob->CompleteChannelRequest(ioWorld.mpRequest);
    const std::unique_ptr<QORChannelRequest> request(ioWorld.mpRequest);
    return static_cast<bool>(request->get_Channel());
});
const Operation cGiveContext =
    Do([](World& ioWorld) { return ioWorld.mJob->SetProcessContext(&ioWorld.mNextContext); });
const Operation cRunAway = Do([](World& ioWorld) { ioWorld.mJob->SetRunAwayStatus(); });
const Operation cAddChild = Do([](World& ioWorld) { return ioWorld.mJob->AddChild(ioWorld.mChild->GetId()); });
const Operation cSetParent =
    Do([](World& ioWorld) { return ioWorld.mChild->SetParentId(cJobId, ioWorld.mJob->GetMemGovernor()); });
const Operation cBegin = Do([](World& ioWorld) { return ioWorld.mReal->BeginThreadMessage(); });
const Operation cEnd = Do([](World& ioWorld) { ioWorld.mReal->EndThreadMessage(0); });
const Operation cEndFirst = Do([](World& ioWorld) { ioWorld.mInitializers[0].reset(); });
const Operation cNameTask = Do([](World&) { return QORJobTask::AddName(QORJOB_W("one"), 1); });
const Operation cNameOther = Do([](World&) { return QORJobTask::AddName(QORJOB_W("two"), 2); });

struct Scene
{
    const char* mpName;
    void (*mpSetUp)(World&);
    std::vector<std::vector<Operation>> mThreads; // of each its operations, one after the other
    int mCount = 0;                               // what World::mCount has to be afterwards, whatever the order
    const char* mpNoted = nullptr;
    int mMostSwitches = 100; // which is all of them
};

void PrintTo(const Scene& iScene, std::ostream* oStream) { *oStream << iScene.mpName; }

void MakeReport(World& ioWorld) { ioWorld.Make(RequestReport, "3 4 2"); }
void MakeRunningReport(World& ioWorld) { ioWorld.MakeRunning(RequestReport, "3 4 2"); }
void MakeDocument(World& ioWorld) { ioWorld.MakeRunning(RequestDocument, "13 19 2"); }
void MakeClosing(World& ioWorld) { ioWorld.Make(RequestReport, "2"); }
void MakeEmpty(World& ioWorld) { ioWorld.Make(RequestReport, ""); }
void MakeUnstarted(World& ioWorld) { ioWorld.Make(RequestReport, "3 4 2", false); }
void MakeStopped(World& ioWorld) { MakeReport(ioWorld), ioWorld.mJob->SetStatus(JobStopped, nullptr); }

void MakeWithMessages(World& ioWorld)
{
    EXPECT_EQ(CreateProcessContext(ioWorld.mReal), S_OK);
    ioWorld.mReal->SetRequestIn(0, QMessage::NewReadMessage(nullptr, 0).Get(), nullptr, nullptr, GUID_NULL);
    ioWorld.Make(RequestElement, "3 4 2");
}
void MakeRunAway(World& ioWorld) { MakeRunningReport(ioWorld), ioWorld.mJob->SetRunAwayStatus(); }
void MakeNothing(World&) {}

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
    MakeWithMessages(ioWorld);
    const auto channel = QMessage::NewChannel([&](ICKDXReadMessage*) { return ++ioWorld.mCount, S_OK; });
    ioWorld.mpRequest = new QORChannelRequest(channel.Get(), 0, 0);
    ioWorld.mJob->AddChannelRequest(ioWorld.mpRequest);
}

const Scene cScenes[] = {
    {"DispatchAndFinish", MakeRunningReport, {{Dispatch}, {Finish(3)}}, 1},
    {"DispatchAndDispatch", MakeReport, {{Dispatch}, {Dispatch}}},
    {"DispatchOfTheClosingStep", MakeClosing, {{cDispatchOnce}, {cDispatchOnce}, {cDispatchOnce}}, 1},
    {"DispatchOfAStoppedJob", MakeStopped, {{cDispatchOnce}, {cDispatchOnce}}, 1},
    {"DispatchOfNothing", MakeEmpty, {{Dispatch}, {cAddStep}, {Look(&World::mJob)}}},
    {"CancelAndDispatch", MakeReport, {{cCancel}, {Dispatch}}},
    {"CancelAndFinishAndDispatch", MakeRunningReport, {{cCancel}, {Finish(3)}, {Dispatch}}, 1},
    {"CancelAndEnd", MakeReport, {{cCancel}, {SetStatus(JobCompleted)}}},
    {"CancelAndSnapshot", MakeReport, {{cCancel}, {Look(&World::mJob)}}},
    {"CancelAndStep", MakeReport, {{cCancel}, {cAddStep}, {Dispatch}}},
    {"CancelAndContext", MakeReport, {{cCancel}, {cGiveContext}}},
    {"CancelAndCancel", MakeReport, {{cCancel}, {cCancel}}},
    {"PauseAndFinish", MakeDocument, {{cPause}, {Finish(13)}, {Dispatch}}, 1},
    {"PauseAndCancel", MakeDocument, {{cPause}, {cCancel}, {Finish(13)}}, 1},
    {"HangAndFinish", MakeRunningReport, {{cFindHung, SetStatus(JobStoppedWithError), Dispatch}, {Finish(3)}}, 1},
    {"HangAndDispatch", MakeRunningReport, {{cFindHung}, {Dispatch}}, 1},
    {"HangAndStartOfTheNext", MakeRunningReport, {{cFindHung}, {Finish(3), cStartNext}}, 1},
    {"ErrorAndStatus", MakeWithMessages, {{Fail(cErrors[0])}, {SetStatus(JobCompleted)}}},
    {"ErrorAndReader", MakeWithMessages, {{Fail(cErrors[0])}, {SeeStatus, SeeErrors}}, 0, nullptr, 4},
    {"ErrorAndCancel", MakeWithMessages, {{Fail(cErrors[0])}, {cCancel}}},
    {"ErrorAndError", MakeWithMessages, {{Fail(cErrors[0])}, {Fail(cErrors[1])}}, 0, nullptr, 4},
    {"ReleaseAndSnapshot",
     MakeWithSecondReference,
     {{Release(&World::mJob)}, {Look(&World::mSecond), Release(&World::mSecond)}},
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
    {"RunawayBothAtOnce", MakeRunAway, {{MustPersist(RunAwayCleanUp)}, {MustPersist(RunAwayThread)}}, 1},
    {"ChildAndCancel", MakeFamily, {{cAddChild}, {cCancel, CancelListed}}},
    {"ParentAndCancel", MakeFamily, {{cSetParent}, {cCancel}}},
    {"DataAndSnapshot", MakeWithSecondReference, {{SetData(QORJOB_W("b"))}, {Look(&World::mJob)}, {GetData}}},
    {"DataAndData", MakeWithSecondReference, {{SetData(QORJOB_W("b"))}, {SetData(QORJOB_W("c"))}, {GetData}}},
    {"StartAndStart", MakeUnstarted, {{cStart}, {cStart}, {SetStatus(JobStoppedWithError)}}},
    {"CloseCountersOnce", MakeReport, {{cCount}, {cCount}}},
    {"ReplyAndItsRequest", MakeAsked, {{SetStatus(JobReplied)}, {cCompleteRequest}}, 1},
    {"ReplyAndReply", MakeAsked, {{SetStatus(JobReplied)}, {SetStatus(JobReplied)}}, 1, nullptr, 4},
    {"ThreadMessageAndReply", MakeAsked, {{cBegin, PackCode(41), cEnd}, {PackCode(42)}}},
    {"ThreadMessageAndAnswer", MakeAsked, {{cBegin, PackCode(41), cEnd}, {SetStatus(JobReplied)}}, 1, nullptr, 3},
    {"NameAndName",
     MakeNothing,
     {{AddName(QORJOB_W("one"), -1)}, {AddName(QORJOB_W("two"), -1)}, {AddName(QORJOB_W("two"), 4)}}},
    {"MakingOfTheTaskNames",
     [](World&) { QPerfMon::GetProfileIndex("one"), QPerfMon::GetProfileIndex("two"); },
     {{cNameTask}, {cNameOther}},
     0,
     "CreateRWLock"},
    {"InitialiserAndInitialiser",
     [](World& ioWorld) { ioWorld.mAway.emplace(); },
     {{MakeInitializer(0)}, {MakeInitializer(1)}},
     0,
     "nitializer"},
    {"EndAndInitialiser",
     [](World& ioWorld) { ioWorld.mAway.emplace(), ioWorld.mInitializers[0].emplace(); },
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
        EXPECT_EQ(world.mCount, GetParam().mCount) << mScheduler.GetSchedule();
        return world.Show();
    }

    static constexpr int cMostRuns = 20000;

    template <class See>
    int RunAll(bool ibWholeParts, std::string_view iSchedule, See iSee)
    {
        int runs = 0;
        std::int64_t blocksOfSetUp = 0;
        mScheduler.Begin(ibWholeParts, GetParam().mMostSwitches, GetParam().mpNoted, iSchedule);
        do
        {
            Builtin::Faults::StartCountingBlocks();
            iSee(RunOnce());
            const std::int64_t blocks = Builtin::Faults::StopCountingBlocks();
            if (runs == 0 && mbSetUpAnew)
                blocksOfSetUp = blocks;
            EXPECT_EQ(blocks, blocksOfSetUp) << "blocks are left behind by " << mScheduler.GetSchedule();
            TakeLog();
            if (++runs == cMostRuns)
                ADD_FAILURE() << "an operation takes more locks than before: the scene has to become smaller";
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
