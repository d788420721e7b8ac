#include "monitor/ListQuery.h"

#include "monitor/Forms.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>
#include <system_error>

namespace QORMONITOR
{

namespace
{

constexpr int cMostNumber = std::numeric_limits<int>::max();
constexpr int cMostRows = 500;

struct Word
{
    std::string_view mWord;
    int mValue;
};

constexpr Word cStates[] = {
    {"queued", static_cast<int>(EnumHostState::Queued)},
    {"running", static_cast<int>(EnumHostState::Running)},
    {"paused", static_cast<int>(EnumHostState::Paused)},
    {"waiting", static_cast<int>(EnumHostState::WaitingForChildren)},
    {"delayed", static_cast<int>(EnumHostState::Delayed)},
    {"ended", static_cast<int>(EnumHostState::Ended)},
};

constexpr Word cSorts[] = {
    {"urgency", static_cast<int>(EnumMonitorSort::Urgency)},   {"id", static_cast<int>(EnumMonitorSort::Id)},
    {"user", static_cast<int>(EnumMonitorSort::User)},         {"status", static_cast<int>(EnumMonitorSort::Status)},
    {"unit", static_cast<int>(EnumMonitorSort::Unit)},         {"step", static_cast<int>(EnumMonitorSort::Step)},
    {"priority", static_cast<int>(EnumMonitorSort::Priority)}, {"created", static_cast<int>(EnumMonitorSort::Created)},
    {"since", static_cast<int>(EnumMonitorSort::Since)},       {"running", static_cast<int>(EnumMonitorSort::Running)},
    {"waiting", static_cast<int>(EnumMonitorSort::Waiting)},
};

constexpr Word cOrders[] = {{"asc", 0}, {"desc", 1}};
constexpr Word cSwitches[] = {{"0", 0}, {"1", 1}};

template <std::size_t Count>
int ReadWord(const std::string& iName, const std::string& iValue, const Word (&iWords)[Count])
{
    const auto* const word =
        std::find_if(std::begin(iWords), std::end(iWords), [&](const Word& iWord) { return iWord.mWord == iValue; });
    if (word != std::end(iWords))
        return word->mValue;
    std::string words;
    for (const Word& each : iWords)
        words += (words.empty() ? "" : ", ") + std::string(each.mWord);
    throw BadRequest(iName + " is one of " + words);
}

std::string ReadText(const std::string& iName, const std::string& iValue)
{
    constexpr std::size_t cMost = 200;
    if (iValue.size() > cMost)
        throw BadRequest(iName + " has " + std::to_string(cMost) + " bytes at most");
    return iValue;
}

int ReadWhole(const std::string& iName, const std::string& iValue, int iLeast, int iMost)
{
    int number = 0;
    const char* const end = iValue.data() + iValue.size();
    const auto [stop, error] = std::from_chars(iValue.data(), end, number);
    if (error != std::errc() || stop != end || number < iLeast || number > iMost)
        throw BadRequest(iName + " is a number from " + std::to_string(iLeast) + " to " + std::to_string(iMost));
    return number;
}

struct Part
{
    std::string_view mName;
    void (*mpRead)(QORMonitorQuery& ioQuery, const std::string& iName, const std::string& iValue);
};

constexpr Part cParts[] = {
    {"user", [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mUser = ReadText(iName, iValue); }},
    {"search", [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mSearch = ReadText(iName, iValue); }},
    {"status",
     [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mStatus = ReadWhole(iName, iValue, 0, cMostNumber); }},
    {"unit",
     [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mUnit = ReadWhole(iName, iValue, 0, cMostNumber); }},
    {"type",
     [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mType = ReadWhole(iName, iValue, 0, cMostNumber); }},
    {"state", [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mState = ReadWord(iName, iValue, cStates); }},
    {"older", [](auto& ioQuery, auto& iName,
                 auto& iValue) { ioQuery.mOlder = std::chrono::seconds(ReadWhole(iName, iValue, 0, cMostNumber)); }},
    {"open",
     [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mbOpen = ReadWord(iName, iValue, cSwitches) == 1; }},
    {"ended",
     [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mbEnded = ReadWord(iName, iValue, cSwitches) == 1; }},
    {"sort", [](auto& ioQuery, auto& iName,
                auto& iValue) { ioQuery.mSort = static_cast<EnumMonitorSort>(ReadWord(iName, iValue, cSorts)); }},
    {"order",
     [](auto& ioQuery, auto& iName, auto& iValue) { ioQuery.mbDescending = ReadWord(iName, iValue, cOrders) == 1; }},
    {"offset",
     [](auto& ioQuery, auto& iName, auto& iValue) {
         ioQuery.mOffset = static_cast<std::size_t>(ReadWhole(iName, iValue, 0, cMostNumber));
     }},
    {"limit", [](auto& ioQuery, auto& iName,
                 auto& iValue) { ioQuery.mLimit = static_cast<std::size_t>(ReadWhole(iName, iValue, 1, cMostRows)); }},
};

} // namespace

/// A value that is empty asks for nothing, as a form's fields that nobody has filled in.
QORMonitorQuery ReadListQuery(const QORWebRequest& iRequest)
{
    QORMonitorQuery query;
    for (const auto& [name, value] : iRequest.mQuery)
    {
        const auto* const part = std::find_if(std::begin(cParts), std::end(cParts),
                                              [&name = name](const Part& iPart) { return iPart.mName == name; });
        if (part == std::end(cParts))
            throw BadRequest("a list knows nothing of " + name);
        if (!value.empty())
            part->mpRead(query, name, value);
    }
    return query;
}

int ReadNumber(const QORWebRequest& iRequest, const std::string& iName, int iNone, int iLeast, int iMost)
{
    const std::string value = iRequest.GetQuery(iName);
    return value.empty() ? iNone : ReadWhole(iName, value, iLeast, iMost);
}

unsigned ReadLanguage(const QORWebRequest& iRequest, const std::vector<unsigned>& iLanguages)
{
    constexpr unsigned cEnglish = 0x0409;
    const std::string value = iRequest.GetQuery("lang");
    if (value.empty())
        return cEnglish;
    std::string names;
    for (const unsigned language : iLanguages)
    {
        if (ToLanguageName(language) == value)
            return language;
        names += (names.empty() ? "" : ", ") + ToLanguageName(language);
    }
    throw BadRequest("lang is one of " + names);
}

} // namespace QORMONITOR
