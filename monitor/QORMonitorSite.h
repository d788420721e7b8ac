// The monitor's addresses on the web: the page, lists, jobs, metrics, traces, events and commands.
#pragma once

#include "monitor/QORMonitor.h"
#include "monitor/QORWeb.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// docs/monitor.md lists the addresses.
///
/// Threads: any.
/// Owns:    the streams of events, and a thread that feeds them.
/// Errors:  bad requests are answered with 400, 404, 405 or 409.
/// Locks:   its own, for the list of streams.
class QORMonitorSite
{
public:
    explicit QORMonitorSite(QORMonitor& ioMonitor);
    ~QORMonitorSite();
    QORMonitorSite(const QORMonitorSite&) = delete;
    QORMonitorSite& operator=(const QORMonitorSite&) = delete;

    /// The answer to one of the site's requests, but for streams; nothing for a path that isn't the site's.
    std::optional<QORWebAnswer> Answer(const QORWebRequest& iRequest);
    /// The same with streams; false for a path that isn't the site's.
    bool Handle(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall);

private:
    class Streams;

    QORMonitor& mMonitor;
    std::unique_ptr<Streams> mpStreams;
};
