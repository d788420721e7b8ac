#include "platform/Mutex.h"

#include "platform/builtin/base/SystemLocks.h"

namespace QSynch
{

void SystemMutex::Enter() noexcept { Builtin::UnlessEnding(::AcquireSRWLockExclusive, mLock); }

void SystemMutex::Leave() noexcept { Builtin::UnlessEnding(::ReleaseSRWLockExclusive, mLock); }

} // namespace QSynch
