// The smallest kernel: one job, two steps, one thread.
#include "qorjob.h"

#include <iostream>

int main()
{
    const QBase::PtrI<QORJob> job(QORJob::NewJob(1, RequestSQL, 5, nullptr, nullptr));
    if (!job)
        return 1;
    job->AddStep(new QORJobStep(StepSQLGeneration), nullptr);
    job->AddStep(new QORJobStep(StepCloseJob), nullptr);

    const int unit = 1;
    job->SetRunning(true, nullptr); // dispatch marks as started what it gives out
    int step = StepNoMore;
    while (job->GetCurrentStepIdToRun(&step, nullptr) == S_OK && step != StepNoMore)
    {
        job->SetStepStart(step, unit, nullptr); // a server gives the task here that runs the step
        std::cout << "running step " << step << ", " << QBase::WideCharToUTF8(GetStepName(step)) << '\n';
        if (step == StepCloseJob)
            job->SetStatus(JobCompleted, nullptr); // dispatch says so itself only when the list of steps runs empty
        job->SetStepFinish(step, unit, nullptr);
    }

    int status = JobReady;
    job->GetStatus(&status);
    std::cout << (status == JobCompleted ? "completed" : "not completed") << '\n';
    return status == JobCompleted ? 0 : 1;
}
