// The host's mutexes, and where they stand in the order of all locks (platform/LockOrder.h).
#pragma once

#include "qorjob.h"

namespace QORHOST
{

enum EnumHostLockLevel : int
{
    HostLockLevelRecord = -20,
    HostLockLevelOwn = -10, ///< a unit's, the timers', the host's
};

using RecordMutex = QSynch::StandardMutex<HostLockLevelRecord>;
using OwnMutex = QSynch::StandardMutex<HostLockLevelOwn>;

} // namespace QORHOST
