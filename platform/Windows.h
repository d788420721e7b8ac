// The Windows names that the library is written in. On Windows the SDK declares them; elsewhere this header does,
// with the same sizes; the COM services have a header of their own. The functions are implemented in platform/builtin.
//
// Other libraries declare some of these names outside Windows, too (those for ODBC do): BYTE, WORD and DWORD are the
// same types there; WCHAR, which would differ, is in a namespace; ULONG and BOOL are not used.
#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <cstring>

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <unknwn.h>

// The SDK's macro for the print spooler would rename an operation of the tasks. Its other macros stay as they are.
#undef SetJob

#define QORJOB_W(text) L##text

/// The calling convention of the operations of COM interfaces: it stands before each one's name, and before that of its
/// overrides. It makes a difference in programs of 32 bits.
#define QORJOB_STDCALL STDMETHODCALLTYPE

namespace QBase
{
using WCHAR = ::WCHAR;
} // namespace QBase

#else

#define QORJOB_W(text) u##text
#define QORJOB_STDCALL

namespace QBase
{
using WCHAR = char16_t;
} // namespace QBase

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using HRESULT = std::int32_t;
using BSTR = QBase::WCHAR*;
using VARIANT_BOOL = std::int16_t;

struct FILETIME
{
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct GUID
{
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};

inline constexpr GUID GUID_NULL{};

inline bool operator==(const GUID& iLeft, const GUID& iRight)
{
    return std::memcmp(&iLeft, &iRight, sizeof(GUID)) == 0;
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);

inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT DISP_E_EXCEPTION = static_cast<HRESULT>(0x80020009);

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

constexpr bool SUCCEEDED(HRESULT iCode) { return iCode >= 0; }

constexpr bool FAILED(HRESULT iCode) { return iCode < 0; }

/// The root of every COM interface: the three operations have the first slots in the table of operations.
class IUnknown
{
public:
    virtual HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) = 0;
    virtual DWORD AddRef() = 0;
    virtual DWORD Release() = 0;

protected:
    // Not virtual: a virtual destructor would take a slot in the table. The last Release deletes an object.
    ~IUnknown() = default;
};

QORJOB_API extern const GUID IID_IUnknown;

/// Strings with their length in bytes in the four bytes before the text. Null counts as empty.
/// Owns: the caller of SysAllocString frees the result. Errors: null when there is no memory or no text.
QORJOB_API BSTR SysAllocString(const QBase::WCHAR* iText);
QORJOB_API BSTR SysAllocStringLen(const QBase::WCHAR* iText, unsigned iLength);
QORJOB_API void SysFreeString(BSTR iText);
QORJOB_API unsigned SysStringLen(BSTR iText);

#include "platform/ComServices.h"

#endif

static_assert(sizeof(QBase::WCHAR) == 2 && sizeof(HRESULT) == 4 && sizeof(DWORD) == 4 && sizeof(LONG) == 4);
static_assert(sizeof(GUID) == 16 && sizeof(FILETIME) == 8 && sizeof(VARIANT_BOOL) == 2);

/// A FILETIME as one number, in 100-nanosecond units.
constexpr std::uint64_t ToUint64(FILETIME iTime)
{
    return (std::uint64_t{iTime.dwHighDateTime} << 32) | iTime.dwLowDateTime;
}
