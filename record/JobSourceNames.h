// The names of the sources of jobs.
#pragma once

#include "platform/Windows.h"

#include <array>

/// Indexed by the source's code. The last one is misspelled on purpose: people search logs for it.
inline constexpr std::array<const QBase::WCHAR*, 5> cJobSourceNames = {
    QORJOB_W("JobSourceReserved"),          QORJOB_W("JobSourceKdxAgentApplication"),
    QORJOB_W("JobSourceKdxWebApplication"), QORJOB_W("JobSourceKdxServerScheduler"),
    QORJOB_W("JobSourceCustomApplicatin"),
};
