// Each call that can fail, failing: of the heap, of the locks, of the standard library and of collaborators.
#include "base/Bstr.h"
#include "context/CKDXProcessContext.h"
#include "context/COMStatus.h"
#include "data/QORComData.h"
#include "data/QORStringData.h"
#include "data/QORTextFileData.h"
#include "job/QORJobError.h"
#include "job/QORJobTask.h"
#include "record/QORChannelRequest.h"
#include "record/QORJobBrowsingInfo.h"
#include "tests/support/Messages.h"
#include "tests/sweep/Trial.h"

#include <new>
#include <optional>

void* operator new(std::size_t iBytes)
{
    void* const memory = gStandardHeap.IsDue() ? nullptr : std::malloc(iBytes);
    return memory == nullptr ? throw std::bad_alloc() : memory;
}
void operator delete(void* iMemory) noexcept { std::free(iMemory); }
void operator delete(void* iMemory, std::size_t) noexcept { std::free(iMemory); }

namespace
{

constexpr int cUnit = 1;

HRESULT OutOfMemoryUnless(bool ibThere) { return ibThere ? S_OK : E_OUTOFMEMORY; }

/// A job with all that it works with, from its context's making to its end.
class Scene final : public Trial
{
public:
    Scene(const Fault& iFault, std::int64_t iNth, bool ibInBuffer, std::vector<Outcome>& ioUsual)
        : Trial(iFault, iNth, ioUsual), mRequestType(ibInBuffer ? RequestReport : RequestDocument),
          mpBuffer(ibInBuffer ? NewBuffer(0) : nullptr), mpRequest(new QORChannelRequest(&mHandle, 1, 2))
    {
        Builtin::Settings::SetClock(Moment(1));
        Builtin::Settings::SetThreadTimes(1, 2);
        for (const unsigned code : {1u, 2u})
            Pack(mpMessage.Get(), code);
        mpRead = ToRead(mpMessage.Get());
    }

    ~Scene()
    {
        if (mpBuffer != nullptr)
            mpBuffer->Destroy(); // the job wasn't made
        mpRequest.reset();
        QORJobTask::UnInitJobTaskNameIds();
        QORJobData::UnInitJobDataNameIds();
        for (const DWORD references : {mObject.mCount.mReferences, mHandle.mCount.mReferences, mItem.GetReferences(),
                                       mStrangeContext.mCount.mReferences, mOtherItem.GetReferences()})
            EXPECT_EQ(references, 0u);
    }

    void Run()
    {
        if (!mFault.mbStrangeContext)
            MakeContext();
        Do(Throws, [&] {
            mpJob = QORJob::NewJob(cJobId, mRequestType, cJobPriority, &mHandle, mpBuffer);
            return OutOfMemoryUnless(mpJob != nullptr);
        });
        if (mpJob != nullptr)
        {
            mpBuffer = nullptr;
            mpJob->AddRef();
            mTask.emplace(mpJob);
            Prepare();
            RunSteps();
            HandOn();
            LookAt();
            Fail();
            Close();
            CheckClosed();
            Do([&] { return mTask.reset(), std::exchange(mpJob, nullptr)->Release(), S_OK; });
        }
        Do([&] { return mpContext = {}, S_OK; });
    }

private:
    std::string Describe() const override
    {
        if (mpJob == nullptr)
            return {};
        QBase::wstring text;
        mpJob->GetJobInfo(text);
        const std::size_t count = text.find(QORJOB_W("\tPerf Count")); // goes back before a cancellation that may fail
        text.erase(count, text.find(QORJOB_W('\n'), count) - count);
        std::string all = QBase::WideCharToUTF8(text);
        for (const auto get : {&QORJob::GetExecutingChildrenList, &QORJob::GetFinishedChildrenList})
        {
            QBase::list<QSynch::AtomicLong> children;
            (mpJob->*get)(children);
            for (const QSynch::AtomicLong& child : children)
                all += std::to_string(child.Get()) + " ";
            all += ",";
        }
        bool bThere = false;
        for (int id = 0; id < 5; ++id)
            all += mpJob->IsDataAvailable(id, &bThere) == S_OK && bThere ? " item " + std::to_string(id) : "";
        mpJob->IsExecuting(&bThere, nullptr, nullptr, nullptr, nullptr);
        return all + (bThere ? ", executes" : "");
    }

    /// Whatever has failed, the job was led to its end, or can be now.
    void CheckClosed()
    {
        mbRests = true;
        if (!mbUsual)
        {
            EXPECT_EQ(mpJob->Cancel(), S_OK);
            Close();
            QORJobInfo info;
            EXPECT_EQ(mpJob->GetJobInfo(&info), S_OK);
            EXPECT_TRUE(info.mFinishedCount > 0 && Read(info.mFinishedSteps[0], &QORJobStep::GetId) == StepCloseJob);
        }
        else if (!mbNotes)
        {
            EXPECT_EQ(Describe(), mUsual[mDone - 1].mJob);
        }
        mbRests = false;
    }

