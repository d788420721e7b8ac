#include "client/Request.h"

#include "Errors.h"
#include "Files.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string_view>

namespace
{

constexpr std::pair<int, const char*> cKinds[] = {
    {RequestReport, "report"}, {RequestSQL, "sql"}, {RequestElement, "element"}, {RequestDocument, "document"}};

constexpr const char* cControls[] = {"cancel", "pause", "resume", "timeout"}; // in the order of EnumControl

constexpr std::size_t cLongestLine = 4'000'000;

using Locales = std::map<std::string, unsigned>; // by user

template <std::size_t Count>
void RefuseEmpty(const std::array<std::string, Count>& iFields, std::size_t iField)
{
    if (iFields.at(iField).empty())
        throw RequestError("field " + std::to_string(iField + 1) + " is empty");
}

/// The last field is the rest of the line: it may hold bars of its own.
template <std::size_t Count>
std::array<std::string, Count> SplitFields(std::string_view iLine, const char* iForm)
{
    std::array<std::string, Count> fields;
    for (std::size_t i = 0; i < Count; ++i)
    {
        const bool bLast = i + 1 == Count;
        const std::size_t bar = bLast ? iLine.size() : iLine.find('|');
        if (bar == std::string_view::npos)
            throw RequestError(std::string("expected ") + iForm);
        fields[i] = Trim(iLine.substr(0, bar));
        RefuseEmpty(fields, i);
        iLine.remove_prefix(std::min(bar + 1, iLine.size()));
    }
    return fields;
}

void ReadSession(std::string_view iLine, Locales& ioLocales)
{
    const auto fields = SplitFields<3>(iLine, "session | user | language");
    ioLocales[fields[1]] = ParseLanguage(fields[2]);
}

/// Takes the clause that says where the result goes from the end of the body; empty when there is none.
std::string TakeDestination(std::string& ioBody)
{
    constexpr std::string_view cDeliver = "deliver to ";
    const std::size_t last = ioBody.rfind(';');
    if (last == std::string::npos)
        return {};
    const std::string clause(Trim(std::string_view(ioBody).substr(last + 1)));
    if (clause.compare(0, cDeliver.size(), cDeliver) != 0)
        return {};
    ioBody = Trim(std::string_view(ioBody).substr(0, last));
    return std::string(Trim(std::string_view(clause).substr(cDeliver.size())));
}

Request ReadRequest(std::string_view iLine, int iLineNumber, const Locales& iLocales)
{
    Request request = ParseRequest(iLine);
    request.mLine = iLineNumber;
    if (const auto locale = iLocales.find(request.mUser); locale != iLocales.end())
        request.mLocale = locale->second;
    return request;
}

int ReadNumber(std::istream& ioWords, const std::string& iOf)
{
    std::string word;
    ioWords >> word;
    int number = 0;
    if (!ParseNumber(word, number) || number < 1)
        throw RequestError("a number above 0 is needed for \"" + iOf + "\", not \"" + word + "\"");
    return number;
}

/// Whether the line begins like one.
bool IsControl(std::string_view iLine)
{
    const std::string_view first = Trim(iLine.substr(0, iLine.find('|')));
    return std::find(std::begin(cControls), std::end(cControls), first) != std::end(cControls);
}

} // namespace

std::string KindOf(const Request& iRequest)
{
    const auto* const kind = std::find_if(std::begin(cKinds), std::end(cKinds),
                                          [&](const auto& iEach) { return iEach.first == iRequest.mKind; });
    return kind->second;
}

int ParseKind(const std::string& iText)
{
    for (const auto& [kind, name] : cKinds)
        if (iText == name)
            return kind;
    throw RequestError("unknown kind \"" + iText + "\"; there are report, sql, element, document");
}

unsigned ParseLanguage(std::string_view iText)
{
    if (iText != "en" && iText != "de")
        throw RequestError("unknown language \"" + std::string(iText) + "\"; there are en, de");
    return iText == "en" ? cEnglish : cGerman;
}

