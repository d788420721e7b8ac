#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/LibraryUsers.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <algorithm>

namespace QBase
{

namespace
{

struct MemGovernors
{
    QSynch::Mutex mMutex;
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
}

void UnregisterMemGovernor(MemGovernorProxy& iProxy) noexcept
{
    Builtin::EventTrace::Note("QBase::UnregisterMemGovernor");
    MemGovernors& governors = GetMemGovernors();
    const QSynch::MutexHold hold(governors.mMutex);
    const auto place = std::find(governors.mProxies.begin(), governors.mProxies.end(), &iProxy);
    if (place != governors.mProxies.end())
        governors.mProxies.erase(place);
}

} // namespace QBase

std::size_t Builtin::LibraryUsers::GetMemGovernorCount()
{
    QBase::MemGovernors& governors = QBase::GetMemGovernors();
    const QSynch::MutexHold hold(governors.mMutex);
    return governors.mProxies.size();
}
