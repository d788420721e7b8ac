// The monitor's addresses on the web: the page, lists, jobs, metrics, traces, events and commands.
#pragma once

#include "monitor/QORMonitor.h"
#include "monitor/QORWeb.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QORMONITOR
{
class Streams;
} // namespace QORMONITOR

/// docs/monitor.md lists the addresses.
///
/// Threads: any. One is its own, which feeds the streams of events.
/// Owns:    the streams. The monitor has to outlive it.
/// Errors:  bad requests are answered with 400, 404, 405 or 409; std::bad_alloc.
/// Locks:   that of the streams.
class QORMonitorSite
{
public:
    /// The paths that hold nothing of any job: the page and its parts. For QORWebAccess::mOpenPaths.
    static const inline std::vector<std::string> cOpenPaths = {"/", "/page.css", "/page.js"};

    explicit QORMonitorSite(QORMonitor& ioMonitor);
    ~QORMonitorSite();
    QORMonitorSite(const QORMonitorSite&) = delete;
    QORMonitorSite& operator=(const QORMonitorSite&) = delete;

    /// The answer to one of the site's requests, but for the stream of events; nothing for a path that isn't the
    /// site's. Who may ask is the server's to decide (QORWebAccess).
    std::optional<QORWebAnswer> Answer(const QORWebRequest& iRequest);
    /// The same with the stream; false for a path that isn't the site's.
    bool Handle(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall);

private:
    QORMonitor& mMonitor;
    std::unique_ptr<QORMONITOR::Streams> mpStreams;
};
