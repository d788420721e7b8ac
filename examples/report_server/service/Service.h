// The server on the web: requests and their results, and the monitor's page.
#pragma once

#include "Options.h"
#include "Server.h"
#include "client/Client.h"
#include "client/Request.h"
#include "qormonitor.h"
#include "service/Results.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Beside the monitor's addresses (docs/monitor.md) it has these:
///
///   POST /requests       a line as in a request file, or JSON with the fields kind, user, project, priority, body and
///                        language; 202 with the request's address. ?wait=SECONDS waits for the result, ?lang=de is
///                        the session's language, ?cancel-when-gone=1 cancels it when the client goes away before
///   GET /requests/7      200 with the result, 422 with the error, 202 until then (?wait=SECONDS), 410 when it isn't
///                        kept any more
///   DELETE /requests/7   POST /jobs/7/cancel
///   GET /mailboxes       what was delivered
///
/// Threads: one for its operations; its web server's for what comes in.
/// Owns:    the web server and the results.
/// Errors:  the constructor throws SetupError, and std::runtime_error when it can't listen.
/// Locks:   one, held while a request is submitted.
class Service
{
public:
    /// Those requests come first.
    Service(Server& ioServer, const Mailboxes& iMailboxes, QORMonitor& ioMonitor, const Options& iOptions,
            const std::vector<Request>& iRequests);

    /// "http://127.0.0.1:8080/"
    std::string GetAddress() const;
    /// To be called until the end: sees to calls that have waited too long, and takes that time.
    void Rest(std::chrono::milliseconds iTime);
    /// No more requests are taken; those that were are answered, and their clients get that. False when not all of it
    /// could be sent.
    bool Drain();

private:
    void Handle(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall);
    bool Obey(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall);
    void Post(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall);
    void HandleOne(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall);
    bool Submit(int iId, Request iRequest);
    void Cancel(int iRequest);

    Server& mServer;
    const Mailboxes& mMailboxes;
    QORMonitor& mMonitor;
    const std::shared_ptr<Results> mpResults = std::make_shared<Results>();
    QORMonitorSite mSite;
    std::mutex mMutex;                      // guards what follows
    bool mbDraining = false;                // no request that was taken before is on its way to the server
    std::string mAddress;                   // that it listens on
    std::unique_ptr<QORWebServer> mpServer; // last: its thread uses the rest
};
