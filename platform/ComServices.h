// The COM services of Windows that the library calls, for other systems. Include platform/Windows.h: it declares these
// names on every system.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

#include <cstddef>

#if !defined(_WIN32)

QORJOB_API extern const GUID IID_IErrorInfo;
QORJOB_API extern const GUID IID_ICreateErrorInfo;
QORJOB_API extern const GUID IID_IMarshal;
/// The class that unmarshals what the free-threaded marshaler wrote.
QORJOB_API extern const GUID CLSID_InProcFreeMarshaler;

/// Memory that one module gives to another: the receiver frees it. Null when there is none.
QORJOB_API void* CoTaskMemAlloc(std::size_t iBytes);
QORJOB_API void CoTaskMemFree(void* iMemory);

/// The name of a class, from the registry's HKEY_CLASSES_ROOT\CLSID\{...}\ProgID; the caller frees it with
/// CoTaskMemFree. Errors: E_INVALIDARG for a null out-pointer, REGDB_E_CLASSNOTREG when the registry has no name.
QORJOB_API HRESULT ProgIDFromCLSID(const GUID& iClassId, QBase::WCHAR** oProgId);

/// A description of an error, as a client of a COM interface reads it. The strings are the caller's to free; what was
/// never set is null, GUID_NULL or 0. Errors: E_INVALIDARG for a null out-pointer.
class IErrorInfo : public IUnknown
{
public:
    virtual HRESULT GetGUID(GUID* oInterfaceId) = 0;
    virtual HRESULT GetSource(BSTR* oSource) = 0;
    virtual HRESULT GetDescription(BSTR* oDescription) = 0;
    virtual HRESULT GetHelpFile(BSTR* oHelpFile) = 0;
    virtual HRESULT GetHelpContext(DWORD* oHelpContext) = 0;

protected:
    ~IErrorInfo() = default;
};

/// The same object, for the code that fills it. The texts are copied and stay as they are; null clears.
class ICreateErrorInfo : public IUnknown
{
public:
    virtual HRESULT SetGUID(const GUID& iInterfaceId) = 0;
    virtual HRESULT SetSource(QBase::WCHAR* iSource) = 0;
    virtual HRESULT SetDescription(QBase::WCHAR* iDescription) = 0;
    virtual HRESULT SetHelpFile(QBase::WCHAR* iHelpFile) = 0;
    virtual HRESULT SetHelpContext(DWORD iHelpContext) = 0;

protected:
    ~ICreateErrorInfo() = default;
};

QORJOB_API HRESULT CreateErrorInfo(ICreateErrorInfo** oErrorInfo);

/// The calling thread's error object. Set takes a reference in place of the one before (null: none); Get hands it out
/// and takes it from the thread, S_FALSE and null when there is none. `iReserved` is 0, else E_INVALIDARG.
QORJOB_API HRESULT SetErrorInfo(DWORD iReserved, IErrorInfo* iErrorInfo);
QORJOB_API HRESULT GetErrorInfo(DWORD iReserved, IErrorInfo** oErrorInfo);

/// A byte stream, with the operations that a marshaler needs.
class IStream : public IUnknown
{
public:
    virtual HRESULT Read(void* oBytes, DWORD iBytes, DWORD* oRead) = 0;
    virtual HRESULT Write(const void* iBytes, DWORD iByteCount, DWORD* oWritten) = 0;

protected:
    ~IStream() = default;
};

/// The transfer of an interface pointer from one thread to another. `iContext` is MSHCTX_INPROC.
class IMarshal : public IUnknown
{
public:
    virtual HRESULT GetUnmarshalClass(const GUID& iInterfaceId, void* iObject, DWORD iContext, void* iReserved,
                                      DWORD iFlags, GUID* oClassId) = 0;
    virtual HRESULT GetMarshalSizeMax(const GUID& iInterfaceId, void* iObject, DWORD iContext, void* iReserved,
                                      DWORD iFlags, DWORD* oBytes) = 0;
    virtual HRESULT MarshalInterface(IStream* iStream, const GUID& iInterfaceId, void* iObject, DWORD iContext,
                                     void* iReserved, DWORD iFlags) = 0;
    virtual HRESULT UnmarshalInterface(IStream* iStream, const GUID& iInterfaceId, void** oObject) = 0;
    virtual HRESULT ReleaseMarshalData(IStream* iStream) = 0;
    virtual HRESULT DisconnectObject(DWORD iReserved) = 0;

protected:
    ~IMarshal() = default;
};

inline constexpr DWORD MSHCTX_INPROC = 3;

/// Makes the marshaler that an object aggregates when any thread may call it: it writes the pointer itself, so that
/// every thread calls the object directly. The result is the marshaler's own IUnknown; ask it for IID_IMarshal. It
/// counts its IMarshal references on `iOuter`, which it doesn't own (null: on itself). Errors: E_INVALIDARG for a null
/// out-pointer, E_OUTOFMEMORY.
QORJOB_API HRESULT CoCreateFreeThreadedMarshaler(IUnknown* iOuter, IUnknown** oMarshaler);

#endif
