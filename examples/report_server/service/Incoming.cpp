#include "service/Incoming.h"

#include "Errors.h"
#include "Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string>

namespace
{

using nlohmann::json;

/// Empty where there is none. A priority may be a number.
std::string ReadField(const json& iObject, const char* iName)
{
    const auto field = iObject.find(iName);
    if (field == iObject.end() || field->is_null())
        return {};
    if (field->is_number())
        return field->dump();
    if (!field->is_string() || field->get_ref<const std::string&>().find('\0') != std::string::npos)
        throw RequestError(std::string("the field \"") + iName + "\" is no text");
    return std::string(Trim(field->get_ref<const std::string&>()));
}

/// `ioLanguage` is the object's if it has one.
Request ReadJson(const std::string& iBody, std::string& ioLanguage)
{
    const json object = json::parse(iBody, nullptr, false);
    if (!object.is_object())
        throw RequestError("the body is no JSON object");
    if (const std::string language = ReadField(object, "language"); !language.empty())
        ioLanguage = language;
    RequestFields fields;
    constexpr const char* cNames[] = {"kind", "user", "project", "priority", "body"};
    for (std::size_t i = 0; i < fields.size(); ++i)
        if ((fields.at(i) = ReadField(object, cNames[i])).empty())
            throw RequestError(std::string("the field \"") + cNames[i] + "\" is missing");
    return MakeRequest(fields);
}

std::string ToLower(std::string iText)
{
    for (char& character : iText)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character + ('a' - 'A'));
    return iText;
}

/// The first of the languages that the client accepts, English where there is none of them.
std::string ReadAccepted(const std::string& iHeader)
{
    std::istringstream languages(ToLower(iHeader));
    for (std::string language; std::getline(languages, language, ',');)
    {
        const std::string_view name = Trim(std::string_view(language).substr(0, language.find_first_of("-;")));
        if (name == "en" || name == "de")
            return std::string(name);
    }
    return "en";
}

} // namespace

Request ReadRequest(const QORWebRequest& iRequest)
{
    const std::string_view body = Trim(iRequest.mBody);
    std::string language = ReadAccepted(iRequest.GetHeader("accept-language"));
    Request request;
    if (!IsUtf8(body))
        throw RequestError("the body is no UTF-8");
    if (ToLower(iRequest.GetHeader("content-type")).starts_with("application/json"))
        request = ReadJson(iRequest.mBody, language);
    else if (body.find('\n') != std::string_view::npos)
        throw RequestError("a request is one line");
    else
        request = ParseRequest(body);
    const std::string asked = iRequest.GetQuery("lang");
    request.mLocale = ParseLanguage(asked.empty() ? language : asked);
    return request;
}

std::chrono::seconds ReadWait(const QORWebRequest& iRequest)
{
    constexpr int cLongest = 600;
    const std::string wait = iRequest.GetQuery("wait");
    int seconds = 0;
    if (!wait.empty() && (!ParseNumber(wait, seconds) || seconds < 0 || seconds > cLongest))
        throw RequestError("wait takes 0 to " + std::to_string(cLongest) + " seconds, not \"" + wait + "\"");
    return std::chrono::seconds(seconds);
}

bool ReadCancelWhenGone(const QORWebRequest& iRequest)
{
    const std::string flag = iRequest.GetQuery("cancel-when-gone");
    if (!flag.empty() && flag != "0" && flag != "1")
        throw RequestError("cancel-when-gone takes 0 or 1, not \"" + flag + "\"");
    return flag == "1";
}

void RefuseUnknown(const QORWebRequest& iRequest, std::initializer_list<std::string_view> iNames)
{
    for (const auto& [name, value] : iRequest.mQuery)
        if (std::find(iNames.begin(), iNames.end(), name) == iNames.end())
            throw RequestError("unknown in the query: " + name);
}
