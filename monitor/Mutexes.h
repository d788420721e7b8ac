// The monitor's mutexes, and where they stand in the order of all locks (platform/LockOrder.h).
#pragma once

#include "qorjob.h"

namespace QORMONITOR
{

enum EnumMonitorLockLevel : int
{
    MonitorLockLevelSource = -50,
    MonitorLockLevelLook = -40,
    MonitorLockLevelOwn = -30, ///< a site's, the history's, a request's
};

using SourceMutex = QSynch::StandardMutex<MonitorLockLevelSource>;
using LookMutex = QSynch::StandardMutex<MonitorLockLevelLook>;
using OwnMutex = QSynch::StandardMutex<MonitorLockLevelOwn>;

} // namespace QORMONITOR
