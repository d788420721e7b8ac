#include "platform/builtin/ThreadContextListener.h"

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <memory>
#include <utility>

namespace Builtin::ThreadContextListener
{

namespace
{

using Listener = std::function<void()>;

struct ListenerPlace
{
    QSynch::Mutex<QSynch::LockLevelShared> mMutex;
    std::shared_ptr<const Listener> mpListener QORJOB_GUARDED_BY(mMutex);
};

ListenerPlace& GetListenerPlace()
{
    static NeverDestroyed<ListenerPlace> place;
    return place.Get();
}

std::shared_ptr<const Listener> GetListener()
{
    ListenerPlace& place = GetListenerPlace();
    const QSynch::MutexHold hold(place.mMutex);
    return place.mpListener;
}

} // namespace

void Set(std::function<void()> iListener)
{
    std::shared_ptr<const Listener> listener; // receives the old one, which is destroyed after the hold
    if (iListener)
        listener = std::make_shared<const Listener>(std::move(iListener));
    ListenerPlace& place = GetListenerPlace();
    const QSynch::MutexHold hold(place.mMutex);
    place.mpListener.swap(listener);
}

void Call()
{
    if (const std::shared_ptr<const Listener> listener = GetListener())
        (*listener)();
}

} // namespace Builtin::ThreadContextListener
