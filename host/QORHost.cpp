#include "host/QORHost.h"

#include "host/Core.h"

#include <stdexcept>
#include <utility>

using namespace QORHOST;

namespace
{

Unit& Find(const Core& iCore, int iUnit)
{
    if (Unit* const unit = iCore.FindUnit(iUnit))
        return *unit;
    throw std::invalid_argument("there is no unit " + std::to_string(iUnit));
}

} // namespace

QORHost::QORHost(QORHostConfig iConfig) : mpCore(std::make_shared<Core>(std::move(iConfig))) { mpCore->Start(); }

QORHost::~QORHost() { mpCore->End(); }

QORHostSubmission QORHost::Submit(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions)
{
    const std::shared_ptr<Core> core = mpCore; // the host may end while this waits for room
    return core->Submit(std::move(iJob), std::move(iOptions));
}

std::vector<QORHostJob> QORHost::GetJobs() const { return mpCore->GetJobs(); }

QORHostJob QORHost::FindNew(int iJob, std::size_t iAmong) const { return mpCore->FindNew(iJob, iAmong); }

QORHostCounts QORHost::GetCounts() const { return mpCore->GetCounts(); }

std::vector<QORHostUnit> QORHost::GetUnits() const { return mpCore->GetPlans(); }

std::string QORHost::GetUnitName(int iUnit) const
{
    const Unit* const unit = mpCore->FindUnit(iUnit);
    return unit == nullptr ? "unit " + std::to_string(iUnit) : unit->GetPlan().mName;
}

std::string QORHost::GetStepName(int iStepId) const { return mpCore->GetStepName(iStepId); }

// A copy of the core, where the host may be destroyed meanwhile: by a callback, or while a step hangs.

bool QORHost::RunOne(int iUnit)
{
    const std::shared_ptr<Core> core = mpCore;
    return core->RunOne(Find(*core, iUnit), Clock::now(), 0);
}

void QORHost::RunUntilClosed(int iUnit)
{
    const std::shared_ptr<Core> core = mpCore;
    core->RunUntilClosed(Find(*core, iUnit));
}

bool QORHost::RunUntil(int iUnit, const QORHostJob& iJob, std::chrono::milliseconds iLimit)
{
    const std::shared_ptr<Core> core = mpCore;
    return core->RunUntil(Find(*core, iUnit), iJob, After(iLimit, Clock::now()));
}

bool QORHost::Drain(std::chrono::milliseconds iLimit)
{
    const std::shared_ptr<Core> core = mpCore;
    return core->Drain(Until(iLimit));
}

std::vector<std::string> QORHost::Stop(std::chrono::milliseconds iLimit)
{
    const std::shared_ptr<Core> core = mpCore;
    return core->Stop(Until(iLimit));
}

bool QORHost::IsClosing() const { return mpCore->IsClosing(); }

void QORHost::RequestDrain() noexcept { mpCore->Request(ClosingDrain); }

void QORHost::RequestStop() noexcept { mpCore->Request(ClosingStop); }

bool QORHost::WaitForClose(std::chrono::milliseconds iLimit) const
{
    const std::shared_ptr<Core> core = mpCore;
    return core->WaitForClose(After(iLimit, Clock::now()));
}
