#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/base/UserCounts.h"

namespace QBase
{

namespace
{

struct MemGovernors
{
    QSynch::Mutex<QSynch::LockLevelShared> mMutex;
    list<MemGovernorProxy*> mProxies QORJOB_GUARDED_BY(mMutex);
};

MemGovernors& GetMemGovernors()
{
    static Builtin::NeverDestroyed<MemGovernors> governors;
    return governors.Get();
}

} // namespace

void RegisterMemGovernor(MemGovernorProxy& iProxy)
{
    Builtin::EventTrace::Note("QBase::RegisterMemGovernor");
    MemGovernors& governors = GetMemGovernors();
    const QSynch::MutexHold hold(governors.mMutex);
    governors.mProxies.push_back(&iProxy);
    ++Builtin::gMemGovernors;
}

void UnregisterMemGovernor(MemGovernorProxy& iProxy) noexcept
{
    Builtin::EventTrace::Note("QBase::UnregisterMemGovernor");
    MemGovernors& governors = GetMemGovernors();
    const QSynch::MutexHold hold(governors.mMutex);
    Builtin::gMemGovernors -= static_cast<unsigned>(governors.mProxies.remove(&iProxy));
}

} // namespace QBase
