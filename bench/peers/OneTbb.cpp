#include "Schedulers.h"
#include "Turn.h"

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

namespace
{

/// Each step is a task that enqueues its successor in the arena. Of the library's idioms that is the one in which the
/// steps are the job's own and others have their turn between two of them; a graph of six nodes would be the same for
/// all jobs, and a group of tasks would stay with one job.
class OneTbb final : public Workload
{
public:
    OneTbb(int iWorkers, int iInFlight)
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
                MakeChain();
        });
        mTurn.WaitForEnd();
    }

private:
    void MakeChain()
    {
        if (mTurn.MayMake())
            EnqueueStep(1);
    }

    void EnqueueStep(std::size_t iStep)
    {
        mArena.enqueue([this, iStep] {
            if (iStep < cLifeSteps.size())
                return EnqueueStep(iStep + 1);
            MakeChain();
            mTurn.End();
        });
    }

    int mInFlight;
    tbb::global_control mLimit; // one more than the workers, for the main thread
    tbb::task_arena mArena;
    Turn mTurn;
};

} // namespace

std::unique_ptr<Workload> MakeOneTbb(int iWorkers, int iInFlight)
{
    return std::make_unique<OneTbb>(iWorkers, iInFlight);
}
