#include "monitor/QORMonitorSite.h"

#include "monitor/ListQuery.h"
#include "monitor/Page.h"
#include "monitor/QORMonitorViews.h"
#include "monitor/Streams.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

using namespace QORMONITOR;

namespace
{

constexpr const char* cJson = "application/json; charset=utf-8";
constexpr const char* cText = "text/plain; charset=utf-8";
constexpr const char* cEvents = "/events";

QORWebAnswer Refuse(unsigned iStatus, std::string_view iText) { return {iStatus, cJson, MakeErrorJson(iText)}; }

QORWebAnswer RefuseMethod(const char* iAllowed)
{
    QORWebAnswer answer = Refuse(405, "this address takes " + std::string(iAllowed));
    answer.mHeaders.emplace_back("Allow", iAllowed);
    return answer;
}

bool IsGet(const QORWebRequest& iRequest) { return iRequest.mMethod == "GET" || iRequest.mMethod == "HEAD"; }

/// The window's beginning and its end, which is now.
std::pair<QORMonitorTime, QORMonitorTime> ReadWindow(const QORWebRequest& iRequest)
{
    constexpr int cUsual = 60;
    constexpr int cMost = 86'400;
    constexpr QORMonitorTime cMicroseconds = 1'000'000;
    const QORMonitorTime now = QORMonitor::Now();
    return {now - ReadNumber(iRequest, "seconds", cUsual, 1, cMost) * cMicroseconds, now};
}

// --- What there is to read. ---

struct View
{
    std::string_view mPath;
    QORWebAnswer (*mpMake)(const QORMonitor& iMonitor, const QORWebRequest& iRequest);
};

constexpr View cViews[] = {
    {"/",
     [](const QORMonitor&, const QORWebRequest&) {
         return QORWebAnswer{200, "text/html; charset=utf-8", std::string(cPageHTML)};
     }},
    {"/page.css",
     [](const QORMonitor&, const QORWebRequest&) {
         return QORWebAnswer{200, "text/css; charset=utf-8", std::string(cPageCSS)};
     }},
    {"/page.js",
     [](const QORMonitor&, const QORWebRequest&) {
         return QORWebAnswer{200, "text/javascript; charset=utf-8", std::string(cPageJS)};
     }},
    {"/jobs",
     [](const QORMonitor& iMonitor, const QORWebRequest& iRequest) {
         return QORWebAnswer{200, cJson, MakeListJson(iMonitor, iMonitor.List(ReadListQuery(iRequest)))};
     }},
    {"/timeline",
     [](const QORMonitor& iMonitor, const QORWebRequest& iRequest) {
         const auto [from, to] = ReadWindow(iRequest);
         return QORWebAnswer{200, cJson, MakeTimelineJson(iMonitor, from, to)};
     }},
    {"/metrics",
     [](const QORMonitor& iMonitor, const QORWebRequest&) {
         return QORWebAnswer{200, "text/plain; version=0.0.4; charset=utf-8", MakeMetrics(iMonitor)};
     }},
    {"/trace",
     [](const QORMonitor& iMonitor, const QORWebRequest& iRequest) {
         const auto [from, to] = ReadWindow(iRequest);
         return QORWebAnswer{200, cJson, MakeTrace(iMonitor, from, to)};
     }},
};

// --- One job. ---

struct JobPath
{
    int mJob = -1;
    std::string_view mRest; ///< behind the number's slash
};

/// Nothing unless it is /jobs/NUMBER or /jobs/NUMBER/REST.
std::optional<JobPath> ParseJobPath(std::string_view iPath)
{
    constexpr std::string_view cPrefix = "/jobs/";
    if (!iPath.starts_with(cPrefix))
        return {};
    iPath.remove_prefix(cPrefix.size());
    JobPath path;
    const auto [end, error] = std::from_chars(iPath.data(), iPath.data() + iPath.size(), path.mJob);
    iPath.remove_prefix(static_cast<std::size_t>(end - iPath.data()));
    if (error != std::errc() || (!iPath.empty() && !iPath.starts_with('/')))
        return {};
    path.mRest = iPath.substr(std::min<std::size_t>(iPath.size(), 1));
    return path;
}

QORWebAnswer ShowJob(const QORMonitor& iMonitor, const QORWebRequest& iRequest, const JobPath& iPath)
{
    const unsigned language = ReadLanguage(iRequest, iMonitor.GetLanguages());
    const std::string form = iRequest.GetQuery("form");
    if (!form.empty() && form != "raw" && form != "readable")
        throw BadRequest("form is raw or readable");
    const std::optional<QORMonitorDetail> job = iMonitor.Find(iPath.mJob);
    if (!job)
        return Refuse(404, "there is no such job, or it has ended long ago");
    if (iPath.mRest.empty())
        return {200, cJson, MakeJobJson(iMonitor, *job, language)};
    return {200, cText, form == "raw" ? job->mDump : MakeReadableDump(iMonitor, *job, language)};
}

// --- Commands. ---

using Body = nlohmann::json;

const QORWebAnswer cTooLate{409, cJson, R"({"answer":"too late"})"};
const QORWebAnswer cNotPossible{409, cJson, R"({"answer":"not possible"})"};

EnumHostAnswer Cancel(QORHostJob& ioJob, const Body& iBody)
{
    const auto reason = iBody.find("reason"); // copies of what a client has sent go as deep as that does
    if (reason == iBody.end())
        return ioJob.Cancel("");
    if (!reason->is_string())
        throw BadRequest("reason is a text");
    return ioJob.Cancel(ToLine(reason->get_ref<const std::string&>()));
}

/// Null: as much as it likes.
EnumHostAnswer SetTimeLeft(QORHostJob& ioJob, const Body& iBody)
{
    constexpr double cMost = 1e9;
    constexpr double cMilliseconds = 1'000;
    const auto seconds = iBody.find("seconds");
    if (seconds != iBody.end() && seconds->is_null())
        return ioJob.SetTimeLeft({});
    if (seconds == iBody.end() || !seconds->is_number() || !(seconds->get<double>() > 0) ||
        seconds->get<double>() > cMost)
        throw BadRequest("seconds is a number above 0, 1000000000 at most, or null");
    const double milliseconds = std::ceil(seconds->get<double>() * cMilliseconds); // a limit of 0 would be none
    return ioJob.SetTimeLeft(std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds)));
}

