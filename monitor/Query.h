// Which of many jobs a list shows, and in which order.
#pragma once

#include "monitor/QORMonitorTypes.h"

#include <vector>

namespace QORMONITOR
{

/// Takes out what the query doesn't ask for, and puts those in order that its page shows: they are what is left, and
/// the number that there would be without a page.
std::size_t Select(const QORMonitorQuery& iQuery, QORMonitorTime iNow, std::vector<const QORMonitorRow*>& ioRows);

} // namespace QORMONITOR
