#include "Schedulers.h"
#include "Turn.h"

#include <ThreadWeaver/Queueing>
#include <ThreadWeaver/Sequence>

namespace
{

/// A job is a sequence of six jobs of the library's own.
class SequencesInQueue final : public Workload
{
public:
    SequencesInQueue(int iWorkers, int iInFlight) : mInFlight(iInFlight), mTurn(iWorkers)
    {
        mQueue.setMaximumNumberOfThreads(iWorkers);
        for (int worker = 0; worker < iWorkers; ++worker)
            Enqueue([this] { mTurn.Meet(); });
        mTurn.WaitForWorkers();
    }

    void Run(int iCount) override
    {
        mTurn.Start(iCount);
        Enqueue([this] {
            for (int i = 0; i < mInFlight; ++i)
                MakeSequence();
        });
        mTurn.WaitForEnd();
    }

private:
    template <class Function>
    void Enqueue(Function iFunction)
    {
        mQueue.enqueue(ThreadWeaver::make_job(iFunction));
    }

    void MakeSequence()
    {
        if (!mTurn.MayMake())
            return;
        const QSharedPointer<ThreadWeaver::Sequence> sequence(new ThreadWeaver::Sequence);
        for (std::size_t step = 1; step < cLifeSteps.size(); ++step)
            sequence->addJob(ThreadWeaver::make_job([] {}));
        sequence->addJob(ThreadWeaver::make_job([this] {
            MakeSequence();
            mTurn.End();
        }));
        mQueue.enqueue(sequence);
    }

    int mInFlight;
    Turn mTurn;
    ThreadWeaver::Queue mQueue; // last: its threads use the others
};

} // namespace

std::unique_ptr<Workload> MakeThreadWeaver(int iWorkers, int iInFlight)
{
    return std::make_unique<SequencesInQueue>(iWorkers, iInFlight);
}
