#include "HostLives.h"
#include "Schedulers.h"

#include <atomic>
#include <barrier>
#include <cstddef>

namespace
{

/// As the lives that stand in one queue: the host's threads make the first ones before the turn, and a job that has
/// ended submits the next one. All that are in flight then are still there when the turn is over.
class JobsOfHost final : public Workload
{
public:
    JobsOfHost(int iWorkers, int iInFlight)
        : mMeeting(iWorkers + 1), mHost(MakeConfig(iWorkers, iInFlight, [this, share = iInFlight / iWorkers] {
              mMeeting.arrive_and_wait();
              for (int i = 0; i < share; ++i)
                  Submit();
              mMeeting.arrive_and_wait();
              mMeeting.arrive_and_wait();
          }))
    {
        for (int worker = 0; worker < iWorkers; ++worker)
        {
            const QBase::PtrI<QORJob> job(QORJob::NewJob(0, RequestReport, 5, nullptr, nullptr));
            job->AddStep(new QORJobStep(cFirstStep), nullptr);
            job->AddStep(new QORJobStep(StepCloseJob), nullptr);
            mHost.Submit(job);
        }
        mMeeting.arrive_and_wait();
        mMeeting.arrive_and_wait();
    }

    ~JobsOfHost() override
    {
        mbOver = true;
        mMeeting.arrive_and_wait();
    }

    void Run(int iCount) override
    {
        mLeft = iCount;
        mMeeting.arrive_and_wait();
        mMeeting.arrive_and_wait();
    }

private:
    static constexpr int cFirstStep = StepNoOp; // none of a life's

    template <class Function>
    static QORHostConfig MakeConfig(int iWorkers, int iInFlight, Function iFirstStep)
    {
        // Those that take their leave stand beside the ones that come for them.
        QORHostConfig config =
            MakeLifeHost(static_cast<unsigned>(iWorkers), static_cast<std::size_t>(iInFlight + iWorkers));
        config.mSteps.push_back(
            {.mStepId = cFirstStep, .mUnit = cHostUnit, .mRun = [iFirstStep](QORHostRun&) { iFirstStep(); }});
        return config;
    }

    void Submit()
    {
        mHost.Submit(MakeLifeJob(), {.mOnEnd = [this](const QORHostJob&, QORJob&) { GoOn(); }});
    }

    void GoOn()
    {
        if (mbOver)
            return;
        Submit();
        if (--mLeft > 0)
            return;
        mMeeting.arrive_and_wait();
        mMeeting.arrive_and_wait(); // until the host ends
    }

    std::barrier<> mMeeting; // of the workers and the main thread
    std::atomic<int> mLeft{0};
    std::atomic<bool> mbOver{false};
    QORHost mHost; // last: its threads use the others
};

} // namespace

std::unique_ptr<Workload> MakeHost(int iWorkers, int iInFlight)
{
    return std::make_unique<JobsOfHost>(iWorkers, iInFlight);
}
