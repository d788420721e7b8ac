#include "platform/Mutex.h"

#include "platform/builtin/base/SystemLocks.h"

namespace QSynch
{

void SystemMutex::lock() noexcept { Builtin::UnlessEnding(::AcquireSRWLockExclusive, mLock); }

void SystemMutex::unlock() noexcept { Builtin::UnlessEnding(::ReleaseSRWLockExclusive, mLock); }

} // namespace QSynch
