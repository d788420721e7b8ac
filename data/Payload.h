// Helpers for texts and blocks on the general heap and for their saved bytes, private to data/.
#pragma once

#include "platform/QBase.h"
#include "platform/Windows.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>

// Texts are saved byte for byte as they are in memory.
static_assert(std::endian::native == std::endian::little);

/// In units; 0 for null.
inline std::size_t LengthOf(const QBase::WCHAR* iText)
{
    return iText == nullptr ? 0 : std::char_traits<QBase::WCHAR>::length(iText);
}

/// Null without memory. A size beyond std::size_t becomes its maximum, which the heap refuses.
inline QBase::WCHAR* AllocateUnits(std::uint64_t iUnits) noexcept
{
    constexpr std::uint64_t cMost = std::numeric_limits<std::size_t>::max();
    const std::uint64_t bytes = iUnits > cMost / sizeof(QBase::WCHAR) ? cMost : iUnits * sizeof(QBase::WCHAR);
    return static_cast<QBase::WCHAR*>(QBase::HeapAllocate(static_cast<std::size_t>(bytes)));
}

/// A null text is taken as empty. Without memory `oText` stays unchanged.
inline HRESULT AssignText(const QBase::WCHAR* iText, QBase::wstring& oText)
{
    try
    {
        oText.assign(iText, LengthOf(iText));
        return S_OK;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
}

/// The last part of SaveObj, for bytes that fit.
inline HRESULT WriteBytes(const void* iBytes, std::size_t iCount, signed char* oBuffer)
{
    if (iCount == 0)
        return S_OK;
    if (oBuffer == nullptr)
        return E_POINTER;
    std::memcpy(oBuffer, iBytes, iCount);
    return S_OK;
}

/// For LoadObj: makes a block of `iUnits` 16-bit units that begins with the bytes.
inline HRESULT ReadBytes(const signed char* iBuffer, std::size_t iCount, std::uint64_t iUnits, QBase::HeapText& oBlock)
{
    if (iBuffer == nullptr && iCount != 0)
        return E_POINTER;
    oBlock.reset(AllocateUnits(iUnits));
    if (oBlock == nullptr)
        return E_OUTOFMEMORY;
    if (iCount != 0)
        std::memcpy(oBlock.get(), iBuffer, iCount);
    return S_OK;
}

/// The same for texts: the units behind the bytes are set to zero. There is at least one.
inline HRESULT ReadText(const signed char* iBuffer, std::size_t iCount, std::uint64_t iUnits, QBase::HeapText& oText)
{
    const HRESULT code = ReadBytes(iBuffer, iCount, iUnits, oText);
    if (code == S_OK)
        std::memset(reinterpret_cast<signed char*>(oText.get()) + iCount, 0,
                    static_cast<std::size_t>(iUnits) * sizeof(QBase::WCHAR) - iCount);
    return code;
}
