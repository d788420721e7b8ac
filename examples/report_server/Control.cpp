#include "Control.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace
{

constexpr std::array cKinds = {EnumControl::Cancel, EnumControl::Pause, EnumControl::Resume, EnumControl::Timeout};

int ReadNumber(std::istream& ioWords, const std::string& iOf)
{
    std::string word;
    ioWords >> word;
    int number = 0;
    if (!ParseInt(word, number) || number < 1)
        throw RequestError("a number above 0 is needed for \"" + iOf + "\", not \"" + word + "\"");
    return number;
}

EnumControl ParseControlKind(const std::string& iWord)
{
    for (const EnumControl kind : cKinds)
        if (iWord == ToText(kind))
            return kind;
    throw RequestError("unknown command \"" + iWord + "\"; there are cancel, pause, resume, timeout");
}

} // namespace

const char* ToText(EnumControl iKind)
{
    switch (iKind)
    {
    case EnumControl::Cancel:
        return "cancel";
    case EnumControl::Pause:
        return "pause";
    case EnumControl::Resume:
        return "resume";
    default:
        return "timeout";
    }
}

std::string ToText(const Control& iControl)
{
    std::string text = ToText(iControl.mKind) + std::string(" ") + std::to_string(iControl.mJob);
    if (iControl.mStep != 0)
        text += " at " + std::to_string(iControl.mStep);
    if (iControl.mStepOf != iControl.mJob)
        text += " of " + std::to_string(iControl.mStepOf);
    if (iControl.mMilliseconds != 0)
        text += " after " + std::to_string(iControl.mMilliseconds);
    return text;
}

bool IsControl(std::string_view iLine)
{
    const std::string_view first = Trim(iLine.substr(0, iLine.find('|')));
    return std::any_of(cKinds.begin(), cKinds.end(), [first](EnumControl iKind) { return first == ToText(iKind); });
}

Control ParseControl(const std::string& iLine)
{
    std::string text = iLine;
    std::replace(text.begin(), text.end(), '|', ' ');
    std::istringstream words(text);
    std::string word;
    words >> word;
    Control control;
    control.mKind = ParseControlKind(word);
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