struct Command
{
    std::string_view mName;
    EnumHostAnswer (*mpDo)(QORHostJob& ioJob, const Body& iBody);
};

constexpr Command cCommands[] = {
    {"cancel", Cancel},
    {"pause", [](QORHostJob& ioJob, const Body&) { return ioJob.Pause(); }},
    {"resume", [](QORHostJob& ioJob, const Body&) { return ioJob.Resume(); }},
    {"time", SetTimeLeft},
};

QORWebAnswer Do(const Command& iCommand, const QORMonitor& iMonitor, const QORWebRequest& iRequest, int iJob)
{
    const Body body = Body::parse(iRequest.mBody.empty() ? "{}" : iRequest.mBody, nullptr, false);
    if (!body.is_object())
        throw BadRequest("the body is no JSON object");
    QORHostJob job = iMonitor.FindHandle(iJob);
    if (!job)
    {
        const std::optional<QORMonitorDetail> found = iMonitor.Find(iJob);
        if (!found)
            return Refuse(404, "there is no such job");
        return found->mRow.mState == EnumHostState::Ended ? cTooLate : cNotPossible;
    }
    switch (iCommand.mpDo(job, body))
    {
    case EnumHostAnswer::Done:
        return {200, cJson, R"({"answer":"done"})"};
    case EnumHostAnswer::TooLate:
        return cTooLate;
    default:
        return cNotPossible;
    }
}

std::optional<QORWebAnswer> AnswerJob(const QORMonitor& iMonitor, const QORWebRequest& iRequest)
{
    const std::optional<JobPath> path = ParseJobPath(iRequest.mPath);
    if (!path)
        return {};
    if (path->mRest.empty() || path->mRest == "dump")
        return IsGet(iRequest) ? ShowJob(iMonitor, iRequest, *path) : RefuseMethod("GET, HEAD");
    const auto* const command = std::find_if(std::begin(cCommands), std::end(cCommands),
                                             [&](const Command& iEach) { return iEach.mName == path->mRest; });
    if (command == std::end(cCommands))
        return {};
    return iRequest.mMethod == "POST" ? Do(*command, iMonitor, iRequest, path->mJob) : RefuseMethod("POST");
}

} // namespace

QORMonitorSite::QORMonitorSite(QORMonitor& ioMonitor)
    : mMonitor(ioMonitor), mpStreams(std::make_unique<Streams>(ioMonitor))
{
}

QORMonitorSite::~QORMonitorSite() = default;

std::optional<QORWebAnswer> QORMonitorSite::Answer(const QORWebRequest& iRequest)
{
    try
    {
        const auto* const view = std::find_if(std::begin(cViews), std::end(cViews),
                                              [&](const View& iEach) { return iEach.mPath == iRequest.mPath; });
        if (view == std::end(cViews))
            return AnswerJob(mMonitor, iRequest);
        return IsGet(iRequest) ? view->mpMake(mMonitor, iRequest) : RefuseMethod("GET, HEAD");
    }
    catch (const BadRequest& error)
    {
        return Refuse(400, error.what());
    }
}

bool QORMonitorSite::Handle(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall)
{
    if (iRequest.mPath != cEvents)
    {
        std::optional<QORWebAnswer> answer = Answer(iRequest);
        if (answer)
            iCall->Answer(std::move(*answer));
        return answer.has_value();
    }
    if (iRequest.mMethod != "GET")
        iCall->Answer(RefuseMethod("GET"));
    else
        try
        {
            if (!mpStreams->Add(ReadListQuery(iRequest), iCall))
                iCall->Answer({503, cJson, MakeErrorJson("too many pages are open"), {{"Retry-After", "10"}}});
        }
        catch (const BadRequest& error)
        {
            iCall->Answer(Refuse(400, error.what()));
        }
    return true;
}
