#include "monitor/QORMonitor.h"

#include "monitor/Core.h"

#include <utility>

using namespace QORMONITOR;

QORMonitor::QORMonitor(QORMonitorConfig iConfig) : mpCore(std::make_shared<Core>(std::move(iConfig))) {}

QORMonitor::~QORMonitor() = default;

std::function<void(const QORHostJob&, QORJob&)> QORMonitor::GetOnEnd()
{
    return [core = mpCore](const QORHostJob& iHandle, QORJob& ioJob) {
        const QORHostLook look = iHandle.GetLook();
        QORMonitorRow row;
        row.mUnit = look.mUnit;
        row.mStep = look.mStepId;
        row.mProgress = look.mProgress;
        row.mReason = iHandle.GetReason();
        core->AddEnded(ioJob, std::move(row));
    };
}

void QORMonitor::Watch(QORHost& iHost) { mpCore->SetSource(MakeSource(iHost)); }

void QORMonitor::Watch(QORMonitorSource iSource) { mpCore->SetSource(MakeSource(std::move(iSource))); }

void QORMonitor::Forget() { mpCore->SetSource(nullptr); }

void QORMonitor::AddEnded(QORJob& iJob) { mpCore->AddEnded(iJob, {}); }

QORMonitorPage QORMonitor::List(const QORMonitorQuery& iQuery) const { return mpCore->List(iQuery); }

std::optional<QORMonitorDetail> QORMonitor::Find(int iJob) const { return mpCore->Find(iJob); }

std::vector<QORMonitorRow> QORMonitor::FindChildren(int iJob, std::size_t iMost) const
{
    return mpCore->FindChildren(iJob, iMost);
}

std::vector<QORMonitorDetail> QORMonitor::FindWindow(QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost) const
{
    return mpCore->FindWindow(iFrom, iTo, iMost);
}

QORMonitorFigures QORMonitor::GetFigures() const { return mpCore->GetFigures(); }

QORHostJob QORMonitor::FindHandle(int iJob) const { return mpCore->FindHandle(iJob); }

std::string QORMonitor::GetUnitName(int iUnit) const { return mpCore->GetUnitName(iUnit); }

std::string QORMonitor::GetStepName(int iStepId) const { return mpCore->GetStepName(iStepId); }

const std::vector<unsigned>& QORMonitor::GetLanguages() const { return mpCore->GetLanguages(); }

QORMonitorTime QORMonitor::Now() { return ToTime(QDataType::DateTime::NowUTC()); }

QORMonitorTime QORMonitor::ToTime(QDataType::DateTime iTime)
{
    constexpr std::int64_t cDaysTo1970 = 25'569;
    constexpr std::int64_t cMicrosecondsPerDay = 86'400'000'000;
    return iTime == QDataType::DateTime() ? 0 : iTime.GetTicks() / 10 - cDaysTo1970 * cMicrosecondsPerDay;
}
