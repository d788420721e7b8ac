// The queue of steps: what each operation leaves in it, and whose the steps are.
#include "tests/support/JobTest.h"

#include <tuple>

namespace
{

using StepQueue = JobTest;

using Add = HRESULT (*)(QORJob& ioJob, int iStepId, int* oNumber);

template <HRESULT (QORJob::*iOperation)(QORJobStep*, int*)>
HRESULT AddNew(QORJob& ioJob, int iStepId, int* oNumber)
{
    // A step that is refused is gone: the watch over the heap finds it otherwise.
    return (ioJob.*iOperation)(new QORJobStep(iStepId), oNumber);
}

HRESULT AddById(QORJob& ioJob, int iStepId, int* oNumber) { return ioJob.AddStepAfterThis(iStepId, oNumber); }

constexpr Add cAppend = AddNew<&QORJob::AddStep>;
constexpr Add cToRun = AddNew<&QORJob::AddStepToRun>;
constexpr Add cAtFront = AddNew<&QORJob::AddStepAtFront>;
constexpr Add cAfterThis = AddNew<&QORJob::AddStepAfterThis>;

} // namespace

TEST_F(StepQueue, TakesAStepWhereTheOperationSays)
{
    // What is there before, the new step, what is there afterwards, the number that is given.
    const std::tuple<Add, const char*, int, const char*, int> cCases[] = {
        {cAppend, "", 3, "3", 1},
        {cAppend, "3 2", 7, "3 7 2", 3},
        {cAppend, "3 2", 3, "3 2", 2},
        {cAppend, "2", 2, "2", 1},
        {cAppend, "3 2", 2, "3 2 2", 3},
        {cAppend, "3 2 5", 7, "3 2 5 7", 4},
        {cToRun, "3 2", 3, "3 2 3", 4},
        {cAtFront, "", 3, "3", 1},
        {cAtFront, "3 2", 3, "3 3 2", 3},
        {cAfterThis, "", 3, "3", 1},
        {cAfterThis, "3 2", 3, "3 3 2", 3},
        {AddById, "", 3, "3", 1},
        {AddById, "3 5 2", 7, "3 7 5 2", 4},
    };
    for (const auto& [add, before, stepId, after, expected] : cCases)
    {
        const JobPtr job = NewJobWith(before, JobStoppedWithError);
        int number = -1;
        EXPECT_EQ(add(*job.Get(), stepId, &number), S_OK);
        EXPECT_EQ(number, expected) << before;
        EXPECT_EQ(DrainTodo(*job.Get()), Split(after)) << before;
        EXPECT_EQ(add(*job.Get(), stepId, nullptr), S_OK);

        const JobPtr cancelled = NewJobWith(before, JobCancelled);
        number = -1;
        EXPECT_EQ(add(*cancelled.Get(), stepId, &number), S_OK);
        EXPECT_EQ(number, -1) << "a cancelled job counts nothing";
        EXPECT_EQ(DrainTodo(*cancelled.Get()), Split(before));
    }
}

