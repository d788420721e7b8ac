// What becomes of any target and any headers of a request. The first line is the target, the second the method; then
// come headers. What is taken of a target has to come out of its own encoding again, and nobody is served who may not
// be.
#include "monitor/ListQuery.h"
#include "monitor/QORWeb.h"
#include "tests/fuzz/Fuzz.h"

namespace
{

const std::string cToken = "0123456789abcdef";

std::string Encode(std::string_view iText)
{
    constexpr std::string_view cDigits = "0123456789ABCDEF";
    std::string encoded;
    for (const unsigned char character : iText)
        encoded.append({'%', cDigits[character / 16], cDigits[character % 16]});
    return encoded;
}

std::string MakeLower(std::string iText)
{
    for (char& character : iText)
    {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character + 32);
    }
    return iText;
}

void TryTarget(QORWebRequest& ioRequest, const std::string& iTarget)
{
    if (!ioRequest.SetTarget(iTarget))
        return Require(ioRequest.mPath.empty() && ioRequest.mQuery.empty());
    Require(ioRequest.mPath.starts_with('/') && ioRequest.mQuery.size() <= 64);
    for (const char* bad : {"//", "/../", "/./", "\\"})
        Require((ioRequest.mPath + "/").find(bad) == std::string::npos ||
                (*bad == '/' && ioRequest.mPath.ends_with('/')));

    std::string target = "/" + Encode(std::string_view(ioRequest.mPath).substr(1)) + "?";
    for (const auto& [name, value] : ioRequest.mQuery)
        target += Encode(name) + "=" + Encode(value) + "&";
    QORWebRequest again;
    Require(again.SetTarget(target) && again.mPath == ioRequest.mPath && again.mQuery == ioRequest.mQuery);
}

/// A list's query is read, or refused with words for who has sent it.
void TryList(const QORWebRequest& iRequest)
{
    try
    {
        const QORMonitorQuery query = QORMONITOR::ReadListQuery(iRequest);
        Require(query.mUser == iRequest.GetQuery("user") && query.mSearch == iRequest.GetQuery("search"));
        Require(query.mLimit >= 1 && query.mLimit <= 500 && query.mOlder.count() >= 0);
    }
    catch (const QORMONITOR::BadRequest& refusal)
    {
        Require(!iRequest.mQuery.empty() && *refusal.what() != '\0');
    }
}

void TryAccess(const QORWebRequest& iRequest)
{
    const bool bToken = MakeLower(iRequest.GetHeader("authorization").substr(0, 7)) == "bearer " &&
                        iRequest.GetHeader("authorization").substr(7) == cToken;
    Require(!QORWebAccess{.mToken = cToken}.Refuse(iRequest) == (bToken || iRequest.mPath == "/"));

    if (QORWebAccess().Refuse(iRequest))
        return;
    const std::string host = MakeLower(iRequest.GetHeader("host"));
    Require(host.starts_with("localhost") || host.starts_with("127.") || host.starts_with("[") ||
            !iRequest.mHeaders.contains("host"));
    Require(iRequest.mMethod == "GET" || iRequest.mMethod == "HEAD" || !iRequest.mHeaders.contains("origin") ||
            MakeLower(iRequest.GetHeader("origin")) == "http://" + host);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    std::string_view text = ToText(iData, iSize);
    QORWebRequest request;
    TryTarget(request, std::string(TakeUpTo('\n', text)));
    TryList(request);
    request.mMethod = TakeUpTo('\n', text);
    for (const char* name : {"host", "origin", "authorization", "sec-fetch-site"})
    {
        const std::string value(TakeUpTo('\n', text));
        if (!value.empty())
            request.mHeaders[name] = value;
    }
    TryAccess(request);
    return 0;
}
