// Strings with a length (BSTR), as Windows.h declares them for other systems.
#include "platform/QBase.h"
#include "platform/Windows.h"

#include <cstring>
#include <limits>
#include <string_view>

const GUID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

namespace
{

// The length is in the last four of these bytes; the text behind them keeps its alignment.
constexpr std::size_t cHeaderBytes = 8;
constexpr std::size_t cLengthBytes = sizeof(std::uint32_t);

char* BytesOf(BSTR iText) { return reinterpret_cast<char*>(iText); }

} // namespace

BSTR SysAllocString(const QBase::WCHAR* iText)
{
    if (iText == nullptr)
        return nullptr;
    const std::size_t length = std::basic_string_view<QBase::WCHAR>(iText).size();
    if (length > std::numeric_limits<unsigned>::max())
        return nullptr;
    return SysAllocStringLen(iText, static_cast<unsigned>(length));
}

BSTR SysAllocStringLen(const QBase::WCHAR* iText, unsigned iLength)
{
    const std::size_t bytes = std::size_t{iLength} * sizeof(QBase::WCHAR);
    if (iText == nullptr || bytes > std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    char* const block = static_cast<char*>(QBase::HeapAllocate(cHeaderBytes + bytes + sizeof(QBase::WCHAR)));
    if (block == nullptr)
        return nullptr;

    const auto length = static_cast<std::uint32_t>(bytes);
    std::memcpy(block + cHeaderBytes - cLengthBytes, &length, cLengthBytes);
    const BSTR text = reinterpret_cast<BSTR>(block + cHeaderBytes);
    std::memcpy(text, iText, bytes);
    text[iLength] = 0;
    return text;
}

void SysFreeString(BSTR iText)
{
    if (iText != nullptr)
        QBase::HeapFree(BytesOf(iText) - cHeaderBytes);
}

unsigned SysStringLen(BSTR iText)
{
    if (iText == nullptr)
        return 0;
    std::uint32_t length = 0;
    std::memcpy(&length, BytesOf(iText) - cLengthBytes, cLengthBytes);
    return length / sizeof(QBase::WCHAR);
}