    HRESULT Queue(int iId, HRESULT (QORJob::*iAdd)(QORJobStep*, int*))
    {
        auto* const step = new QORJobStep(iId);
        return step == nullptr ? E_OUTOFMEMORY : (mpJob->*iAdd)(step, nullptr);
    }

    void MakeContext()
    {
        const HRESULT made = Do([&] { return CreateProcessContext(mpContext); });
        EXPECT_EQ(made, mpContext ? S_OK : E_OUTOFMEMORY);
        if (!mpContext)
            return;
        std::map<std::string, std::string> properties;
        std::string json;
        Do([&] { return mpContext->put_ContextObjectA(mObject.AsUnknown()); });
        Do([&] { return mpContext->put_ContextObjectB(mObject.AsUnknown()); });
        Do([&] { return mpContext->put_HandleB(&mHandle); });
        Do([&] { return mpContext->SetRequestIn(0, mpRead.Get(), nullptr, nullptr, GuidOf(1)); });
        Do([&] { return mpContext->AddStatusMessage(7, mText.c_str()); });
        Do([&] { return mpContext->BeginThreadMessage(); });
        Do([&] { return mpContext->AddStatusMessage(8, mText.c_str()); });
        Do([&] { return mpContext->EndThreadMessage(0), S_OK; });
        Do([&] { return mpContext->SetLogProperty("a long key of some property", "a value"); });
        Do([&] { return mpContext->CopyLogProperties(&properties); });
        Do([&] { return mpContext->GetLogMessageInJSON(&json); });
        Do([&] {
            const HRESULT code = SetCOMStatus(mpRead.Get(), GuidOf(1), GuidOf(2), nullptr, nullptr);
            return code == E_UNEXPECTED || code == E_FAIL ? E_OUTOFMEMORY
                                                          : code; // what it can't read counts as damaged
        });
        Do([&] { return ReportErrorInfo(GuidOf(1), mText.c_str(), 0, nullptr, GuidOf(2), S_FALSE); });
        SetErrorInfo(0, nullptr);
    }

    void Prepare()
    {
        ICKDXProcessContext* context = mpContext.Get();
        if (mFault.mbStrangeContext)
            context = &mStrangeContext;
        for (ICKDXProcessContext* const each : {context, static_cast<ICKDXProcessContext*>(nullptr), context})
            Do(AsksOthers, [&] { return mpJob->SetProcessContext(each); });
        Do([&] { return mpJob->SetOwner(mText); });
        Do([&] { return mpJob->SetProjectName(mText.c_str()); });
        Do([&] { return mpJob->SetDestination(mText); });
        Do(Parts, [&] { return mpJob->SetDescription(); });
        Do([&] { return mpJob->SetUserSession(nullptr); });
        Do([&] { return mpJob->SetUserSession(&mHandle); });
        Do([&] { return mpJob->SetInMessage(mpRead.Get()); });
        Do([&] { return mpJob->SetInBoxMsgPtr(mpMessage.Get()); });
        if (SUCCEEDED(Do([&] { return mpJob->AddChannelRequest(mpRequest.get()); })))
            mpRequest.release(); // the job's end deletes it
        Do([&] { return mpJob->SetStatus(JobReplied, nullptr); });
        Do([&] { return mpJob->SetStatus(JobReady, nullptr); });
        Do([&] { return mpJob->SetParentId(1, mpJob->GetMemGovernor()); });
        for (int child = 0; child < 20; ++child)
            Do([&] { return mpJob->AddChild(child); });
        for (int child = 5; child < 20; ++child)
            Do([&] { return mpJob->MarkChildComplete(child); });
    }

