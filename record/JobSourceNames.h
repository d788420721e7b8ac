// Where jobs come from.
#pragma once

#include "platform/Windows.h"

#include <array>

/// By a job's source code. The last one is spelled so: readers search for it.
inline constexpr std::array<const WCHAR*, 5> cJobSourceNames = {
    W("JobSourceReserved"),           W("JobSourceKdxAgentApplication"), W("JobSourceKdxWebApplication"),
    W("JobSourceKdxServerScheduler"), W("JobSourceCustomApplicatin"),
};
