#include "monitor/QORWeb.h"

#include "monitor/Utf8.h"

#include <boost/asio/ip/address.hpp>
#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <cstddef>

namespace
{

constexpr std::size_t cMostNames = 64; // of a query

bool IsEqual(std::string_view iFirst, std::string_view iSecond) // but for upper and lower case
{
    return boost::beast::iequals({iFirst.data(), iFirst.size()}, {iSecond.data(), iSecond.size()});
}

/// The value of a hexadecimal digit, or -1.
int ValueOf(char iDigit)
{
    if (iDigit >= '0' && iDigit <= '9')
        return iDigit - '0';
    const char lower = static_cast<char>(iDigit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Nothing for what is no text of a target.
std::optional<std::string> Decode(std::string_view iText, bool ibPlusIsBlank)
{
    std::string decoded;
    decoded.reserve(iText.size());
    for (std::size_t index = 0; index < iText.size(); ++index)
    {
        char character = iText[index];
        if (character == '%')
        {
            const int high = iText.size() - index > 2 ? ValueOf(iText[index + 1]) : -1;
            const int low = high >= 0 ? ValueOf(iText[index + 2]) : -1;
            if (low < 0)
                return {};
            character = static_cast<char>(high * 16 + low);
            index += 2;
        }
        else if (character == '+' && ibPlusIsBlank)
        {
            character = ' ';
        }
        else if (character == ' ' || character == '#')
        {
            return {};
        }
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F)
            return {};
        decoded += character;
    }
    if (!QORMONITOR::IsUtf8(decoded))
        return {};
    return decoded;
}

/// Of a decoded path: whether somebody else might take it for another one.
bool IsAmbiguous(std::string_view iPath)
{
    if (iPath.find('\\') != std::string_view::npos)
        return true;
    for (std::size_t begin = 1; begin <= iPath.size();)
    {
        const std::size_t end = std::min(iPath.find('/', begin), iPath.size());
        const std::string_view segment = iPath.substr(begin, end - begin);
        if (segment == "." || segment == ".." || (segment.empty() && end < iPath.size()))
            return true;
        begin = end + 1;
    }
    return false;
}

/// In a time that doesn't depend on where they differ.
bool IsToken(std::string_view iGiven, std::string_view iToken)
{
    bool bDiffers = iGiven.size() != iToken.size();
    for (std::size_t index = 0; index < iGiven.size(); ++index)
        bDiffers |= iGiven[index] != iToken[index % iToken.size()];
    return !bDiffers;
}

/// A Host header's name without its port; empty for what is no host.
std::string_view NameOf(std::string_view iHost)
{
    const std::size_t nameEnd = iHost.starts_with('[') ? iHost.find(']') : iHost.find(':');
    const std::size_t portBegin = iHost.starts_with('[') ? iHost.find(':', nameEnd) : nameEnd;
    if (portBegin == std::string_view::npos)
        return iHost;
    const std::string_view port = iHost.substr(portBegin + 1);
    const auto isDigit = [](char iCharacter) { return iCharacter >= '0' && iCharacter <= '9'; };
    return std::all_of(port.begin(), port.end(), isDigit) ? iHost.substr(0, portBegin) : std::string_view();
}

bool IsLoopback(std::string_view iName)
{
    if (IsEqual(iName, "localhost"))
        return true;
    boost::system::error_code error;
    const bool bBrackets = iName.starts_with('[') && iName.ends_with(']');
    const std::string number(bBrackets ? iName.substr(1, iName.size() - 2) : iName);
    const auto address = boost::asio::ip::make_address(number, error);
    return !error && address.is_loopback() && address.is_v6() == bBrackets;
}

QORWebAnswer MakeRefusal(unsigned iStatus, const char* iReason)
{
    return {.mStatus = iStatus, .mBody = std::string(R"({"error": ")") + iReason + "\"}"};
}

std::string Find(const std::map<std::string, std::string>& iMap, std::string_view iName)
{
    const auto found = iMap.find(std::string(iName));
    return found == iMap.end() ? std::string() : found->second;
}

} // namespace

bool QORWebRequest::SetTarget(std::string_view iTarget)
{
    if (!iTarget.starts_with('/'))
        return false;
    const std::size_t pathEnd = std::min(iTarget.find('?'), iTarget.size());
    auto path = Decode(iTarget.substr(0, pathEnd), false);
    if (!path || IsAmbiguous(*path))
        return false;

    std::map<std::string, std::string> query;
    std::size_t names = 0;
    for (std::size_t begin = pathEnd + 1; begin < iTarget.size();)
    {
        const std::size_t end = std::min(iTarget.find('&', begin), iTarget.size());
        const std::string_view pair = iTarget.substr(begin, end - begin);
        const std::size_t nameEnd = std::min(pair.find('='), pair.size());
        auto name = Decode(pair.substr(0, nameEnd), true);
        auto value = Decode(pair.substr(std::min(nameEnd + 1, pair.size())), true);
        if (!name || !value || ++names > cMostNames)
            return false;
        if (!pair.empty())
            query[std::move(*name)] = std::move(*value);
        begin = end + 1;
    }
    mPath = std::move(*path);
    mQuery = std::move(query);
    return true;
}

std::string QORWebRequest::GetHeader(std::string_view iName) const { return Find(mHeaders, iName); }
std::string QORWebRequest::GetQuery(std::string_view iName) const { return Find(mQuery, iName); }

std::optional<QORWebAnswer> QORWebAccess::Refuse(const QORWebRequest& iRequest) const
{
    if (!mToken.empty())
    {
        constexpr std::string_view cScheme = "Bearer ";
        const std::string given = iRequest.GetHeader("authorization");
        const bool bBearer = IsEqual(std::string_view(given).substr(0, cScheme.size()), cScheme);
        if ((bBearer && IsToken(std::string_view(given).substr(cScheme.size()), mToken)) ||
            std::find(mOpenPaths.begin(), mOpenPaths.end(), iRequest.mPath) != mOpenPaths.end())
            return {};
        QORWebAnswer refusal = MakeRefusal(401, "this needs the server's token");
        refusal.mHeaders.emplace_back("WWW-Authenticate", "Bearer");
        return refusal;
    }

    // A page of another site may have had its own name pointed at this machine: then its browser takes what it asks
    // here for that site's, but names that site.
    const auto host = iRequest.mHeaders.find("host");
    const std::string_view name = host == iRequest.mHeaders.end() ? "localhost" : NameOf(host->second);
    const auto isName = [name](const std::string& iOwn) { return IsEqual(iOwn, name); };
    if (!IsLoopback(name) && std::none_of(mHosts.begin(), mHosts.end(), isName))
        return MakeRefusal(403, "the server isn't known by this name");

    if (iRequest.mMethod == "GET" || iRequest.mMethod == "HEAD")
        return {};
    const auto origin = iRequest.mHeaders.find("origin");
    const auto site = iRequest.mHeaders.find("sec-fetch-site");
    if ((origin != iRequest.mHeaders.end() && !IsEqual(origin->second, "http://" + iRequest.GetHeader("host"))) ||
        (site != iRequest.mHeaders.end() && site->second != "same-origin" && site->second != "none"))
        return MakeRefusal(403, "the page of another site may not do this");
    return {};
}