    void RunSteps()
    {
        int step = StepNoMore;
        bool bWasDead = false;
        QORJobData* item = nullptr;
        Do([&] { return mpJob->AddCommonStepsAtRebuild(DocumentManipulationApply); });
        for (const int id : {StepDocumentFormatting, StepFindCube, StepUpdateCube, StepSendingDocumentResult})
            Do([&] { return Queue(id, &QORJob::AddStep); });
        Do([&] { return Queue(StepQueryExecution, &QORJob::AddStepAtFront); });
        Do([&] { return mpJob->AddStepAfterThis(StepNoOp, nullptr); });
        Do(Parts, [&] { return mpJob->RenewCurrentStep(); });
        Do([&] { return mpJob->SetPUEnter(cUnit, nullptr, 0); });
        Do([&] { return mpJob->SetPUStart(cUnit); });
        Do([&] { return mpJob->SetRunning(true, nullptr); });
        for (int turn = 0; turn < 5; ++turn)
        {
            Do([&] { return mpJob->GetCurrentStepIdToRun(&step, nullptr); });
            Do(AsksOthers, [&] { return mpJob->SetStepStart(step, cUnit, &*mTask); });
            Do(AsksOthers, [&] { return mTask->SetOutput(turn % 2 == 0 ? &mItem : &mOtherItem); });
            Do([&] {
                const HRESULT code = mTask->GetContextDataX(3, &item);
                return code == cMessageExceptionMet ? CodeOfFault() : code; // the same for all that an item throws
            });
            Do(AsksOthers, [&] { return mpJob->SetStepFinish(step, cUnit, &*mTask); });
        }
        // The thread that ran the step is lost, and closing not queued yet.
        Do([&] { return mpJob->SetRunning(true, nullptr); });
        Do([&] { return mpJob->GetCurrentStepIdToRun(&step, nullptr); });
        Do(AsksOthers, [&] { return mpJob->SetStepStart(step, cUnit, &*mTask); });
        Do([&] { return mpJob->StopRunningIfHang(step, 0, &*mTask); });
        Do([&] { return mpJob->SetRunning(true, nullptr); });
        Do([&] { return mpJob->GetCurrentStepIdToRun(&step, nullptr); });
        Do([&] { return mpJob->SetIAmDead(false, &bWasDead, StepNoMore); });
        Do([&] { return mpJob->ClearTodoSteps(); });
        for (const int id : {StepDocumentFormatting, StepUpdateCache})
            Do([&] { return Queue(id, &QORJob::AddStep); });
        Do([&] { return mpJob->Cancel(); });
        Do([&] { return mpJob->SetStatus(JobReady, nullptr); }); // goes on after all
    }

    void HandOn()
    {
        const QBase::PtrI<QORJobData> other(new QORComData(2, mObject.AsUnknown()));
        QORStringData text(1, mText.c_str(), QORStringData::COPY_STRING);
        const signed char bytes[] = {1, 2, 3};
        QORJobData* made = nullptr;
        Do(AsksOthers, [&] { return mpJob->SetJobData(other.Get()); });
        Do(Throws, [&] { return static_cast<QORComData&>(*other.Get()).SetInterface(mObject.AsUnknown()); });
        Do([&] { return text.Append(mText.c_str()); });
        Do([&] { return QORBinaryData(1, nullptr, 0).LoadObj(3, bytes); });
        Do([&] { return QORTextFileData(1, nullptr).LoadObj(3, bytes); });
        Do([&] {
            void* const block = QBase::HeapAllocate(8);
            return block == nullptr ? E_OUTOFMEMORY : mTask->SetOutput(4, block, 8);
        });
        Do([&] { return mpJob->CreateJobDataObject(QORJobData::cMachineNameId, &made); });
        if (made != nullptr)
            Do([&] { return mpJob->SetJobData(made); });
        Do([&] { return mTask->SetAbort(); });
        Do(AsksOthers, [&] { return mpJob->PauseCurrentStep(), S_OK; });
        Do(AsksOthers, [&] { return mpJob->ResetStatusBeforeResumeExecution(), S_OK; });
    }

    void LookAt()
    {
        const auto info = std::make_unique<QORJobInfo>();
        QORJobBrowsingInfo2 browsing;
        QBase::wstring dump;
        std::wostringstream line;
        QBase::list<QSynch::AtomicLong> children;
        const auto add = [&](auto iAddName) {
            const HRESULT code = iAddName(mText.c_str(), StepQueryExecution);
            return code == E_INVALIDARG ? E_OUTOFMEMORY : code; // a name that can't be copied counts as none
        };
        Do([&] { return add(QORJobTask::AddName); });
        Do([&] { return add(QORJobData::AddName); });
        Do([&] { return mpJob->GetJobInfo(info.get()); });
        Do([&] { return mpJob->GetJobBrowsingInfo2(&browsing); });
        Do([&] { return mpJob->GetJobInfo(dump), S_OK; });
        Do([&] { return mpJob->WriteJobInfo(line), S_OK; });
        Do([&] { return mpJob->GetFinishedChildrenList(children); });
        Do([&] { return mpJob->UpdateJobCloseCounters(); });
    }

    void Fail()
    {
        QBase::wstring text;
        QBase::WCHAR* given = nullptr;
        Do(Throws, [&] {
            const auto error = mpJob->GetJobErrorBuilder(static_cast<HRESULT>(0x80043018));
            return OutOfMemoryUnless(error && SUCCEEDED((*error << mText.c_str() << 7).GetCreationResult()));
        });
        Do([&] { return mpJob->UpdateJobError(mText.c_str(), 7, 8); });
        Do([&] { return mpJob->GetJobError(text); });
        Do([&] { return mpJob->GetJobError(&given); });
        QBase::HeapFree(given);
    }