TEST_F(StepQueue, LosesNoStepWhenMemoryRunsOut)
{
    const JobPtr job = NewJobWith("3 2");
    for (const Add add : {cAppend, cToRun, cAtFront, cAfterThis})
    {
        Faults::FailNth(Faults::EnumFault::Allocation, 2); // the step is made, its place in the list isn't
        EXPECT_EQ(add(*job.Get(), 7, nullptr), static_cast<HRESULT>(0x8004308C));
    }
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(job->AddStepAfterThis(7, nullptr), E_OUTOFMEMORY);
    EXPECT_EQ(job->AddStep(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(DrainTodo(*job.Get()), Split("3 2"));
}

TEST_F(StepQueue, RemovesAndCompletesSteps)
{
    const JobPtr job = NewJobWith("5 - 5 2 5");
    EXPECT_EQ(job->RemoveStep(StepAnalyticalProcessing), S_OK);
    EXPECT_EQ(job->RemoveStep(StepUpdateCache), S_OK);
    int count = 0;
    job->AddStepAtFront(new QORJobStep(7), &count);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(job->ClearTodoSteps(), S_OK);
    EXPECT_EQ(DrainTodo(*job.Get()), Texts());

    Queue(*job.Get(), "3 4 7 5 2 5");
    const std::string complete = "QORJob::SetStepComplete: Job:4711 completed step:";
    EXPECT_EQ(job->SetStepComplete(9), E_INVALIDARG);
    EXPECT_EQ(TakeLog(), Texts());
    EXPECT_EQ(job->SetStepComplete(5), S_OK);
    EXPECT_EQ(TakeLog(), Texts{"Job Trace: " + complete + "5."});
    const Texts cLines[] = {{"Scope Trace: " + complete + "Request element.", "Job Trace: " + complete + "3."},
                            {"Scope Trace: " + complete + "Request SQL.", "Job Trace: " + complete + "4."},
                            {"Job Trace: " + complete + "7."}};
    for (const Texts& lines : cLines)
    {
        job->SetIsExecutingInWarehouse(true);
        EXPECT_EQ(job->SetStepComplete(), S_OK);
        EXPECT_EQ(TakeLog(), lines);
        EXPECT_FALSE(Read(*job.Get(), &QORJob::GetIsExecutingInWarehouse));
    }
    EXPECT_EQ(ReadFinished(*job.Get()), Split("7 4 3 5"));
    EXPECT_EQ(DrainTodo(*job.Get()), Split("2 5"));
    EXPECT_EQ(job->SetStepComplete(), E_UNEXPECTED);
    EXPECT_EQ(TakeLog(), Texts());
}

TEST_F(StepQueue, RenewsItsFrontStep)
{
    for (const int id : {static_cast<int>(StepSQLGeneration), static_cast<int>(StepNoOp)})
    {
        FakeProcessContext context;
        const JobPtr job = NewJob();
        job->SetProcessContext(&context);
        auto* step = new QORJobStep(id);
        step->SetChapterKey(W("chapter"));
        job->AddStep(step, nullptr);
        Queue(*job.Get(), "2");
        job->SetStepStart(id, 3, nullptr);
        EXPECT_EQ(job->RenewCurrentStep(), S_OK);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetPUId), -1);
        context.mCalls.clear();
        job->SetStepStart(id, 3, nullptr); // shows the key that the fresh step has
        EXPECT_EQ(context.mCalls, id == StepNoOp ? Texts{"put_BstrE 'chapter'"} : Texts());

        Faults::FailNth(Faults::EnumFault::Allocation, 1);
        EXPECT_EQ(job->RenewCurrentStep(), E_OUTOFMEMORY);
        EXPECT_EQ(DrainTodo(*job.Get()), Split("2")) << "without memory nothing takes its place";
    }
}

TEST_F(StepQueue, GetsTheStepsOfARebuild)
{
    const std::pair<int, const char*> cCases[] = {
        {0, "19 13 2"}, {2, "19 20 13 2"}, {0x800, "19 20 13 2"}, {4, "19 20 2"}, {0x802, "19 20 2"}};
    for (const auto& [type, after] : cCases)
    {
        const JobPtr job = NewJobWith("19 2");
        EXPECT_EQ(job->AddCommonStepsAtRebuild(static_cast<EnumKDXDocumentManipulationType>(type)), S_OK);
        EXPECT_FALSE(job->IsLastComponentExport());
        EXPECT_EQ(DrainTodo(*job.Get()), Split(after)) << type;
        EXPECT_TRUE(job->IsLastComponentExport()) << "a document was formatted";
    }
    for (int nth = 1; nth <= 4; ++nth) // two steps, two entries
    {
        const JobPtr job = NewJobWith("19 2");
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        EXPECT_TRUE(FAILED(job->AddCommonStepsAtRebuild(DocumentManipulationApply)));
        EXPECT_EQ(DrainTodo(*job.Get()), Split("19 2")) << "both or none";
    }
    const JobPtr current = NewJobWith("20 2");
    current->AddCommonStepsAtRebuild(DocumentManipulationApply);
    EXPECT_EQ(DrainTodo(*current.Get()), Split("20 13 2")) << "no second one beside the current one";
    const JobPtr cancelled = NewJobWith("19 2", JobCancelled);
    EXPECT_EQ(cancelled->AddCommonStepsAtRebuild(DocumentManipulationApply), S_OK);
    EXPECT_EQ(DrainTodo(*cancelled.Get()), Split("19 2"));
}
