// A server whose jobs can be watched: two threads that sleep for them, and the page that shows and cancels them.
#include "qormonitor.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <thread>

using namespace std::chrono_literals;

int main(int argc, char** argv)
{
    const std::chrono::seconds time(argc > 1 ? std::atoi(argv[1]) : 600);
    try
    {
        QORMonitor monitor;
        QORHost host({.mUnits = {{.mId = 1, .mName = "sleepers", .mThreads = 2}},
                      .mSteps = {{.mStepId = StepQueryExecution,
                                  .mRun =
                                      [](QORHostRun& ioRun) {
                                          for (int percent = 0; percent < 100 && ioRun.Report(percent); ++percent)
                                              std::this_thread::sleep_for(20ms);
                                          ioRun.CheckStop();
                                      }}},
                      .mOnEnd = monitor.GetOnEnd()});
        monitor.Watch(host);

        QORMonitorSite site(monitor);
        QORWebServer web({.mPort = 0, .mAccess = {.mOpenPaths = QORMonitorSite::cOpenPaths}},
                         [&](const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall) {
                             if (!site.Handle(iRequest, iCall))
                                 iCall->Answer({.mStatus = 404});
                         });
        std::printf("http://127.0.0.1:%d/ shows the jobs of the next %d seconds\n", web.GetPort(),
                    static_cast<int>(time.count()));
        std::fflush(stdout);

        const auto end = std::chrono::steady_clock::now() + time;
        for (int id = 1; std::chrono::steady_clock::now() < end; ++id)
        {
            const QBase::PtrI<QORJob> job(QORJob::NewJob(id, RequestSQL, 5, nullptr, nullptr));
            job->AddStep(new QORJobStep(StepQueryExecution), nullptr);
            job->AddStep(new QORJobStep(StepCloseJob), nullptr);
            host.Submit(job);
            std::this_thread::sleep_for(1s);
        }
        host.Stop(10s);
        monitor.Forget();
        return 0;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
