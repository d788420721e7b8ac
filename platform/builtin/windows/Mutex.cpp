#include "platform/Mutex.h"

#include "platform/builtin/base/SystemLocks.h"

namespace QSynch
{

void SystemMutex::lock() noexcept
{
    if (!Builtin::IsProcessEnding())
        ::AcquireSRWLockExclusive(&mLock);
}

void SystemMutex::unlock() noexcept
{
    if (!Builtin::IsProcessEnding())
        ::ReleaseSRWLockExclusive(&mLock);
}

} // namespace QSynch
