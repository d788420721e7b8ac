// What the monitor shows, as texts: JSON, Prometheus metrics, traces, dumps and tables for people.
#pragma once

#include "monitor/QORMonitor.h"
#include "monitor/QORMonitorTypes.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace QORMONITOR
{

// docs/monitor.md describes the forms. All texts are UTF-8, whatever the jobs hold: what is none of it is replaced.

/// Long texts are cut to that many bytes, with a mark.
inline constexpr std::size_t cLongestText = 4'000;

std::string MakeListJson(const QORMonitor& iMonitor, const QORMonitorPage& iPage);
/// With its parent and its children. Errors are in that language, or in English where they aren't kept in it.
std::string MakeJobJson(const QORMonitor& iMonitor, const QORMonitorDetail& iJob, unsigned iLanguage);
/// What ran where and when; jobs that run or wait are drawn until `iTo`.
std::string MakeTimelineJson(const QORMonitor& iMonitor, QORMonitorTime iFrom, QORMonitorTime iTo);
/// {"error": ...}
std::string MakeErrorJson(std::string_view iText);

/// In the Prometheus text format, version 0.0.4.
std::string MakeMetrics(const QORMonitor& iMonitor);
/// For viewers of Chrome trace events, such as Perfetto.
std::string MakeTrace(const QORMonitor& iMonitor, QORMonitorTime iFrom, QORMonitorTime iTo);
/// A job with names for its numbers. No text of the job can make a line of its own, or do anything to a terminal.
std::string MakeReadableDump(const QORMonitor& iMonitor, const QORMonitorDetail& iJob, unsigned iLanguage);
/// The page's rows for a terminal of that size, in columns of the screen.
std::string MakeTable(const QORMonitor& iMonitor, const QORMonitorPage& iPage, std::size_t iColumns,
                      std::size_t iLines);

// --- Names for numbers, in English. What has none is "status 7" and the like. ---

std::string GetStatusName(int iStatus);
std::string GetStateName(EnumHostState iState);
std::string GetTypeName(int iType);

// --- Safe to show. ---

/// With a replacement for what is no UTF-8 and for each character that does something instead of showing something;
/// on one line.
std::string ToLine(std::string_view iText, std::size_t iLongest = cLongestText);
/// "2026-11-21T14:05:09.078123Z", or "-" for one that isn't set.
std::string ToIso(QORMonitorTime iTime);

} // namespace QORMONITOR
