#include "monitor/QORMonitorSite.h"
#include "tests/host/HostTest.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <set>

using namespace HostTest;
using nlohmann::json;

namespace
{

constexpr const char* cHostile = "<script>alert(1)</script>\n\x1b[31m";

/// A document that waits at its first step, and a report that has failed.
class Site : public testing::Test
{
protected:
    Site()
    {
        mMonitor.Watch(mHost);
        mFailed = mHost.Submit(MakeJob(3, {cSecond, StepCloseJob}, RequestReport)).mJob;
        EXPECT_TRUE(mFailed.WaitFor(cLong));
        QBase::PtrI<QORJob> job = MakeJob(7, {cFirst, StepCloseJob});
        job->SetUser(QORJOB_W("anna"));
        job->SetDescription(QBase::UTF8ToWideChar(cHostile));
        mOpen = mHost.Submit(job).mJob;
        EXPECT_TRUE(mRuns.Wait());
    }
    ~Site() override
    {
        mGoOn.Open();
        mMonitor.Forget();
    }

    QORWebAnswer Ask(const std::string& iMethod, const std::string& iPath,
                     std::map<std::string, std::string> iQuery = {}, const std::string& iBody = {})
    {
        return mSite.Answer({iMethod, iPath, std::move(iQuery), {}, iBody}).value_or(QORWebAnswer{404, "none", ""});
    }
    json Get(const std::string& iPath, std::map<std::string, std::string> iQuery = {})
    {
        return json::parse(Ask("GET", iPath, std::move(iQuery)).mBody, nullptr, false);
    }

    Gate mRuns;
    Gate mGoOn;
    std::atomic<bool> mbToldToStop = false;
    QORMonitor mMonitor;
    QORHost mHost{{.mUnits = {{.mId = 4, .mName = "only"}},
                   .mSteps = {{.mStepId = cFirst,
                               .mRun =
                                   [this](QORHostRun& ioRun) {
                                       mRuns.Open();
                                       while (!mGoOn.IsOpen())
                                       {
                                           mbToldToStop = ioRun.IsToldToStop();
                                           std::this_thread::yield();
                                       }
                                       ioRun.CheckStop();
                                   }},
                              {.mStepId = cSecond, .mRun = [](QORHostRun&) { throw std::runtime_error("no luck"); }}},
                   .mOnEnd = mMonitor.GetOnEnd()}};
    QORMonitorSite mSite{mMonitor};
    QORHostJob mFailed;
    QORHostJob mOpen;
};

/// Keeps what it is given.
class Call final : public QORWebCall
{
public:
    void Answer(QORWebAnswer iAnswer) override
    {
        const std::lock_guard hold(mMutex);
        mAnswer = std::move(iAnswer);
    }
    void Begin(QORWebAnswer iHead) override { Answer(std::move(iHead)); }
    bool Send(std::string iPart) override
    {
        const std::lock_guard hold(mMutex);
        mParts.push_back(std::move(iPart));
        return !mbGone;
    }
    void Close() override
    {
        const std::lock_guard hold(mMutex);
        mbClosed = true;
    }
    void OnGone(std::function<void()>) override {}

    std::size_t CountParts() const
    {
        const std::lock_guard hold(mMutex);
        return mParts.size();
    }

    mutable std::mutex mMutex;
    QORWebAnswer mAnswer;
    std::vector<std::string> mParts;
    bool mbGone = false;
    bool mbClosed = false;
};

} // namespace

