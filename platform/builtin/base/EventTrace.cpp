#include "platform/builtin/EventTrace.h"

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <utility>

namespace Builtin::EventTrace
{

namespace
{

struct Trace
{
    QSynch::Mutex<QSynch::LockLevelDiagnostics> mMutex;
    std::vector<std::string> mCalls QORJOB_GUARDED_BY(mMutex);
};

Trace& GetTrace()
{
    static Builtin::NeverDestroyed<Trace> trace;
    return trace.Get();
}

} // namespace

namespace Detail
{

constinit std::atomic<bool> gbRecording{false};

void Record(const char* iOperation, std::initializer_list<std::int64_t> iArguments)
{
    std::string call(iOperation);
    for (const std::int64_t argument : iArguments)
        call.append(" ").append(std::to_string(argument));

    Trace& trace = GetTrace();
    const QSynch::MutexHold hold(trace.mMutex);
    if (gbRecording.load(std::memory_order_relaxed))
        trace.mCalls.push_back(std::move(call));
}

} // namespace Detail

void Start()
{
    Trace& trace = GetTrace();
    const QSynch::MutexHold hold(trace.mMutex);
    trace.mCalls.clear();
    Detail::gbRecording.store(true);
}

std::vector<std::string> Stop()
{
    Trace& trace = GetTrace();
    const QSynch::MutexHold hold(trace.mMutex);
    Detail::gbRecording.store(false);
    return std::exchange(trace.mCalls, {});
}

} // namespace Builtin::EventTrace
