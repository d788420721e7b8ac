// Lives of jobs that a host drives, of steps which do nothing.
#pragma once

#include "Workloads.h"
#include "qorhost.h"

#include <cstddef>

constexpr int cHostUnit = 1;

/// A host of one unit, whose steps of a life do nothing; all are in that unit.
QORHostConfig MakeLifeHost(unsigned iThreads, std::size_t iMostJobs);

QBase::PtrI<QORJob> MakeLifeJob();

/// One after the other, each submitted and run to its end by the calling thread.
class HostLives final : public Workload
{
public:
    HostLives() : mHost(MakeLifeHost(0, 1)) {}
    void Run(int iCount) override;

private:
    QORHost mHost;
};
