#include "tests/monitor/WebTest.h"

#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace
{

#ifdef QORJOB_SANITIZED
constexpr bool cSanitized = true;
#else
constexpr bool cSanitized = false;
#endif

TEST_F(Web, SaysInEveryAnswerWhatABrowserMayNot)
{
    Start();
    EXPECT_EQ(Connect("GET /a?b=c HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n").ReadAll(),
              "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nX-Content-Type-Options: nosniff\r\n"
              "Referrer-Policy: no-referrer\r\nCache-Control: no-store\r\n"
              "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
              "img-src 'self' data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n"
              "X-Frame-Options: DENY\r\nCross-Origin-Resource-Policy: same-origin\r\nContent-Length: 11\r\nConnection: "
              "close\r\n\r\nGET /a b=c ");
    EXPECT_NE(Connect("GET /..\r\n\r\n").ReadAll().find("\r\nX-Frame-Options: DENY\r\n"), std::string::npos);
}

TEST_F(Web, TakesRequestsByTheRules)
{
    QORWebConfig config;
    config.mMostHeaderBytes = 10'000;
    config.mMostBodyBytes = 1'000;
    Start(config);
    const std::string host = " HTTP/1.1\r\nHost: localhost\r\n";
    const std::string chunked = "POST /" + host + "Transfer-Encoding: chunked\r\n\r\n";
    const struct
    {
        std::string mBytes;
        const char* mStatus;
        const char* mError = "";
    } cases[] = {
        {cGet, "200"},
        {"GET / HTTP/1.0\r\n\r\n", "200"},
        {"BREW /" + host + "\r\n", "200"}, // methods are the handler's
        {"POST /" + host + "Content-Length: 1000\r\n\r\n" + std::string(1'000, 'x'), "200"},
        {chunked + "3\r\nabc\r\n0\r\n\r\n", "200"},
        {"GET / HTTP/1.1\r\n\r\n", "400", "there is no Host"},
        {"GET /" + host + "Host: localhost\r\n\r\n", "400", "there is more than one Host"},
        {"GET / HTTP/1.1\r\nHost: example\r\n\r\n", "403"},
        {"POST /" + host + "Origin: http://example\r\nContent-Length: 1000\r\n\r\n", "403"}, // at once
        {"GET /../a" + host + "\r\n", "400", "the address is malformed"},
        {"GET /%00" + host + "\r\n", "400"},
        {"GET http://localhost/" + host + "\r\n", "400"},
        {"OPTIONS *" + host + "\r\n", "400"},
        {"GET /" + std::string(8'191, 'a') + host + "\r\n", "200"},
        {"GET /" + std::string(8'192, 'a') + host + "\r\n", "414", "the address is too long"},
        {"GET /" + std::string(10'000, 'a') + host + "\r\n", "431"},
        {"GET /" + host + "A: " + std::string(10'000, 'a') + "\r\n\r\n", "431"},
        {"GET /" + host + "A: " + std::string(200'000, 'a'), "431"},
        {std::string(20'000, 'a'), "431", "the head is too large"},
        {"POST /" + host + "Content-Length: 1001\r\n\r\n", "413", "the body is too large"},
        {"POST /" + host + "Content-Length: 1000000000\r\n\r\n" + std::string(500'000, 'x'), "413"},
        {chunked + "3e9\r\n", "413"},
        {chunked + "3b9aca00\r\n" + std::string(500'000, 'x'), "413"},
        {chunked + "FFFFFFFFFFFFFFFFF\r\n", "400"},
        {chunked + "x\r\n", "400", "the request is malformed"},
        {chunked + "3\r\nabcde\r\n", "400"},
        {chunked + "3;" + std::string(200'000, 'a'), "431"},
        {"POST /" + host + "Content-Length: -1\r\n\r\n", "400"},
        {"POST /" + host + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n", "400"},
        {"POST /" + host + "Content-Length: 99999999999999999999\r\n\r\n", "400"},
        {"POST /" + host + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n", "400"},
        {"POST /" + host + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", "400"},
        {"POST /" + host + "Transfer-Encoding: identity\r\n\r\n", "400",
         "the body is encoded in a way that isn't known here"},
        {"GET / HTTP/2.0\r\n\r\n", "400"},
        {"GET / HTTX\r\n\r\n", "400"},
        {"GET  / HTTP/1.1\r\n\r\n", "400"},
        {"GET /\r\n\r\n", "400"},
        {"G\xFFT / HTTP/1.1\r\n\r\n", "400"},
        {std::string("\0\0\0\0\r\n\r\n", 8), "400"},
        {"\x16\x03\x01\x02\x01\x01\xFC\x03\x03\r\n\r\n", "400"}, // TLS
        {"GET /" + host + "A b: c\r\n\r\n", "400"},
        {"GET /" + host + "A : c\r\n\r\n", "400"},
        {"GET /" + host + std::string("A: \0\r\n\r\n", 8), "400"},
        {"GET /throw" + host + "\r\n", "500"},
        {"GET /strange" + host + "\r\n", "500", "unknown failure"},
        {"GET /drop" + host + "\r\n", "500", "nobody has answered"},
    };
    int handled = 0;
    for (const auto& [bytes, status, error] : cases)
    {
        handled += *status == '2' ? 2 : *status == '5' ? 1 : 0;
        RawClient client = Connect(bytes);
        EXPECT_EQ(client.ReadUntil("\r\n").substr(0, 12), std::string("HTTP/1.1 ") + status) << bytes.substr(0, 200);
        if (*error != 0)
        {
            const std::string body = Body(client.ReadUntil("}"));
            EXPECT_NE(body.find("\"" + std::string(error) + "\""), std::string::npos) << body;
        }
        if (*status != '2')
            continue;
        EXPECT_EQ(GetStatus(bytes, true), "HTTP/1.1 200") << "of a client that sends no more: " << bytes.substr(0, 200);
        EXPECT_EQ(GetStatus(bytes.substr(0, bytes.size() - 1), true), "") << "a half of: " << bytes.substr(0, 200);
    }
    EXPECT_EQ(mHandled, handled) << "none that was refused";
    EXPECT_EQ(Body(Connect("GET /throw HTTP/1.0\r\n\r\n").ReadAll()), R"({"error":"no \"luck\""})");
}

TEST_F(Web, EndsWithItsAnswerForAClientThatIsStillSending)
{
    Start();
    RawClient client =
        Connect("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9000000\r\n\r\n" + Filled(500'000));
    EXPECT_EQ(Body(client.ReadAll()), R"({"error":"the body is too large"})");
    EXPECT_TRUE(client.HasEnded());
}

TEST_F(Web, SendsAllOfAnAnswerToAClientThatSendsNoMore)
{
    Start();
    RawClient client = Connect(cLater);
    WaitForCall()->Answer({.mBody = Filled(8'000'000)});
    client.EndSending();
    EXPECT_TRUE(Body(client.ReadAll()) == Filled(8'000'000));
    EXPECT_TRUE(client.HasEnded());
}

TEST_F(Web, TakesARequestInAnyPieces)
{
    Start();
    RawClient client(mpServer->GetPort());
    const std::string request = "POST /a HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n"
                                "3;x=y\r\nabc\r\n2\r\nde\r\n0\r\nTrailer: t\r\n\r\n";
    for (const char& character : request)
        ASSERT_TRUE(client.Send({&character, 1}));
    EXPECT_EQ(Body(client.ReadUntil("abcde")), "POST /a abcde");

    client.Send("POST /b HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(client.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.Send("yz");
    EXPECT_EQ(Body(client.ReadUntil("yz")), "POST /b yz");
}

TEST_F(Web, AnswersPipelinedRequestsInTheirOrder)
{
    Start();
    RawClient client = Connect(cLater + "HEAD /x HTTP/1.1\r\nHost: localhost\r\n\r\n" + cLater + cGet +
                               "GET /last HTTP/1.0\r\n\r\nGET /never HTTP/1.1\r\nHost: localhost\r\n\r\n");
    WaitForCall()->Answer({.mType = "a\r\nb", .mBody = "first"});
    WaitForCall()->Answer({.mBody = "again"}); // and dropped
    WaitForCall(1)->Answer({.mBody = "third"});
    const std::string all = client.ReadAll();
    EXPECT_TRUE(client.HasEnded());
    std::size_t place = 0;
    for (const char* part : {"Content-Type: a  b\r\n", "Content-Length: 5", "\r\n\r\nfirstHTTP/1.1 200",
                             "Content-Length: 8", "\r\n\r\nHTTP/1.1 200", "\r\n\r\nthirdHTTP/1.1 200",
                             "\r\n\r\nGET / HTTP/1.1 200", "Connection: close\r\n\r\nGET /last "})
    {
        place = all.find(part, place);
        ASSERT_NE(place, std::string::npos) << part << " in " << all;
    }
    EXPECT_TRUE(all.ends_with("close\r\n\r\nGET /last ")) << all;
    EXPECT_EQ(mGone, 0);
}

TEST_F(Web, HoldsMoreRequestsThanItLooksAhead)
{
    Start();
    std::string many = cLater;
    for (int index = 0; index < 2'000; ++index)
        many += cGet;
    RawClient client = Connect(many + "GET /last HTTP/1.0\r\n\r\n");
    WaitForCall()->Answer({});
    const std::string all = client.ReadAll();
    std::size_t count = 0;
    for (std::size_t place = 0; (place = all.find("HTTP/1.1 200", place)) != std::string::npos; ++place)
        ++count;
    EXPECT_EQ(count, 2'002U);
    EXPECT_TRUE(all.ends_with("GET /last "));

    RawClient endless = Connect(cLater);
    WaitForCall(1);
    endless.SetLimit(200ms);
    EXPECT_FALSE(endless.Send(Filled(64'000'000))) << "more than the system and the server take";
}

TEST_F(Web, StreamsInChunksOrUntilTheEnd)
{
    Start();
    RawClient newer = Connect(cStream + cGet);
    const Call stream = WaitForCall();
    EXPECT_TRUE(stream->Send("0123456789abcdef"));
    EXPECT_NE(newer.ReadUntil("\r\n10\r\n0123456789abcdef\r\n").find("\r\nTransfer-Encoding: chunked\r\n"),
              std::string::npos);
    EXPECT_TRUE(stream->Send(""));
    stream->Close();
    EXPECT_FALSE(stream->Send("late"));
    EXPECT_EQ(newer.ReadUntil("200"), "0\r\n\r\nHTTP/1.1 200"); // and on to the next

    RawClient older = Connect("GET /stream HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
    WaitForCall(1)->Send("first ");
    older.ReadUntil("first ");
    WaitForCall(1)->Send("second");
    mCalls.clear(); // and so closed
    EXPECT_EQ(older.ReadAll(), "second");
    EXPECT_TRUE(older.HasEnded());
    EXPECT_EQ(mGone, 0);

    RawClient head = Connect("HEAD /stream HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_TRUE(head.ReadAll().ends_with("\r\n\r\n"));
    EXPECT_FALSE(WaitForCall()->Send("nobody listens"));
    EXPECT_EQ(mGone, 1);
}

TEST_F(Web, KeepsTheOrderOfWhatEachThreadSends)
{
    Start();
    RawClient client = Connect("GET /stream HTTP/1.0\r\n\r\n");
    const Call stream = WaitForCall();
    constexpr int cThreads = 3;
    constexpr int cParts = 2'000;
    std::string all;
    std::thread reader([&] { all = Body(client.ReadAll()); });
    RunOnThreads(cThreads, [&](int iThread) {
        for (int index = 0; index < cParts; ++index)
            EXPECT_TRUE(stream->Send(std::to_string(iThread) + ":" + std::to_string(index) + ";"));
    });
    stream->Close();
    reader.join();
    int next[cThreads] = {};
    for (std::size_t begin = 0; begin < all.size(); begin = all.find(';', begin) + 1)
    {
        int& expected = next[all[begin] - '0'];
        ASSERT_EQ(all.substr(begin + 2, all.find(';', begin) - begin - 2), std::to_string(expected));
        ++expected;
    }
    for (const int count : next)
        EXPECT_EQ(count, cParts);
}

TEST_F(Web, DropsWhoDoesNotReadAStream)
{
    QORWebConfig config;
    config.mMostUnsentBytes = 32'000'000; // more than the system takes
    config.mRequestTime = 1h;
    Start(config);
    RawClient client(mpServer->GetPort(), 4'096);
    client.Send(cStream);
    const Call stream = WaitForCall();
    EXPECT_TRUE(stream->Send(Filled(20'000'000)));
    client.ReadUntil("xxx"); // so it is being written
    EXPECT_TRUE(stream->Send(Filled(12'000'000)));
    EXPECT_FALSE(stream->Send("x"));
    stream->Close(); // it isn't answered by that
    ASSERT_TRUE(WaitFor([&] { return mGone == 1; }));
    EXPECT_FALSE(stream->Send("x"));
}

TEST_F(Web, DropsWhoDoesNotTakeAnAnswerInTime)
{
    QORWebConfig config;
    config.mRequestTime = 100ms;
    Start(config);
    RawClient client(mpServer->GetPort(), 4'096);
    client.Send(cLater);
    WaitForCall()->Answer({.mBody = Filled(8'000'000)});
    EXPECT_FALSE(mpServer->WaitUntilSent(1ms));
    EXPECT_TRUE(mpServer->WaitUntilSent(10s));
    EXPECT_LT(client.ReadAll().size(), 8'000'000u);
}

TEST_F(Web, TellsThatTheClientHasGone)
{
    Start();
    for (const std::string& request :
         {cLater, cStream, "POST /later HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\n\r\nx" + cGet})
    {
        mGone = 0;
        {
            RawClient client = Connect(request);
            WaitForCall();
        }
        EXPECT_TRUE(WaitFor([this] { return mGone == 1; })) << request;
        const Call call = WaitForCall();
        bool bTold = false;
        call->OnGone([&] { bTold = true; });
        EXPECT_TRUE(bTold);
        EXPECT_FALSE(call->Send("x"));
        call->Answer({});
        mCalls.clear();
    }
}

TEST_F(Web, EndsRequestsThatDoNotComeInTime)
{
    QORWebConfig config;
    config.mRequestTime = config.mIdleTime = 100ms;
    Start(config);
    RawClient patient = Connect(cLater); // its answer may take any time
    WaitForCall();
    for (const std::string begin : {"G", "GET / HTTP/1.1\r\nHost: localhost\r\nA: ",
                                    "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000000\r\n\r\n"})
    {
        RawClient client = Connect(begin);
        client.SetLimit(5ms);
        std::string answer;
        EXPECT_TRUE(WaitFor([&] { // a byte now and then
            client.Send("a");
            answer += client.ReadAll();
            return client.HasEnded();
        })) << begin;
        EXPECT_EQ(answer.substr(0, 12), "HTTP/1.1 408");
        EXPECT_EQ(Body(answer), R"({"error":"the request hasn't come whole in time"})");
    }
    WaitForCall()->Answer({.mBody = "at last"});
    EXPECT_EQ(Body(patient.ReadUntil("last")), "at last");

    for (const char* begin : {"", cGet.c_str()})
    {
        RawClient idle = Connect(begin);
        EXPECT_EQ(idle.ReadAll().empty(), *begin == 0);
        EXPECT_TRUE(idle.HasEnded());
    }
}

TEST_F(Web, ServesOneMoreWhenManyConnectionsAreLeftOpen)
{
    QORWebConfig config;
    config.mMostConnections = 20;
    config.mIdleTime = config.mRequestTime = 1h;
    Start(config);
    RawClient busy = Connect(cLater);
    WaitForCall();
    std::vector<RawClient> left;
    for (int index = 0; index < 300; ++index)
        left.push_back(Connect(index % 3 == 0 ? "" : index % 3 == 1 ? "GET / HT" : cGet));
    EXPECT_EQ(GetStatus(cGet), "HTTP/1.1 200");
    left.front().ReadAll();
    EXPECT_TRUE(left.front().HasEnded());
    WaitForCall()->Answer({.mBody = "still here"});
    EXPECT_EQ(Body(busy.ReadUntil("here")), "still here");
}

TEST_F(Web, LetsClientsWaitWhileAllConnectionsAreAtWork)
{
    QORWebConfig config;
    config.mMostConnections = 2;
    Start(config);
    RawClient first = Connect(cLater);
    const Call call = WaitForCall();
    {
        RawClient second = Connect(cLater);
        WaitForCall(1);
        RawClient third = Connect(cGet);
        third.SetLimit(50ms);
        EXPECT_EQ(third.ReadAll(), "");
        EXPECT_FALSE(third.HasEnded());
        call->Answer({});
        third.SetLimit(10s);
        EXPECT_EQ(Body(third.ReadUntil("GET / ")), "GET / ");
    }
}

TEST_F(Web, WaitsForDescriptorsWithoutSpinning)
{
    if (cSanitized)
        GTEST_SKIP() << "a sanitizer that finds no descriptor for itself takes sound memory for bad";
    Start();
    RawClient busy = Connect(cLater);
    WaitForCall();
    rlimit before{};
    RawClient client = ConnectWithTheLastDescriptor(mpServer->GetPort(), before);
    const std::clock_t begin = std::clock();
    client.SetLimit(300ms);
    EXPECT_EQ(client.ReadAll(), "");
    EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 10);
    ::setrlimit(RLIMIT_NOFILE, &before);
    client.SetLimit(10s);
    EXPECT_EQ(Body(client.ReadUntil("GET / ")), "GET / ");
}

TEST_F(Web, TakesTheDescriptorOfAConnectionThatIsLeftOpen)
{
    if (cSanitized)
        GTEST_SKIP() << "a sanitizer that finds no descriptor for itself takes sound memory for bad";
    Start();
    RawClient left = Connect(cGet);
    left.ReadUntil("GET / ");
    rlimit before{};
    RawClient client = ConnectWithTheLastDescriptor(mpServer->GetPort(), before);
    EXPECT_EQ(Body(client.ReadUntil("GET / ")), "GET / ");
    ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(Web, StopsWithAllAnswersSent)
{
    Start();
    RawClient idle = Connect(cGet);
    idle.ReadUntil("GET / ");
    RawClient pending = Connect(cLater);
    const Call call = WaitForCall();
    mpServer->StopListening();
    mpServer->StopListening();
    EXPECT_EQ(idle.ReadAll(), "");
    EXPECT_TRUE(idle.HasEnded());
    EXPECT_THROW(Connect(cGet), std::runtime_error);

    call->Answer({.mBody = Filled(8'000'000)});
    std::thread reader([&] {
        const std::string answer = pending.ReadAll();
        EXPECT_NE(answer.find("\r\nConnection: close\r\n"), std::string::npos);
        EXPECT_EQ(Body(answer), Filled(8'000'000));
    });
    EXPECT_TRUE(mpServer->WaitUntilSent(10s));
    mpServer.reset();
    reader.join();
}

TEST_F(Web, WaitsForAStreamOnlyOnceItIsClosed)
{
    constexpr std::size_t cMuch = 32'000'000; // more than the system takes
    Start({.mMostUnsentBytes = 2 * cMuch});
    RawClient reader = Connect(cStream);
    const Call call = WaitForCall();
    EXPECT_TRUE(call->Send(std::string(cMuch, 'x')));
    EXPECT_TRUE(mpServer->WaitUntilSent(5s)); // less than it may take to be read
    call->Close();
    EXPECT_FALSE(mpServer->WaitUntilSent(1ms));
    std::thread waiter([&] { EXPECT_TRUE(mpServer->WaitUntilSent(5s)); });
    EXPECT_GT(reader.ReadUntil("\r\n0\r\n").size(), cMuch);
    waiter.join();
}

TEST_F(Web, EndsWithCallsThatAreAnsweredLater)
{
    Start();
    RawClient client = Connect(cLater);
    RawClient reader = Connect(cStream);
    WaitForCall(1);
    std::thread late([calls = mCalls] { // at about the same time
        for (const Call& call : calls)
        {
            call->Send("x");
            call->Answer({});
        }
    });
    mpServer.reset();
    late.join();
    EXPECT_GE(mGone, 1);
    for (const Call& call : mCalls)
    {
        call->Answer({});
        EXPECT_FALSE(call->Send("x"));
    }
    client.ReadAll();
    EXPECT_TRUE(client.HasEnded());
}

TEST_F(Web, RefusesToListenWhereItWouldBeUnsafe)
{
    const std::string token(16, 't');
    Start();
    const struct
    {
        QORWebConfig mConfig;
        const char* mReason;
    } cases[] = {
        {{.mAddress = "0.0.0.0"}, "without a token the server listens on loopback only, not at 0.0.0.0"},
        {{.mAddress = "::"}, "without a token the server listens on loopback only, not at ::"},
        {{.mAddress = "localhost"}, "'localhost' is not the number of an address"},
        {{.mAccess = {.mToken = token.substr(1)}}, "a token has to have 16 characters at least"},
        {{.mPort = mpServer->GetPort()}, "can't listen at port"},
    };
    for (const auto& [config, reason] : cases)
    {
        try
        {
            const QORWebServer server(config, {});
            ADD_FAILURE() << reason;
        }
        catch (const std::runtime_error& failure)
        {
            EXPECT_TRUE(std::string(failure.what()).starts_with(reason)) << failure.what();
        }
    }

    Start({.mAddress = "0.0.0.0", .mAccess = {.mToken = token}});
    const std::string get = "GET /jobs HTTP/1.1\r\nHost: example\r\n";
    RawClient client = Connect(get + "\r\n" + get + "AUTHORIZATION: Bearer " + token + "\r\n\r\n");
    EXPECT_NE(client.ReadUntil("}").find("\r\nWWW-Authenticate: Bearer\r\n"), std::string::npos);
    EXPECT_EQ(Body(client.ReadUntil("jobs ")), "GET /jobs ");
}

} // namespace
