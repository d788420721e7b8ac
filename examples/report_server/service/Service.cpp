#include "service/Service.h"

#include "Errors.h"
#include "Files.h"
#include "Log.h"
#include "Text.h"
#include "client/Message.h"
#include "service/Incoming.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>
#include <utility>

namespace
{

constexpr std::chrono::milliseconds cMoment{20};

QORWebAnswer MakeError(unsigned iStatus, std::string_view iText)
{
    QORWebAnswer answer{.mStatus = iStatus, .mBody = QORMONITOR::MakeErrorJson(iText)};
    if (iStatus == 503)
        answer.mHeaders.emplace_back("Retry-After", "1");
    return answer;
}

QORWebAnswer RefuseMethod(const std::string& iMethod, const char* iAllowed)
{
    QORWebAnswer answer = MakeError(405, "there is no " + iMethod + " of it");
    answer.mHeaders.emplace_back("Allow", iAllowed);
    return answer;
}

QORWebConfig MakeConfig(const Options& iOptions)
{
    constexpr std::size_t cMostBodyBytes = 64 * 1'024;
    const std::size_t colon = std::min(iOptions.mListen.rfind(':'), iOptions.mListen.size());
    QORWebConfig config{.mAddress = iOptions.mListen.substr(0, colon), .mMostBodyBytes = cMostBodyBytes};
    if (colon == iOptions.mListen.size() || !ParseNumber(iOptions.mListen.substr(colon + 1), config.mPort))
        throw SetupError("--listen takes an address and a port, such as 127.0.0.1:8080, not \"" + iOptions.mListen +
                         "\"");
    if (config.mAddress.starts_with('[') && config.mAddress.ends_with(']'))
        config.mAddress = config.mAddress.substr(1, config.mAddress.size() - 2);
    if (!iOptions.mTokenFile.empty())
        config.mAccess.mToken = ReadToken(iOptions.mTokenFile);
    config.mAccess.mHosts = iOptions.mHostNames;
    config.mAccess.mOpenPaths = QORMonitorSite::cOpenPaths;
    return config;
}

} // namespace

Service::Service(Server& ioServer, const Mailboxes& iMailboxes, QORMonitor& ioMonitor, const Options& iOptions,
                 const std::vector<Request>& iRequests)
    : mServer(ioServer), mMailboxes(iMailboxes), mMonitor(ioMonitor), mSite(ioMonitor)
{
    const QORWebConfig config = MakeConfig(iOptions);
    for (const Request& request : iRequests)
        Submit(mServer.MakeId(), request);
    mpServer = std::make_unique<QORWebServer>(
        config,
        [this](const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall) { Handle(iRequest, iCall); });
    mAddress = config.mAddress.find(':') == std::string::npos ? config.mAddress : "[" + config.mAddress + "]";
}

std::string Service::GetAddress() const
{
    return "http://" + mAddress + ":" + std::to_string(mpServer->GetPort()) + "/";
}

void Service::Rest(std::chrono::milliseconds iTime)
{
    mpResults->AnswerOverdue();
    std::this_thread::sleep_for(iTime);
}

bool Service::Drain()
{
    constexpr std::chrono::seconds cSending{10};
    {
        const std::lock_guard hold(mMutex);
        mbDraining = true;
    }
    while (!mServer.Drain(cMoment))
        mpResults->AnswerOverdue();
    while (mpResults->HasFresh()) // whoever asks now and then will come back for it
        Rest(cMoment);
    mpServer->StopListening();
    return mpServer->WaitUntilSent(cSending);
}

