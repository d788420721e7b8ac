// Where jobs come from.
#pragma once

#include "platform/Windows.h"

#include <array>

/// By a job's source code. The last one is spelled so: readers search for it.
inline constexpr std::array<const QBase::WCHAR*, 5> cJobSourceNames = {
    QORJOB_W("JobSourceReserved"),          QORJOB_W("JobSourceKdxAgentApplication"),
    QORJOB_W("JobSourceKdxWebApplication"), QORJOB_W("JobSourceKdxServerScheduler"),
    QORJOB_W("JobSourceCustomApplicatin"),
};
