// What the monitor reads of a job.
#pragma once

#include "monitor/QORMonitorTypes.h"
#include "qorhost.h"

#include <memory>
#include <vector>

namespace QORMONITOR
{

/// 0 for a time that isn't set, and where a clock was set back.
double ToSeconds(QORMonitorTime iFrom, QORMonitorTime iTo);

int GetId(const QORJob& iJob);

std::shared_ptr<const QORMonitorIdentity> ReadIdentity(const QORJob& iJob);

/// What is kept of a job: all but the row's state, unit and step, which the host knows better where there is one.
/// `iRow`'s identity is read where it has none.
QORMonitorDetail ReadDetail(const QORJob& iJob, QORMonitorRow iRow, const std::vector<unsigned>& iLanguages,
                            bool ibDump);

/// The unit that the job is in or was in last, and the step that it runs or will run; the last one of a job that has
/// none left. For jobs without a host.
void ReadPlace(const QORJob& iJob, QORMonitorRow& ioRow);

/// The first of the visit's steps that was started; null for none.
const QORMonitorStep* FindFirstStep(const QORMonitorDetail& iJob, std::size_t iVisit);

/// About what it takes.
std::size_t SizeOf(const QORMonitorDetail& iJob);

} // namespace QORMONITOR