void Service::Handle(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall)
{
    constexpr std::string_view cRequests = "/requests";
    const bool bReads = iRequest.mMethod == "GET" || iRequest.mMethod == "HEAD";
    try
    {
        if (iRequest.mPath == cRequests && iRequest.mMethod == "POST")
            Post(iRequest, iCall);
        else if (iRequest.mPath.starts_with("/requests/"))
            HandleOne(iRequest, iCall);
        else if (iRequest.mPath == "/mailboxes" && bReads)
        {
            std::ostringstream text;
            mMailboxes.Write(text);
            iCall->Answer({.mType = "text/plain; charset=utf-8", .mBody = text.str()});
        }
        else if (iRequest.mPath == cRequests || iRequest.mPath == "/mailboxes")
            iCall->Answer(RefuseMethod(iRequest.mMethod, iRequest.mPath == cRequests ? "POST" : "GET, HEAD"));
        else if (!(bReads ? mSite.Handle(iRequest, iCall) : Obey(iRequest, iCall)))
            iCall->Answer(MakeError(404, "there is nothing"));
    }
    catch (const RequestError& error)
    {
        iCall->Answer(MakeError(400, error.what()));
    }
}

/// Whoever reads the log wants to know who was told what, and what came of it.
bool Service::Obey(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall)
{
    std::optional<QORWebAnswer> answer = mSite.Answer(iRequest);
    if (!answer)
        return false;
    LogInfo(OnOneLine(iRequest.mMethod + " " + iRequest.mPath + " " + iRequest.mBody + ": " + answer->mBody));
    iCall->Answer(std::move(*answer));
    return true;
}

void Service::Post(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall)
{
    RefuseUnknown(iRequest, {"wait", "lang", "cancel-when-gone"});
    const std::chrono::seconds wait = ReadWait(iRequest);
    const bool bCancelWhenGone = ReadCancelWhenGone(iRequest);
    Request request = ReadRequest(iRequest);
    const int id = mServer.MakeId(); // one that isn't accepted leaves a gap
    std::function<void()> gone;
    if (bCancelWhenGone)
        gone = [this, id] { Cancel(id); };
    {
        const std::lock_guard hold(mMutex);
        if (mbDraining)
            return iCall->Answer(MakeError(503, "the server takes no requests any more"));
        if (!Submit(id, std::move(request)))
            return iCall->Answer(MakeError(503, "the server has too much to do; try it again later"));
    }
    if (wait.count() == 0)
        iCall->Answer(Results::MakeReceipt(id));
    else
        mpResults->Answer(id, iCall, wait, std::move(gone));
}

/// False when it isn't accepted.
bool Service::Submit(int iId, Request iRequest)
{
    iRequest.mLine = iId;
    LogInfo("received: " + KindOf(iRequest) + " for " + iRequest.mUser + ", " + iRequest.mProject + ": " +
                iRequest.mBody,
            iId);
    const QBase::PtrI<QORChannel> channel = mpResults->Open(iId, iRequest.mLocale);
    const EnumHostSubmit result = mServer.Submit(iId, PackRequest(iRequest).Get(), channel.Get());
    if (result == EnumHostSubmit::Full || result == EnumHostSubmit::Closed)
    {
        mpResults->Drop(iId);
        return false;
    }
    mpResults->Accept(iId);
    return true;
}

void Service::Cancel(int iRequest)
{
    if (QORHostJob job = mMonitor.FindHandle(iRequest))
        if (job.Cancel("its client has gone") == EnumHostAnswer::Done)
            LogInfo("cancelled: its client has gone", iRequest);
}

void Service::HandleOne(const QORWebRequest& iRequest, const std::shared_ptr<QORWebCall>& iCall)
{
    const std::string number = iRequest.mPath.substr(iRequest.mPath.rfind('/') + 1);
    int id = 0;
    if (iRequest.mPath != "/requests/" + number || !ParseNumber(number, id))
        iCall->Answer(MakeError(404, "there is no such request"));
    else if (iRequest.mMethod == "DELETE")
    {
        QORWebRequest cancel = iRequest;
        cancel.mMethod = "POST";
        cancel.mPath = "/jobs/" + number + "/cancel";
        Obey(cancel, iCall);
    }
    else if (iRequest.mMethod == "GET" || iRequest.mMethod == "HEAD")
    {
        RefuseUnknown(iRequest, {"wait"});
        mpResults->Answer(id, iCall, ReadWait(iRequest));
    }
    else
        iCall->Answer(RefuseMethod(iRequest.mMethod, "GET, HEAD, DELETE"));
}
