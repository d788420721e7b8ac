// What a life costs while the program looks on: with the logs in a file, profiles, pulses or the trace of events on.
#include "Workloads.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/PerfReadings.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace
{

constexpr int cLives = 64; // between two times that what was recorded is dropped

/// A switch is on while its object lives; Drop forgets what it has recorded.
struct NoSwitch
{
    void Drop() {}
};

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        // mkdtemp puts letters of its own in the places of the last six.
        std::string path = (std::filesystem::temp_directory_path() / "qorjob_bench_XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr)
            throw std::runtime_error("no temporary folder can be made like " + path);
        mPath = path;
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Add(const char* iName) const { return (mPath / iName).string(); }

private:
    std::filesystem::path mPath;
};

/// All routers of the kernel, with their lines in a file.
class Logs
{
public:
    Logs() : mSink(Builtin::LogSinks::AddFileSink(mFile)) { Builtin::LogSinks::Enable("Kernel", "*", true); }

    ~Logs()
    {
        Builtin::LogSinks::Enable("Kernel", "*", false);
        Builtin::LogSinks::RemoveSink(mSink);
    }

    Logs(const Logs&) = delete;
    Logs& operator=(const Logs&) = delete;

    void Drop() { std::filesystem::resize_file(mFile, 0); } // the sink appends

private:
    TemporaryFolder mFolder;
    std::string mFile = mFolder.Add("kernel.log");
    int mSink;
};

struct Profiles
{
    Profiles() { Builtin::PerfReadings::EnableProfiling(true); }
    ~Profiles() { Builtin::PerfReadings::EnableProfiling(false); }

    Profiles(const Profiles&) = delete;
    Profiles& operator=(const Profiles&) = delete;

    void Drop() {} // sums only
};

struct Pulses
{
    Pulses() { Builtin::PerfReadings::EnablePulses(true); }

    ~Pulses()
    {
        Builtin::PerfReadings::EnablePulses(false);
        Drop();
    }

    Pulses(const Pulses&) = delete;
    Pulses& operator=(const Pulses&) = delete;

    void Drop() { Builtin::PerfReadings::TakePulses(); }
};

struct Events
{
    Events() { Builtin::EventTrace::Start(); }
    ~Events() { Builtin::EventTrace::Stop(); }

    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    void Drop() { Builtin::EventTrace::Start(); }
};

/// The queue in front of each step reports how long the job stood there.
class PulsedLife : public HeapLife
{
public:
    void RunAndEnd()
    {
        do
        {
            GetJob().EnqueuePulse();
            GetJob().DequeuePulse();
        } while (RunStep());
        End();
    }
};

template <class Life, class Switch>
void LifeWith(benchmark::State& ioState)
{
    Lives<Life> lives(1);
    Switch on;
    while (ioState.KeepRunningBatch(cLives))
    {
        lives.Run(cLives);
        ioState.PauseTiming();
        on.Drop();
        ioState.ResumeTiming();
    }
}

BENCHMARK_TEMPLATE(LifeWith, HeapLife, NoSwitch)->Name("LifeUnseen");
BENCHMARK_TEMPLATE(LifeWith, HeapLife, Logs)->Name("LifeLogged");
BENCHMARK_TEMPLATE(LifeWith, HeapLife, Profiles)->Name("LifeProfiled");
BENCHMARK_TEMPLATE(LifeWith, HeapLife, Events)->Name("LifeTraced");
BENCHMARK_TEMPLATE(LifeWith, PulsedLife, NoSwitch)->Name("PulsesOff");
BENCHMARK_TEMPLATE(LifeWith, PulsedLife, Pulses)->Name("PulsesOn");

} // namespace
