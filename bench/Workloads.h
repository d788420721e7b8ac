// What is measured of dispatch and of a job's life, and the hand-written peers. It takes no benchmark library, so that
// the short bench runs on every system.
#pragma once

#include "qorjob.h"

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <vector>

/// C libraries take locks and count references at less cost in a process that never had a second thread, which no
/// server is. After this one it has had one.
void BecomeMultithreaded();

/// One side of a comparison: a constructor gets it ready, Run is what is measured, a destructor clears up.
class Workload
{
public:
    Workload() = default;
    virtual ~Workload() = default;
    virtual void Run(int iCount) = 0;

    Workload(const Workload&) = delete;
    Workload& operator=(const Workload&) = delete;
};

/// A closing step is the last one of them.
QBase::PtrI<QORJob> MakeJobOfSteps(int iSteps);

/// Dispatch cycles: ask, start, finish.
void RunCycles(QORJob& ioJob, int iCycles);

/// Dispatch cycles, `iMost` at most. `iLength` steps are queued in each of as many jobs as that takes, for half of them
/// are run: that half goes into `iMost`.
class DispatchCycles final : public Workload
{
public:
    DispatchCycles(int iMost, int iLength);
    void Run(int iCount) override;

private:
    int mCyclesPerJob;
    std::vector<QBase::PtrI<QORJob>> mJobs;
};

/// The lock pairs, clock readings, thread-time readings and the node move of a cycle, on records of a step's size.
class DispatchFloor final : public Workload
{
public:
    explicit DispatchFloor(int iMost);
    void Run(int iCount) override;

private:
    using Steps = std::list<std::unique_ptr<QORJobStep>>;

    QSynch::CriticalSectionPtr mpLock = QSynch::MakeCriticalSection(4);
    Steps mTodo;
    Steps mFinished;
    FILETIME mTimes[4] = {};
    QORJobStep* volatile mpAsked = nullptr; // volatile: the look at the first step is kept
};

/// Keeps a number of lives open: each turn ends the oldest and begins one.
template <class Life>
class Lives final : public Workload
{
public:
    explicit Lives(std::size_t iAlive) : mAlive(iAlive)
    {
        for (Life& life : mAlive)
            life.Begin();
    }

    ~Lives() override
    {
        for (Life& life : mAlive)
            life.RunAndEnd();
    }

    void Run(int iCount) override
    {
        for (int i = 0; i < iCount; ++i)
        {
            mAlive[mOldest].RunAndEnd();
            mAlive[mOldest].Begin();
            mOldest = mOldest + 1 == mAlive.size() ? 0 : mOldest + 1;
        }
    }

private:
    std::vector<Life> mAlive;
    std::size_t mOldest = 0;
};

constexpr std::array<int, 6> cLifeSteps = {StepLoadObjectDefinition, StepSQLGeneration,       StepSearchingCache,
                                           StepAnalyticalProcessing, StepSendingReportResult, StepCloseJob};

/// A job of those steps, on the heap when there is no buffer.
QORJob* NewLifeJob(QBase::Buffer* iBuffer);

/// As a kernel drives a job: it asks for the next step, and so for the unit to queue the job at, when one has finished.
class LibraryLife
{
public:
    /// Runs a step of a life that has begun; false when it was the last one.
    bool RunStep();
    void End();
    void RunAndEnd();

protected:
    void Make(QBase::Buffer* iBuffer);
    void AskForStep();
    QORJob& GetJob() const { return *mpJob; }
    int GetStep() const { return mStep; }

private:
    QORJob* mpJob = nullptr;
    int mStep = StepNoMore;
};

class HeapLife : public LibraryLife
{
public:
    void Begin()
    {
        Make(nullptr);
        AskForStep();
    }
};

/// With what a kernel also tells the library of its units, here of one: that the job runs, which step is current, when
/// it came into the unit, began there and left it, and that it has closed.
class UnitLife : private LibraryLife
{
public:
    void Begin();
    bool RunStep();
    void End();
    void RunAndEnd();

private:
    bool mbQueued = false;
};

/// In a buffer that each life uses again, just large enough for the job and its steps.
class BufferLife : public LibraryLife
{
public:
    BufferLife() : mpBuffer(QBase::CreateBuffer(1408, 2, 512, true)) {}
    void Begin()
    {
        Make(mpBuffer.get());
        AskForStep();
    }

private:
    struct Freer
    {
        void operator()(QBase::Buffer* iBuffer) const { iBuffer->Free(); }
    };

    std::unique_ptr<QBase::Buffer, Freer> mpBuffer;
};

class HandWrittenJob;

class HandWrittenLife
{
public:
    void Begin();
    bool RunStep();
    void End();
    void RunAndEnd();

private:
    HandWrittenJob* mpJob = nullptr;
};
