#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/LibraryUsers.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <algorithm>
#include <mutex>

namespace QBase
{

namespace
{

struct MemGovernors
{
    std::mutex mMutex;
    list<MemGovernorProxy*> mProxies;
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
    const std::lock_guard hold(governors.mMutex);
    governors.mProxies.push_back(&iProxy);
}

void UnregisterMemGovernor(MemGovernorProxy& iProxy) noexcept
{
    Builtin::EventTrace::Note("QBase::UnregisterMemGovernor");
    MemGovernors& governors = GetMemGovernors();
    const std::lock_guard hold(governors.mMutex);
    const auto place = std::find(governors.mProxies.begin(), governors.mProxies.end(), &iProxy);
    if (place != governors.mProxies.end())
        governors.mProxies.erase(place);
}

} // namespace QBase

std::size_t Builtin::LibraryUsers::GetMemGovernorCount()
{
    QBase::MemGovernors& governors = QBase::GetMemGovernors();
    const std::lock_guard hold(governors.mMutex);
    return governors.mProxies.size();
}
