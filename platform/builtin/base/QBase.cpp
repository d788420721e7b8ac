#include "platform/QBase.h"

#include "platform/builtin/Faults.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/base/System.h"
#include "platform/builtin/base/ThreadLocal.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace QBase
{

namespace
{

void* AllocateWatched(std::size_t iBytes) noexcept
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::Allocation))
        return nullptr;
    void* const block = std::malloc(iBytes);
    if (block != nullptr)
        Builtin::Faults::NoteBlockTaken(block);
    return block;
}

class HeapResource final : public std::pmr::memory_resource
{
    void* do_allocate(std::size_t iBytes, std::size_t iAlignment) override
    {
        void* const memory = iAlignment <= alignof(std::max_align_t) ? HeapAllocate(iBytes) : nullptr;
        if (memory == nullptr)
            throw std::bad_alloc();
        return memory;
    }

    void do_deallocate(void* iMemory, std::size_t, std::size_t) override { HeapFree(iMemory); }
    bool do_is_equal(const std::pmr::memory_resource& iOther) const noexcept override { return this == &iOther; }
};

QORJOB_NEAR_THREAD_LOCAL DWORD tThreadId = 0;

constexpr char32_t cReplacement = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t iUnit) { return iUnit >= 0xD800 && iUnit <= 0xDBFF; }

constexpr bool IsLowSurrogate(char32_t iUnit) { return iUnit >= 0xDC00 && iUnit <= 0xDFFF; }

/// Takes one character off the front. A malformed sequence goes as far as it could have been the start of a good one.
char32_t TakeUTF8(std::string_view& ioText)
{
    const auto byteAt = [&](std::size_t iPlace) { return static_cast<unsigned char>(ioText[iPlace]); };
    const unsigned char lead = byteAt(0);

    std::size_t length = 1;
    char32_t character = lead;
    // The second byte's range is narrower where overlong forms, surrogates or more than U+10FFFF would begin.
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF)
    {
        length = 2;
        character = lead & 0x1F;
    }
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        length = 3;
        character = lead & 0x0F;
        low = lead == 0xE0 ? 0xA0 : low;
        high = lead == 0xED ? 0x9F : high;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        length = 4;
        character = lead & 0x07;
        low = lead == 0xF0 ? 0x90 : low;
        high = lead == 0xF4 ? 0x8F : high;
    }
    else if (lead >= 0x80)
    {
        character = cReplacement;
    }

    std::size_t taken = 1;
    for (; taken < length; ++taken)
    {
        if (taken == ioText.size() || byteAt(taken) < low || byteAt(taken) > high)
        {
            character = cReplacement;
            break;
        }
        character = character << 6 | (byteAt(taken) & 0x3F);
        low = 0x80;
        high = 0xBF;
    }
    ioText.remove_prefix(taken);
    return character;
}

char32_t TakeUTF16(std::basic_string_view<QBase::WCHAR>& ioText)
{
    const char32_t unit = ioText.front();
    ioText.remove_prefix(1);
    if (IsHighSurrogate(unit) && !ioText.empty() && IsLowSurrogate(ioText.front()))
    {
        const char32_t second = ioText.front();
        ioText.remove_prefix(1);
        return 0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00);
    }
    return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? cReplacement : unit;
}

void AppendUTF16(wstring& ioText, char32_t iCharacter)
{
    if (iCharacter < 0x10000)
    {
        ioText += static_cast<QBase::WCHAR>(iCharacter);
        return;
    }
    ioText += static_cast<QBase::WCHAR>(0xD800 + ((iCharacter - 0x10000) >> 10));
    ioText += static_cast<QBase::WCHAR>(0xDC00 + ((iCharacter - 0x10000) & 0x3FF));
}

void AppendUTF8(std::string& ioText, char32_t iCharacter)
{
    const auto appendTail = [&](unsigned iShift) { ioText += static_cast<char>(0x80 | (iCharacter >> iShift & 0x3F)); };
    if (iCharacter < 0x80)
    {
        ioText += static_cast<char>(iCharacter);
    }
    else if (iCharacter < 0x800)
    {
        ioText += static_cast<char>(0xC0 | iCharacter >> 6);
        appendTail(0);
    }
    else if (iCharacter < 0x10000)
    {
        ioText += static_cast<char>(0xE0 | iCharacter >> 12);
        appendTail(6);
        appendTail(0);
    }
    else
    {
        ioText += static_cast<char>(0xF0 | iCharacter >> 18);
        appendTail(12);
        appendTail(6);
        appendTail(0);
    }
}

} // namespace

void* HeapAllocate(std::size_t iBytes) noexcept
{
    // Null means that there is no memory, so that an empty block may not be null.
    const std::size_t bytes = iBytes == 0 ? 1 : iBytes;
    if (Builtin::Faults::Detail::gArmed.load(std::memory_order_relaxed) != 0) [[unlikely]]
        return AllocateWatched(bytes);
    return std::malloc(bytes);
}

void HeapFree(void* iMemory) noexcept
{
    if (Builtin::Faults::Detail::gArmed.load(std::memory_order_relaxed) != 0) [[unlikely]]
        Builtin::Faults::NoteBlockGoing(iMemory);
    std::free(iMemory);
}

std::pmr::memory_resource* DefaultHeap() noexcept
{
    static Builtin::NeverDestroyed<HeapResource> heap;
    return &heap.Get();
}

DWORD GetCurrentThreadID() noexcept
{
    if (tThreadId == 0) [[unlikely]]
        tThreadId = Builtin::System::GetThreadId();
    return tThreadId;
}

wstring UTF8ToWideChar(std::string_view iText)
{
    wstring text;
    text.reserve(iText.size());
    while (!iText.empty())
        AppendUTF16(text, TakeUTF8(iText));
    return text;
}

std::string WideCharToUTF8(std::basic_string_view<QBase::WCHAR> iText)
{
    std::string text;
    text.reserve(iText.size());
    while (!iText.empty())
        AppendUTF8(text, TakeUTF16(iText));
    return text;
}

std::string ToString(const GUID& iGuid)
{
    const BYTE* const tail = iGuid.Data4;
    char text[sizeof("{00000000-0000-0000-0000-000000000000}")];
    std::snprintf(text, sizeof(text), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(iGuid.Data1), iGuid.Data2, iGuid.Data3, tail[0], tail[1], tail[2], tail[3],
                  tail[4], tail[5], tail[6], tail[7]);
    return text;
}

} // namespace QBase