    /// Step by step, as a kernel does.
    void Close()
    {
        Do([&] { return mpJob->Cancel(); });
        Do([&] { return Queue(StepCloseJob, &QORJob::AddStepToRun); });
        Do([&] { return mpJob->SetRunning(true, nullptr); });
        for (int turn = 0; turn < 4; ++turn)
        {
            int step = StepNoMore;
            Do([&] { return mpJob->GetCurrentStepIdToRun(&step, nullptr); });
            Do([&] { return mpJob->SetStepStart(step, cUnit, nullptr); });
            Do([&] { return mpJob->SetStepFinish(step, cUnit, nullptr); });
        }
    }

    const QBase::wstring mText = QBase::wstring(100, QORJOB_W('t'));
    const int mRequestType;
    QBase::Buffer* mpBuffer;
    StrangeObject mObject;
    StrangeHandle mHandle;
    StrangeContext mStrangeContext{mObject};
    StrangeItem mItem{3};
    StrangeItem mOtherItem{3};
    QBase::PtrI<CKDXServerMessage> mpMessage = QMessage::NewServerMessage();
    QBase::PtrI<ICKDXReadMessage> mpRead;
    std::unique_ptr<QORChannelRequest> mpRequest;
    QBase::PtrI<CKDXProcessContext> mpContext;
    std::optional<QORJobTask> mTask;
};

/// Whether the run met its fault.
bool Run(const Fault& iFault, std::int64_t iNth, bool ibInBuffer, std::vector<Outcome>& ioUsual)
{
    const bool bFirst = ioUsual.empty(); // makes what stays for good
    bool bStruck = false;
    Builtin::Faults::StartCountingBlocks();
    {
        Scene scene(iFault, iNth, ibInBuffer, ioUsual);
        scene.Run();
        bStruck = scene.HasStruck();
    }
    const std::int64_t blocks = Builtin::Faults::StopCountingBlocks();
    EXPECT_EQ(bFirst ? 0 : blocks, 0) << "blocks are left behind";
    for (const int category : {4, 7, 11}) // jobs, tasks, contexts
        EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(category), 0) << category;
    return bStruck;
}

/// Lets each call fail in a run of its own, until one meets no fault.
void Sweep(EnumSource iSource)
{
    Builtin::PerfReadings::EnableProfiling(true);
    std::int64_t points = 0;
    const auto sweep = [&](const Fault& iFault, bool ibInBuffer) {
        // Lines that get lost are reported on standard error: too many of a fault that lasts.
        for (const char* router : {"Error", "Fatal"})
            Builtin::LogSinks::Enable("Kernel", router, !iFault.mbLasting);
        std::vector<Outcome> usual;
        Run(iFault, 1'000'000'000, ibInBuffer, usual);
        for (std::int64_t nth = 1; !testing::Test::HasFailure(); ++nth, ++points)
        {
            SCOPED_TRACE("call " + std::to_string(nth) + (iFault.mbLasting ? " and on" : "") +
                         (ibInBuffer ? ", in a buffer" : "") + (iFault.mbStrangeContext ? ", strange context" : ""));
            if (!Run(iFault, nth, ibInBuffer, usual))
            {
                EXPECT_GT(nth, 1) << "nothing has failed";
                break;
            }
        }
    };
    for (const bool bLasting : {false, true})
        for (const bool bInBuffer : {false, true})
        {
            sweep({iSource, bLasting, false}, bInBuffer);
            if (iSource >= EnumSource::StrangersMessage)
                sweep({iSource, bLasting, true}, bInBuffer);
        }
    std::printf("%lld points\n", static_cast<long long>(points));
    Builtin::LogSinks::Enable("Kernel", "*", false);
    Builtin::PerfReadings::EnableProfiling(false);
    Builtin::Settings::ReleaseClock();
    Builtin::Settings::ReleaseThreadTimes();
}

} // namespace

TEST(FailureSweep, LeavesEachJobWholeWithoutMemory) { Sweep(EnumSource::Heap); }

TEST(FailureSweep, LeavesEachJobWholeWithoutLocks) { Sweep(EnumSource::Lock); }

TEST(FailureSweep, LeavesEachJobWholeWithoutMemoryOfTheStandardLibrary) { Sweep(EnumSource::StandardHeap); }

TEST(FailureSweep, LeavesEachJobWholeWhereCollaboratorsThrowMessages) { Sweep(EnumSource::StrangersMessage); }

TEST(FailureSweep, LeavesEachJobWholeWhereCollaboratorsThrowAnything) { Sweep(EnumSource::StrangersOther); }
