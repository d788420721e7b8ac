// `report_server ctl`: commands to a service that runs.
#pragma once

#include <string>
#include <vector>

/// What stands behind `ctl`. The process's exit code: 0 it is done, 1 it was refused, 2 it isn't understood, or there
/// is no such service.
int RunCtl(const std::vector<std::string>& iArguments);
