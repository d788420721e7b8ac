// The queue of steps: what each operation leaves in it, and whose the steps are.
#include "job/QORJob.h"
#include "tests/support/Fakes.h"
#include "tests/support/JobTest.h"

#include <utility>

namespace
{

class StepQueue : public JobTest
{
};

enum class EnumAdd
{
    Step,
    ToRun,
    AtFront,
    AfterThis,
    AfterThisById,
};

/// A step that is refused is gone: the watch over the heap finds it otherwise.
HRESULT Add(QORJob& ioJob, EnumAdd iHow, int iStepId, int* oNumber)
{
    switch (iHow)
    {
    case EnumAdd::Step:
        return ioJob.AddStep(new QORJobStep(iStepId), oNumber);
    case EnumAdd::ToRun:
        return ioJob.AddStepToRun(new QORJobStep(iStepId), oNumber);
    case EnumAdd::AtFront:
        return ioJob.AddStepAtFront(new QORJobStep(iStepId), oNumber);
    case EnumAdd::AfterThis:
        return ioJob.AddStepAfterThis(new QORJobStep(iStepId), oNumber);
    default:
        return ioJob.AddStepAfterThis(iStepId, oNumber);
    }
}

} // namespace

TEST_F(StepQueue, TakesAStepWhereTheOperationSays)
{
    struct Case
    {
        EnumAdd mHow;
        const char* mBefore;
        int mStepId;
        const char* mAfter;
        int mNumber;
    };
    using enum EnumAdd;
    const Case cCases[] = {
        {Step, "", 3, "3", 1},
        {Step, "3 2", 7, "3 7 2", 3},
        {Step, "3 2", 3, "3 2", 2},
        {Step, "3 5 2", 5, "3 5 5 2", 4},
        {Step, "3 5", 7, "3 5 7", 3},
        {Step, "2", 2, "2", 1},
        {Step, "2", 7, "7 2", 2},
        {Step, "3 2", 2, "3 2 2", 3},
        {Step, "3 2 5", 7, "3 2 5 7", 4},
        {ToRun, "", 3, "3", 4},
        {ToRun, "3 2", 3, "3 2 3", 4},
        {AtFront, "", 3, "3", 1},
        {AtFront, "3 2", 3, "3 3 2", 3},
        {AfterThis, "", 3, "3", 1},
        {AfterThis, "3 2", 3, "3 3 2", 3},
        {AfterThis, "2", 7, "2 7", 2},
        {AfterThisById, "", 3, "3", 1},
        {AfterThisById, "3 5 2", 7, "3 7 5 2", 4},
    };
    for (const Case& each : cCases)
    {
        const JobPtr job = NewJobWith(each.mBefore, JobStoppedWithError);
        int number = -1;
        EXPECT_EQ(Add(*job.Get(), each.mHow, each.mStepId, &number), S_OK);
        EXPECT_EQ(number, each.mNumber) << each.mBefore;
        EXPECT_EQ(DrainTodo(*job.Get()), Split(each.mAfter)) << each.mBefore;
        EXPECT_EQ(Add(*job.Get(), each.mHow, each.mStepId, nullptr), S_OK);

        const JobPtr cancelled = NewJobWith(each.mBefore, JobCancelled);
        number = -1;
        EXPECT_EQ(Add(*cancelled.Get(), each.mHow, each.mStepId, &number), S_OK);
        EXPECT_EQ(number, -1) << "a cancelled job counts nothing";
        EXPECT_EQ(DrainTodo(*cancelled.Get()), Split(each.mBefore));
    }
}

