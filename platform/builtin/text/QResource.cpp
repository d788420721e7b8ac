#include "platform/QResource.h"

#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/SetValues.h"
#include "platform/builtin/text/Bundles.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <type_traits>

namespace QResource
{

namespace
{

template <class... Arguments>
std::string ToText(Arguments... iArguments)
{
    char text[64];
    return {text, std::to_chars(text, text + sizeof(text), iArguments...).ptr};
}

template <class Unsigned>
std::string ToHex(Unsigned iBits, std::size_t iMinDigits)
{
    std::string digits = ToText(iBits, 16);
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char iDigit) { return static_cast<char>(std::toupper(iDigit)); });
    if (digits.size() < iMinDigits)
        digits.insert(0, iMinDigits - digits.size(), '0');
    return "0x" + digits;
}

bool IsDigit(char iCharacter) { return iCharacter >= '0' && iCharacter <= '9'; }

} // namespace

template <class Signed, class Unsigned>
MessageFormatter& MessageFormatter::AddNumber(Signed iValue, Unsigned iBits)
{
    static_assert(std::is_unsigned_v<Unsigned> && sizeof(Signed) == sizeof(Unsigned));
    if (mRadix == EnumRadix::Decimal)
        AddArgument(ToText(iValue));
    else
        AddArgument(ToHex(iBits, mRadix == EnumRadix::WideHexadecimal ? 2 * sizeof(Unsigned) : 1));
    return *this;
}

MessageFormatter& MessageFormatter::operator<<(bool ibValue) { return *this << (ibValue ? "true" : "false"); }

MessageFormatter& MessageFormatter::operator<<(int iValue) { return AddNumber(iValue, static_cast<unsigned>(iValue)); }

MessageFormatter& MessageFormatter::operator<<(unsigned iValue) { return AddNumber(iValue, iValue); }

MessageFormatter& MessageFormatter::operator<<(long iValue)
{
    return AddNumber(iValue, static_cast<unsigned long>(iValue));
}

MessageFormatter& MessageFormatter::operator<<(unsigned long iValue) { return AddNumber(iValue, iValue); }

MessageFormatter& MessageFormatter::operator<<(long long iValue)
{
    return AddNumber(iValue, static_cast<unsigned long long>(iValue));
}

MessageFormatter& MessageFormatter::operator<<(unsigned long long iValue) { return AddNumber(iValue, iValue); }

MessageFormatter& MessageFormatter::operator<<(double iValue)
{
    AddArgument(ToText(iValue));
    return *this;
}

MessageFormatter& MessageFormatter::operator<<(const char* iText)
{
    return *this << std::string_view(iText == nullptr ? "" : iText);
}

MessageFormatter& MessageFormatter::operator<<(std::string_view iText)
{
    AddArgument(std::string(iText));
    return *this;
}

MessageFormatter& MessageFormatter::operator<<(const QBase::WCHAR* iText)
{
    AddArgument(iText == nullptr ? std::string() : QBase::WideCharToUTF8(iText));
    return *this;
}

MessageFormatter& MessageFormatter::operator<<(const void* iPointer)
{
    AddArgument(ToHex(reinterpret_cast<std::uintptr_t>(iPointer), 1));
    return *this;
}

MessageFormatter& MessageFormatter::operator<<(const GUID& iGuid)
{
    AddArgument(QBase::ToString(iGuid));
    return *this;
}

MessageFormatter& MessageFormatter::operator<<(void (*iManipulator)(MessageFormatter&))
{
    iManipulator(*this);
    return *this;
}

std::string MessageFormatter::Format(std::string_view iTemplate) const
{
    std::string text;
    std::size_t place = 0;
    while (place < iTemplate.size())
    {
        const std::size_t percent = std::min(iTemplate.find('%', place), iTemplate.size());
        text.append(iTemplate, place, percent - place);
        place = percent;
        if (place == iTemplate.size())
            break;

        if (place + 1 < iTemplate.size() && iTemplate[place + 1] == '%')
        {
            text += '%';
            place += 2;
            continue;
        }
        std::size_t end = place + 1;
        std::size_t number = 0;
        for (; end < iTemplate.size() && end - place <= 2 && IsDigit(iTemplate[end]); ++end)
            number = number * 10 + static_cast<std::size_t>(iTemplate[end] - '0');
        if (number >= 1 && number <= mArguments.size())
            text += mArguments[number - 1];
        else
            text.append(iTemplate, place, end - place);
        place = end;
    }
    return text;
}

QBase::ReturnPtrI<Bundle> GetFileBundle(const char* iName)
{
    Builtin::EventTrace::Note("QResource::GetFileBundle");
    return Builtin::OpenBundle(iName, 0);
}

const char* GetMessageTemplate() noexcept { return "-?- "; }

unsigned GetProcessLanguageID() noexcept { return Builtin::SetValues::GetProcessLanguageID(); }

unsigned GetThreadLanguageID() noexcept
{
    const unsigned language = Builtin::SetValues::GetThreadLanguageID();
    return language != 0 ? language : GetProcessLanguageID();
}

} // namespace QResource
