#include "tests/windows/Guest.h"

#include "platform/Mutex.h"
#include "platform/builtin/LibraryUsers.h"
#include "platform/builtin/LogSinks.h"
#include "qorjob.h"
#include "tests/support/Threads.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace
{

const QORJOB::Initializer cInitializer;

QBase::PtrI<QORJob> NewJob() { return QBase::PtrI<QORJob>(QORJob::NewJob(7, RequestReport, 5, nullptr, nullptr)); }

int RunJob()
{
    int lines = 0;
    const int sink = Builtin::LogSinks::AddSink([&](const Builtin::LogSinks::Line&) { ++lines; });
    {
        const auto job = NewJob();
        job->AddStep(new QORJobStep(StepCloseJob), nullptr);
        job->SetRunning(true, nullptr);
        int step = StepNoMore;
        job->GetCurrentStepIdToRun(&step, nullptr);
        job->SetStepStart(step, 3, nullptr);
        job->SetStepFinish(step, 3, nullptr);
    }
    Builtin::LogSinks::RemoveSink(sink);
    try
    {
        QRegistry::OpenKeyFromRoot(QRegistry::RootHives::CurrentUser, QORJOB_W("No such vendor"));
    }
    catch (const QRegistry::KeyException&)
    {
        return lines;
    }
    return -1;
}

void EnableLog() { Builtin::LogSinks::Enable("Kernel", "Job Trace", true); }

/// `iTake` gets what it is to call once it holds its lock; that never comes back.
template <class Take>
void LeaveThread(Take iTake)
{
    static std::atomic<bool> sbThere;
    sbThere = false;
    std::thread(iTake, [] {
        sbThere = true;
        ::Sleep(INFINITE);
    }).detach();
    if (!WaitFor([] { return sbThere.load(); }))
        std::abort();
}

/// What the other threads held when the process killed them; its destructor needs it all.
struct Farewell
{
    ~Farewell()
    {
        if (!mJob)
            return;
        {
            const QSynch::MutexHold hold(mMutex);
            const QSynch::RWLock::WriteHold write(mRead.get());
            const QSynch::RWLock::ReadHold read(mWritten.get());
        }
        {
            const QSynch::RWLock::WriteHold write(mWritten.get());
        }
        mJob->SetRunning(true, nullptr);
        mJob = {}; // logs
        std::fputs("The guest has ended.\n", stderr);
    }

    QBase::PtrI<QORJob> mJob;
    QSynch::Mutex<QSynch::LockLevelNone> mMutex;
    QSynch::RWLockPtr mRead, mWritten;
};

Farewell gFarewell;

void LeaveThreadsInLocks()
{
    gFarewell.mJob = NewJob();
    gFarewell.mRead = QSynch::MakeRWLock(0);
    gFarewell.mWritten = QSynch::MakeRWLock(0);
    LeaveThread([](auto iStay) {
        const QSynch::MutexHold hold(gFarewell.mMutex);
        iStay();
    });
    LeaveThread([](auto iStay) {
        const QSynch::RWLock::ReadHold hold(gFarewell.mRead.get());
        iStay();
    });
    LeaveThread([](auto iStay) {
        const QSynch::RWLock::WriteHold hold(gFarewell.mWritten.get());
        iStay();
    });
    LeaveThread([](auto iStay) {
        const auto error = gFarewell.mJob->GetJobErrorBuilder(E_FAIL); // holds the job's lock until its end
        iStay();
    });
    LeaveThread([](auto iStay) {
        static std::atomic<bool> sbFirst{true};
        Builtin::LogSinks::AddSink([iStay](const Builtin::LogSinks::Line&) {
            if (sbFirst.exchange(false))
                iStay();
        });
        EnableLog();
        NewJob();
    });
}

} // namespace

extern "C" __declspec(dllexport) const Guest* GetGuest()
{
    static const Guest guest{RunJob, EnableLog, Builtin::LibraryUsers::GetLogUsers, LeaveThreadsInLocks};
    return &guest;
}