Request MakeRequest(RequestFields iFields)
{
    for (std::size_t i = 0; i < iFields.size(); ++i)
        RefuseEmpty(iFields, i);
    Request request;
    if (!ParseNumber(iFields[3], request.mPriority))
        throw RequestError("the priority \"" + iFields[3] + "\" is no number");
    request.mDestination = TakeDestination(iFields[4]);
    request.mKind = ParseKind(iFields[0]);
    request.mUser = iFields[1];
    request.mProject = iFields[2];
    request.mBody = iFields[4];
    return request;
}

Request ParseRequest(std::string_view iLine)
{
    return MakeRequest(SplitFields<std::tuple_size_v<RequestFields>>(iLine, "kind | user | project | priority | body"));
}

std::string ToText(const Control& iControl)
{
    std::string text = cControls[static_cast<int>(iControl.mKind)] + std::string(" ") + std::to_string(iControl.mJob);
    if (iControl.mStep != 0)
        text += " at " + std::to_string(iControl.mStep);
    if (iControl.mStepOf != iControl.mJob)
        text += " of " + std::to_string(iControl.mStepOf);
    if (iControl.mMilliseconds != 0)
        text += " after " + std::to_string(iControl.mMilliseconds);
    return text;
}

Control ParseControl(const std::string& iLine)
{
    std::string text = iLine;
    std::replace(text.begin(), text.end(), '|', ' ');
    std::istringstream words(text);
    std::string word;
    words >> word;
    Control control;
    const auto* const kind = std::find(std::begin(cControls), std::end(cControls), word);
    if (kind == std::end(cControls))
        throw RequestError("unknown command \"" + word + "\"; there are cancel, pause, resume, timeout");
    control.mKind = static_cast<EnumControl>(kind - std::begin(cControls));
    control.mJob = control.mStepOf = ReadNumber(words, word);
    while (words >> word)
    {
        if (word == "at")
            control.mStep = ReadNumber(words, word);
        else if (word == "of" && control.mStep != 0)
            control.mStepOf = ReadNumber(words, word);
        else if (word == "after" && control.mKind == EnumControl::Timeout)
            control.mMilliseconds = static_cast<unsigned>(ReadNumber(words, word));
        else
            throw RequestError("what does \"" + word + "\" mean here?");
    }
    if (control.mKind == EnumControl::Timeout && control.mMilliseconds == 0)
        throw RequestError("a timeout needs milliseconds: timeout | request after milliseconds");
    return control;
}

RequestFile ReadRequests(const std::filesystem::path& iPath)
{
    std::ifstream stream = OpenToRead(iPath);
    RequestFile file;
    Locales locales;
    const auto text = std::make_unique_for_overwrite<char[]>(cLongestLine);
    for (int line = 1; stream.getline(text.get(), static_cast<std::streamsize>(cLongestLine)); ++line)
    {
        const auto length = static_cast<std::size_t>(stream.gcount()) - (stream.eof() ? 0 : 1);
        const std::string_view trimmed = Trim({text.get(), length});
        if (trimmed.empty() || trimmed.front() == '#')
            continue;
        try
        {
            if (Trim(trimmed.substr(0, trimmed.find('|'))) == "session")
                ReadSession(trimmed, locales);
            else if (IsControl(trimmed))
                file.mControls.push_back(ParseControl(std::string(trimmed)));
            else
                file.mRequests.push_back(ReadRequest(trimmed, line, locales));
        }
        catch (const RequestError& error)
        {
            file.mBadLines.push_back(iPath.string() + ":" + std::to_string(line) + ": " + error.what());
        }
    }
    if (!stream.eof())
        throw SetupError(iPath.string() + ": the file can't be read, or a line is longer than " +
                         std::to_string(cLongestLine) + " bytes");
    return file;
}
