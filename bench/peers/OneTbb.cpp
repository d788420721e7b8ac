#include "FlowGraphLife.h"
#include "Schedulers.h"
#include "Turn.h"

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <cstddef>

namespace
{

/// Jobs in an arena: a worker makes the first ones, and each that has ended makes the next one.
class JobsInArena : public Workload
{
public:
    JobsInArena(int iWorkers, int iInFlight)
        : mInFlight(iInFlight),
          mLimit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(iWorkers) + 1),
          mArena(iWorkers, 0), mTurn(iWorkers)
    {
        for (int worker = 0; worker < iWorkers; ++worker)
            mArena.enqueue([this] { mTurn.Meet(); });
        mTurn.WaitForWorkers();
    }

    void Run(int iCount) override
    {
        mTurn.Start(iCount);
        mArena.enqueue([this] {
            for (int i = 0; i < mInFlight; ++i)
                Make();
        });
        mTurn.WaitForEnd();
    }

protected:
    /// Enqueues a job; at its end it calls GoOn.
    virtual void Begin() = 0;

    void GoOn()
    {
        Make();
        mTurn.End();
    }

    template <class Function>
    void Enqueue(Function iFunction)
    {
        mArena.enqueue(iFunction);
    }

private:
    void Make()
    {
        if (mTurn.MayMake())
            Begin();
    }

    int mInFlight;
    tbb::global_control mLimit; // one more than the workers, for the main thread
    tbb::task_arena mArena;
    Turn mTurn;
};

/// Each step is a task that enqueues its successor in the arena. Of the library's idioms that is the one in which the
/// steps are the job's own and others have their turn between two of them; a group of tasks would stay with one job.
class ChainsInArena final : public JobsInArena
{
public:
    using JobsInArena::JobsInArena;

private:
    void Begin() override { EnqueueStep(1); }

    void EnqueueStep(std::size_t iStep)
    {
        Enqueue([this, iStep] {
            if (iStep < cLifeSteps.size())
                return EnqueueStep(iStep + 1);
            GoOn();
        });
    }
};

/// Each job is a graph of its own, run once. It is made when its turn in the arena has come: with more than 4,095
/// graphs at a time an arena comes to a stop.
class GraphsInArena final : public JobsInArena
{
public:
    using JobsInArena::JobsInArena;

private:
    void Begin() override
    {
        Enqueue([this] {
            FlowGraphLife graph;
            graph.Begin();
            graph.RunAndEnd();
            GoOn();
        });
    }
};

} // namespace

std::unique_ptr<Workload> MakeOneTbb(int iWorkers, int iInFlight)
{
    return std::make_unique<ChainsInArena>(iWorkers, iInFlight);
}

std::unique_ptr<Workload> MakeOneTbbGraphs(int iWorkers, int iInFlight)
{
    return std::make_unique<GraphsInArena>(iWorkers, iInFlight);
}
