// Libraries that schedule by themselves: they run chains of six steps which do nothing.
#pragma once

#include "Workloads.h"

#include <memory>

std::unique_ptr<Workload> MakeOneTbb(int iWorkers, int iInFlight);
std::unique_ptr<Workload> MakeThreadWeaver(int iWorkers, int iInFlight);
