// Who schedules by himself, the host and other libraries: they run chains of six steps which do nothing.
#pragma once

#include "Workloads.h"

#include <memory>

std::unique_ptr<Workload> MakeHost(int iWorkers, int iInFlight);
std::unique_ptr<Workload> MakeOneTbb(int iWorkers, int iInFlight);
std::unique_ptr<Workload> MakeOneTbbGraphs(int iWorkers, int iInFlight);
std::unique_ptr<Workload> MakeThreadWeaver(int iWorkers, int iInFlight);