TEST_F(StepQueue, LosesNoStepWhenMemoryRunsOut)
{
    const JobPtr job = NewJobWith("3 2");
    for (const auto how : {EnumAdd::Step, EnumAdd::ToRun, EnumAdd::AtFront, EnumAdd::AfterThis})
    {
        Faults::FailNth(Faults::EnumFault::Allocation, 2); // the step is made, its place in the list isn't
        EXPECT_EQ(Add(*job.Get(), how, 7, nullptr), static_cast<HRESULT>(0x8004308C));
    }
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(job->AddStepAfterThis(7, nullptr), E_OUTOFMEMORY);
    EXPECT_EQ(job->AddStep(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(DrainTodo(*job.Get()), Split("3 2"));
}

TEST_F(StepQueue, CompletesTheFrontStep)
{
    const JobPtr job = NewJobWith("3 4 7 2");
    const std::string complete = "QORJob::SetStepComplete: Job:4711 completed step:";
    const Texts cLines[] = {{"Scope Trace: " + complete + "Request element.", "Job Trace: " + complete + "3."},
                            {"Scope Trace: " + complete + "Request SQL.", "Job Trace: " + complete + "4."},
                            {"Job Trace: " + complete + "7."},
                            {"Job Trace: " + complete + "2."}};
    for (const Texts& lines : cLines)
    {
        job->SetIsExecutingInWarehouse(true);
        EXPECT_EQ(job->SetStepComplete(), S_OK);
        EXPECT_EQ(mLog.Take(), lines);
        bool bInWarehouse = true;
        job->GetIsExecutingInWarehouse(&bInWarehouse);
        EXPECT_FALSE(bInWarehouse);
    }
    EXPECT_EQ(job->SetStepComplete(), E_UNEXPECTED);
    EXPECT_EQ(mLog.Take(), Texts());
}

TEST_F(StepQueue, CompletesTheFirstStepOfAnId)
{
    const JobPtr job = NewJobWith("3 5 7 5");
    EXPECT_EQ(job->SetStepComplete(9), E_INVALIDARG);
    EXPECT_EQ(mLog.Take(), Texts());
    EXPECT_EQ(job->SetStepComplete(5), S_OK);
    EXPECT_EQ(mLog.Take(), Texts{"Job Trace: QORJob::SetStepComplete: Job:4711 completed step:5."});
    EXPECT_EQ(ReadFinished(*job.Get()), Split("5"));
    EXPECT_EQ(DrainTodo(*job.Get()), Split("3 7 5"));
    EXPECT_EQ(ReadFinished(*job.Get()), Split("5 7 3 5"));
}

TEST_F(StepQueue, RemovesAndClears)
{
    const JobPtr job = NewJobWith("5 - 5 2 5");
    EXPECT_EQ(job->RemoveStep(StepAnalyticalProcessing), S_OK);
    EXPECT_EQ(job->RemoveStep(StepUpdateCache), S_OK);
    int count = 0;
    job->AddStepAtFront(new QORJobStep(7), &count);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(job->ClearTodoSteps(), S_OK);
    EXPECT_EQ(job->ClearTodoSteps(), S_OK);
    EXPECT_EQ(DrainTodo(*job.Get()), Texts());
    EXPECT_EQ(ReadFinished(*job.Get()), Texts());
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
        int unit = 0;
        EXPECT_EQ(job->GetPUId(&unit), S_OK);
        EXPECT_EQ(unit, 3);

        EXPECT_EQ(job->RenewCurrentStep(), S_OK);
        EXPECT_EQ(job->GetPUId(&unit), S_OK);
        EXPECT_EQ(unit, -1);
        context.mCalls.clear();
        job->SetStepStart(id, 3, nullptr); // shows the key that the fresh step has
        EXPECT_EQ(context.mCalls, id == StepNoOp ? Texts{"put_BstrE 'chapter'"} : Texts());

        Faults::FailNth(Faults::EnumFault::Allocation, 1);
        EXPECT_EQ(job->RenewCurrentStep(), S_OK);
        EXPECT_EQ(DrainTodo(*job.Get()), Split("2")) << "without memory nothing takes its place";
        EXPECT_EQ(job->RenewCurrentStep(), S_OK);
    }
}

TEST_F(StepQueue, GetsTheStepsOfARebuild)
{
    const std::pair<int, const char*> cCases[] = {
        {0, "3 13 2"}, {2, "3 20 13 2"}, {0x800, "3 20 13 2"}, {4, "3 20 2"}, {0x802, "3 20 2"}};
    for (const auto& [type, after] : cCases)
    {
        const JobPtr job = NewJobWith("3 2");
        EXPECT_EQ(job->AddCommonStepsAtRebuild(static_cast<EnumKDXDocumentManipulationType>(type)), S_OK);
        EXPECT_EQ(DrainTodo(*job.Get()), Split(after)) << type;
    }
}

TEST_F(StepQueue, KnowsWhetherADocumentWasFormatted)
{
    const JobPtr job = NewJobWith("19 2");
    EXPECT_FALSE(job->IsLastComponentExport());
    job->SetStepComplete();
    EXPECT_TRUE(job->IsLastComponentExport());
    job->SetStepComplete();
    EXPECT_TRUE(job->IsLastComponentExport());
}