TEST_F(Site, RefusesWhatItDoesntKnow)
{
    struct Row
    {
        std::string mMethod;
        std::string mPath;
        std::map<std::string, std::string> mQuery;
        std::string mBody;
        unsigned mStatus;
        std::string mError = {};
    };
    const std::string seconds = "seconds is a number above 0, 1000000000 at most, or null";
    const std::vector<Row> rows = {
        {"GET", "/", {}, "", 200},
        {"HEAD", "/page.js", {}, "", 200},
        {"POST", "/", {}, "", 405, "this address takes GET, HEAD"},
        {"GET", "/nothing", {}, "", 404},
        {"GET", "/jobs", {{"status", "3"}, {"user", ""}, {"sort", ""}}, "", 200},
        {"GET", "/jobs", {{"colour", "red"}}, "", 400, "a list knows nothing of colour"},
        {"GET", "/jobs", {{"status", "x"}}, "", 400, "status is a number from 0 to 2147483647"},
        {"GET", "/jobs", {{"status", "-1"}}, "", 400, "status is a number from 0 to 2147483647"},
        {"GET", "/jobs", {{"unit", "99999999999"}}, "", 400, "unit is a number from 0 to 2147483647"},
        {"GET",
         "/jobs",
         {{"state", "lost"}},
         "",
         400,
         "state is one of queued, running, paused, waiting, delayed, ended"},
        {"GET",
         "/jobs",
         {{"sort", "beauty"}},
         "",
         400,
         "sort is one of urgency, id, user, status, unit, step, priority, created, since, running, waiting"},
        {"GET", "/jobs", {{"order", "up"}}, "", 400, "order is one of asc, desc"},
        {"GET", "/jobs", {{"limit", "0"}}, "", 400, "limit is a number from 1 to 500"},
        {"GET", "/jobs", {{"limit", "501"}}, "", 400, "limit is a number from 1 to 500"},
        {"GET", "/jobs", {{"open", "yes"}}, "", 400, "open is one of 0, 1"},
        {"DELETE", "/jobs", {}, "", 405, "this address takes GET, HEAD"},
        {"GET", "/jobs/7", {{"lang", "de"}}, "", 200},
        {"GET", "/jobs/7", {{"lang", "fr"}}, "", 400, "lang is one of en, de"},
        {"GET", "/jobs/8", {}, "", 404, "there is no such job, or it has ended long ago"},
        {"GET", "/jobs/", {}, "", 404},
        {"GET", "/jobs/7x", {}, "", 404},
        {"GET", "/jobs/7/8", {}, "", 404},
        {"GET", "/jobs/99999999999", {}, "", 404},
        {"GET", "/jobs/7/dump", {{"form", "raw"}}, "", 200},
        {"GET", "/jobs/7/dump", {{"form", "odd"}}, "", 400, "form is raw or readable"},
        {"GET", "/jobs/7/cancel", {}, "", 405, "this address takes POST"},
        {"POST", "/jobs/7", {}, "", 405, "this address takes GET, HEAD"},
        {"POST", "/jobs/8/cancel", {}, "", 404, "there is no such job"},
        {"POST", "/jobs/3/cancel", {}, "", 409},
        {"POST", "/jobs/7/cancel", {}, "[]", 400, "the body is no JSON object"},
        {"POST", "/jobs/7/cancel", {}, "{", 400, "the body is no JSON object"},
        {"POST", "/jobs/7/cancel", {}, R"({"reason": 7})", 400, "reason is a text"},
        {"POST",
         "/jobs/7/cancel",
         {},
         R"({"reason": )" + std::string(200'000, '[') + std::string(200'000, ']') + "}",
         400,
         "reason is a text"},
        {"POST",
         "/jobs/7/time",
         {},
         R"({"seconds": )" + std::string(200'000, '[') + std::string(200'000, ']') + "}",
         400,
         seconds},
        {"POST", "/jobs/7/time", {}, "", 400, seconds},
        {"POST", "/jobs/7/time", {}, R"({"seconds": "60"})", 400, seconds},
        {"POST", "/jobs/7/time", {}, R"({"seconds": -1})", 400, seconds},
        {"POST", "/jobs/7/time", {}, R"({"seconds": 0})", 400, seconds},
        {"GET", "/jobs", {{"search", std::string(201, 'x')}}, "", 400, "search has 200 bytes at most"},
        {"POST", "/jobs/7/time", {}, R"({"seconds": 1e300})", 400, seconds},
        {"GET", "/timeline", {{"seconds", "0"}}, "", 400, "seconds is a number from 1 to 86400"},
        {"GET", "/trace", {{"seconds", "86401"}}, "", 400, "seconds is a number from 1 to 86400"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.mMethod + " " + row.mPath + (row.mQuery.empty() ? "" : " " + row.mQuery.begin()->second) +
                     row.mBody.substr(0, 50));
        const QORWebAnswer answer = Ask(row.mMethod, row.mPath, row.mQuery, row.mBody);
        EXPECT_EQ(answer.mStatus, row.mStatus);
        const auto body = json::parse(answer.mBody, nullptr, false);
        EXPECT_EQ(body.is_object() ? body.value("error", "") : "", row.mError);
        if (row.mStatus == 405)
        {
            const QORWebAnswer allowed{.mHeaders = {{"Allow", row.mError.substr(19)}}};
            EXPECT_EQ(answer.mHeaders, allowed.mHeaders);
        }
    }
    EXPECT_FALSE(mOpen.HasEnded());
}

TEST_F(Site, ShowsJobsAsTextsOnly)
{
    const json list = Get("/jobs", {{"sort", "id"}, {"order", "desc"}});
    ASSERT_EQ(list.at("jobs").size(), 2U);
    const json& row = list.at("jobs")[0];
    EXPECT_EQ(row.at("id"), 7);
    EXPECT_EQ(row.at("state"), "running");
    EXPECT_EQ(row.at("unitName"), "only");
    EXPECT_NE(row.at("description").get<std::string>().find("<script>"), std::string::npos)
        << "JSON needs no other escape";
    EXPECT_EQ(row.at("description").get<std::string>().find('\n'), std::string::npos);
    EXPECT_EQ(Get("/jobs", {{"state", "ended"}}).at("jobs").at(0).at("id"), 3);

    const json job = Get("/jobs/3", {{"lang", "de"}});
    EXPECT_EQ(job.at("job").at("statusName"), "Stopped with error");
    EXPECT_EQ(job.at("errors").at(0).at("language"), "de");
    EXPECT_NE(job.at("errors").at(0).at("lines").dump().find("no luck"), std::string::npos);
    EXPECT_NE(Ask("GET", "/jobs/3/dump", {{"form", "raw"}}).mBody.find("JobId: 3\n"), std::string::npos);
    for (const auto& [path, type] :
         std::map<std::string, std::string>{{"/", "text/html; charset=utf-8"},
                                            {"/page.css", "text/css; charset=utf-8"},
                                            {"/page.js", "text/javascript; charset=utf-8"},
                                            {"/jobs/7/dump", "text/plain; charset=utf-8"},
                                            {"/metrics", "text/plain; version=0.0.4; charset=utf-8"},
                                            {"/jobs", "application/json; charset=utf-8"}})
        EXPECT_EQ(Ask("GET", path).mType, type);
    EXPECT_NE(Ask("GET", "/metrics").mBody.find("# TYPE "), std::string::npos);
    EXPECT_TRUE(Get("/trace").at("traceEvents").is_array());
    EXPECT_EQ(Get("/timeline").at("tracks").at(0).at("unitName"), "only");
    EXPECT_NE(Ask("GET", "/").mBody.find("page.js"), std::string::npos);
}

TEST_F(Site, CommandsJobs)
{
    const auto post = [&](const char* iPath, const char* iBody = "") {
        const QORWebAnswer answer = Ask("POST", iPath, {}, iBody);
        return std::to_string(answer.mStatus) + " " + json::parse(answer.mBody).value("answer", "");
    };
    EXPECT_EQ(post("/jobs/7/resume"), "409 not possible");
    EXPECT_EQ(post("/jobs/7/time", R"({"seconds": 60.5})"), "200 done");
    EXPECT_EQ(post("/jobs/7/time", R"({"seconds": 1000000000})"), "200 done");
    EXPECT_EQ(post("/jobs/7/time", R"({"seconds": null})"), "200 done");
    EXPECT_EQ(post("/jobs/7/pause"), "200 done");
    mGoOn.Open();
    WaitWhile([&] { return mOpen.GetState() != EnumHostState::Paused; });
    EXPECT_EQ(post("/jobs/7/pause"), "409 not possible");
    EXPECT_EQ(post("/jobs/7/cancel", R"({"reason": "two\nlines"})"), "200 done");
    EXPECT_TRUE(mOpen.WaitFor(cLong));
    EXPECT_EQ(mOpen.GetReason().find('\n'), std::string::npos);
    EXPECT_EQ(mOpen.GetReason().substr(0, 3), "two");
    EXPECT_EQ(post("/jobs/7/cancel"), "409 too late");
}

TEST_F(Site, GivesAJobTheTimeThatItIsTold)
{
    EXPECT_EQ(Ask("POST", "/jobs/7/time", {}, R"({"seconds": 0.0001})").mStatus, 200U); // a millisecond, and not none
    WaitWhile([&] { return !mbToldToStop; });
    mGoOn.Open();
    EXPECT_TRUE(mOpen.WaitFor(cLong));
    EXPECT_EQ(mOpen.GetStatus(), JobStoppedWithError);
}

TEST_F(Site, ShowsTheWindowThatIsAskedFor)
{
    const auto count = [&](const char* iSeconds) {
        return Get("/trace", {{"seconds", iSeconds}}).at("traceEvents").size();
    };
    EXPECT_EQ(count("60"), count("86400"));
    const auto spans = [&](const char* iSeconds) {
        const json line = Get("/timeline", {{"seconds", iSeconds}});
        return line.at("from").get<std::string>();
    };
    EXPECT_GT(spans("1"), spans("60"));
    EXPECT_GT(spans("60"), spans("86400"));
    const json usual = Get("/timeline");
    const auto part = [&](const char* iEnd, std::size_t iFrom) {
        return usual.at(iEnd).get<std::string>().substr(iFrom);
    };
    EXPECT_EQ(part("from", 17), part("to", 17)) << "a minute of so many seconds, less one minute";
    EXPECT_NE(part("from", 0), part("to", 0));
}

TEST_F(Site, SendsEventsWhenSomethingHasChanged)
{
    const auto call = std::make_shared<Call>();
    const auto gone = std::make_shared<Call>();
    gone->mbGone = true;
    const auto refused = std::make_shared<Call>();
    EXPECT_TRUE(mSite.Handle({"GET", "/events", {{"user", "anna"}}, {}, ""}, call));
    EXPECT_TRUE(mSite.Handle({"GET", "/events", {}, {}, ""}, gone));
    EXPECT_TRUE(mSite.Handle({"GET", "/events", {{"limit", "x"}}, {}, ""}, refused));
    EXPECT_FALSE(mSite.Handle({"GET", "/other", {}, {}, ""}, refused));
    EXPECT_EQ(refused->mAnswer.mStatus, 400U);
    EXPECT_TRUE(mSite.Handle({"GET", "/page.js", {}, {}, ""}, refused));
    EXPECT_EQ(refused->mAnswer.mStatus, 200U);
    EXPECT_EQ(call->mAnswer.mType, "text/event-stream; charset=utf-8");
    const auto stateIn = [&](std::size_t iPart) {
        const std::string& part = call->mParts.at(iPart);
        constexpr std::string_view cHead = "event: jobs\ndata: ";
        EXPECT_EQ(part.substr(0, cHead.size()), cHead);
        EXPECT_EQ(part.find('\n', cHead.size()), part.size() - 2) << "one line of data";
        return json::parse(part.substr(cHead.size())).at("jobs").at(0).at("state").get<std::string>();
    };
    ASSERT_EQ(call->CountParts(), 1U);
    EXPECT_EQ(stateIn(0), "running");
    const auto twoRounds = std::chrono::steady_clock::now() + 1'100ms;
    WaitWhile([&] { return std::chrono::steady_clock::now() < twoRounds; });
    EXPECT_EQ(call->CountParts(), 1U) << "there is no news";
    mGoOn.Open();
    WaitWhile([&] { return call->CountParts() < 2; });
    EXPECT_EQ(stateIn(1), "ended");
    EXPECT_EQ(gone->CountParts(), 1U);
    const auto isClosed = [](const Call& iCall) {
        const std::lock_guard hold(iCall.mMutex);
        return iCall.mbClosed;
    };
    EXPECT_FALSE(isClosed(*call));
    mMonitor.Watch({.mList = []() -> std::vector<QORMonitorOpenJob> { throw std::runtime_error("no list"); }});
    WaitWhile([&] { return !isClosed(*call); });
    mMonitor.Forget();
    {
        QORMonitorSite other(mMonitor);
        EXPECT_TRUE(other.Handle({"GET", "/events", {}, {}, ""}, refused));
        EXPECT_FALSE(isClosed(*refused));
    }
    EXPECT_TRUE(isClosed(*refused)) << "with its site";
    EXPECT_TRUE(mSite.Handle({"HEAD", "/events", {}, {}, ""}, refused));
    EXPECT_EQ(refused->mAnswer.mStatus, 405U);
}

TEST_F(Site, HasSoManyStreamsAndNoMore)
{
    std::vector<std::shared_ptr<Call>> calls;
    const auto open = [&] {
        calls.push_back(std::make_shared<Call>());
        EXPECT_TRUE(mSite.Handle({"GET", "/events", {}, {}, ""}, calls.back()));
        return calls.back()->mAnswer.mStatus;
    };
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(open(), 200U);
    EXPECT_EQ(open(), 503U);
    EXPECT_EQ(calls.back()->mAnswer.mHeaders, (QORWebAnswer{.mHeaders = {{"Retry-After", "10"}}}.mHeaders));
    EXPECT_EQ(calls.back()->mAnswer.mBody, R"({"error":"too many pages are open"})");
    {
        const std::lock_guard hold(calls.front()->mMutex);
        calls.front()->mbGone = true;
    }
    mGoOn.Open(); // there is news, and who has gone is noticed
    WaitWhile([&] { return open() != 200U; });
}
