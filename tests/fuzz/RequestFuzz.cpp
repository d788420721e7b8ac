// What becomes of any file of requests, and of any request that comes by the web. No line of a file is lost: it is a
// request, a command, a session, or named as bad. What was read is read again of its own text.
#include "examples/report_server/Errors.h"
#include "examples/report_server/Text.h"
#include "examples/report_server/client/Request.h"
#include "examples/report_server/service/Incoming.h"
#include "tests/fuzz/InputFile.h"

#include <nlohmann/json.hpp>

#include <set>
#include <tuple>

namespace
{

auto FieldsOf(const Request& iRequest)
{
    return std::tie(iRequest.mKind, iRequest.mUser, iRequest.mProject, iRequest.mPriority, iRequest.mBody,
                    iRequest.mDestination);
}

std::string BodyOf(const Request& iRequest)
{
    return iRequest.mBody + (iRequest.mDestination.empty() ? "" : "; deliver to " + iRequest.mDestination);
}

void TryAgain(const Request& iRequest)
{
    Require(!iRequest.mUser.empty() && !iRequest.mProject.empty() && !BodyOf(iRequest).empty());
    const Request again = ParseRequest(KindOf(iRequest) + "|" + iRequest.mUser + "|" + iRequest.mProject + "|" +
                                       std::to_string(iRequest.mPriority) + "|" + BodyOf(iRequest));
    Require(FieldsOf(again) == FieldsOf(iRequest));
}

void TryAgain(const Control& iControl)
{
    const auto fieldsOf = [](const Control& iEach) {
        return std::tie(iEach.mKind, iEach.mJob, iEach.mStep, iEach.mStepOf, iEach.mMilliseconds);
    };
    Require(iControl.mJob > 0 && fieldsOf(ParseControl(ToText(iControl))) == fieldsOf(iControl));
}

void TryFile(std::string_view iText)
{
    const std::string path = WriteInput(iText);
    const RequestFile file = ReadRequests(path);
    std::set<int> taken;
    for (const std::string& bad : file.mBadLines)
        Require(taken.insert(LineOf(bad, path)).second);
    for (const Request& request : file.mRequests)
    {
        Require(taken.insert(request.mLine).second);
        TryAgain(request);
    }
    std::size_t controls = 0;
    for (int line = 1; !iText.empty(); ++line)
    {
        std::string_view text = Trim(TakeUpTo('\n', iText));
        const std::string_view first = Trim(text.substr(0, text.find('|')));
        const bool bNothing = text.empty() || text.front() == '#';
        Require(!bNothing || !taken.contains(line));
        if (!bNothing && first != "session" && !taken.contains(line))
            ++controls;
    }
    Require(controls == file.mControls.size());
    for (const Control& control : file.mControls)
        TryAgain(control);
}

Request ReadWeb(const char* iType, const std::string& iBody)
{
    return ReadRequest(
        {.mMethod = "POST", .mPath = "/requests", .mHeaders = {{"content-type", iType}}, .mBody = iBody});
}

void TryWeb(const char* iType, const std::string& iBody)
{
    try
    {
        const Request request = ReadWeb(iType, iBody);
        const nlohmann::json json = {
            {"kind", KindOf(request)},     {"user", request.mUser},
            {"project", request.mProject}, {"priority", request.mPriority},
            {"body", BodyOf(request)},     {"language", request.mLocale == cGerman ? "de" : "en"}};
        const Request again = ReadWeb("application/json", json.dump());
        Require(FieldsOf(again) == FieldsOf(request) && again.mLocale == request.mLocale);
    }
    catch (const RequestError&)
    {
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    UseUtf8();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const std::string_view text = ToText(iData, iSize);
    TryFile(text);
    TryWeb("text/plain", std::string(text));
    TryWeb("application/json", std::string(text));
    return 0;
}
