// The resource library: the message formatter and the languages of process and thread.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QResource
{

/// Takes arguments through `<<` and fills a template's `%1`, `%2`... with them; `%%` is a percent sign, a number
/// without an argument stays as it stands. Texts are UTF-8.
class QORJOB_API MessageFormatter
{
public:
    enum class EnumRadix
    {
        Decimal,
        Hexadecimal,     ///< 0x1F
        WideHexadecimal, ///< 0x0000001F (16 digits for 64-bit numbers)
    };

    /// How the whole numbers that follow are written, until it is set again.
    void SetRadix(EnumRadix iRadix) { mRadix = iRadix; }

    MessageFormatter& operator<<(bool ibValue);
    MessageFormatter& operator<<(int iValue);
    MessageFormatter& operator<<(unsigned iValue);
    MessageFormatter& operator<<(long iValue);
    MessageFormatter& operator<<(unsigned long iValue);
    MessageFormatter& operator<<(long long iValue);
    MessageFormatter& operator<<(unsigned long long iValue);
    MessageFormatter& operator<<(double iValue);
    /// A null text is written as an empty one.
    MessageFormatter& operator<<(const char* iText);
    MessageFormatter& operator<<(std::string_view iText);
    MessageFormatter& operator<<(const WCHAR* iText);
    MessageFormatter& operator<<(const void* iPointer);
    MessageFormatter& operator<<(const GUID& iGuid);
    /// A manipulator such as QLog::Format::Hex.
    MessageFormatter& operator<<(void (*iManipulator)(MessageFormatter&));

    std::string Format(std::string_view iTemplate) const;
    const std::vector<std::string>& GetArguments() const { return mArguments; }

private:
    template <class Signed, class Unsigned>
    MessageFormatter& AddNumber(Signed iValue, Unsigned iBits);

    EnumRadix mRadix = EnumRadix::Decimal;
    std::vector<std::string> mArguments;
};

/// Windows language ids, such as 0x409. A thread has the process's language until it is given its own.
QORJOB_API unsigned GetProcessLanguageID() noexcept;
QORJOB_API unsigned GetThreadLanguageID() noexcept;

} // namespace QResource
