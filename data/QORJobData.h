// The base class of data items: counted objects, each with an id, that the steps of a job hand on to later steps.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/Windows.h"

#include <atomic>
#include <cstddef>

class IEnumKDXGUID;
class QORJob;
class QORNamedIdsList;

/// Other modules call the virtual operations by their slots, Release before AddRef: never move one.
///
/// The reference count begins at 0, and the creator's first AddRef makes it 1. The last Release resets the payload and
/// then ends the item: without a memory buffer it is deleted; in a buffer it stays until the buffer is destroyed; with
/// a buffer but without the in-buffer flag it destroys that buffer. If Reset throws, the item ends as well, and the
/// exception passes on: the destructor runs while it is in flight, and must not throw.
///
/// Threads: any for AddRef and Release; otherwise one at a time, or any number once the item is no longer changed.
/// Owns:    its payload, as each kind says.
/// Errors:  E_POINTER for null out-pointers and for null buffers that are to be written or read; E_OUTOFMEMORY,
///          with the item unchanged.
/// Locks:   none; the data-name registry has its own.
class QORJOB_API QORJobData : public HeapObject
{
public:
    virtual ~QORJobData() = 0;

    /// Releases the payload.
    virtual HRESULT Reset();
    /// The payload itself, no copy.
    virtual HRESULT GetData(const void** oData) const = 0;
    /// The registered name of the item's id.
    virtual HRESULT GetName(const QBase::WCHAR** oName) const = 0;

    // The payload as bytes, little-endian; `iVersion` is ignored. SaveObj sets `oSize` before it checks `iMaxSize`. A
    // payload that doesn't fit gives S_FALSE and writes nothing, unless the class says otherwise. LoadObj is for a new
    // item: it overwrites an existing payload without freeing it.

    virtual HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const = 0;
    virtual HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const = 0;
    virtual HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) = 0;

    /// S_OK for any interface; writes nothing.
    virtual HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface);
    /// Both return the new count.
    virtual DWORD Release();
    virtual DWORD AddRef();
    virtual HRESULT Init(DWORD iId);
    virtual HRESULT GetId(unsigned* oId) const;

    // All four return E_NOTIMPL.

    virtual HRESULT GetObjType(GUID* oType) const;
    virtual HRESULT GetVersionId(DWORD* oVersionId) const;
    virtual HRESULT GetLoadStatus(DWORD* oStatus) const;
    virtual HRESULT GetChildren(IEnumKDXGUID** oChildren) const;

    /// The body of Release: drops one reference and returns the new count.
    DWORD ReleaseRef();

    /// The item that CreateJobDataObject makes, and the id of its name.
    static constexpr int cMachineNameId = 0;

    // The data-name registry: one per process, made by InitJobDataNameIds or the first AddName; lookups return E_HANDLE
    // without it. UnInitJobDataNameIds may only be called once there are no more lookups.

    /// Registers the library's own names, each time that it is called.
    static HRESULT InitJobDataNameIds();
    static HRESULT UnInitJobDataNameIds();
    static HRESULT AddName(const QBase::WCHAR* iName, int iId);
    /// -1 when the name is unknown.
    static HRESULT GetId(const QBase::WCHAR* iName, int* oId);
    /// The registry's own text; null when the id is unknown.
    static HRESULT GetName(int iId, const QBase::WCHAR** oName);
    static HRESULT GetName(int iId, QBase::wstring& oName);

    /// Makes the item of cMachineNameId, an empty string, in the job's buffer, with a count of 0; E_INVALIDARG for any
    /// other id. Takes no lock: any thread may allocate from the buffer.
    static HRESULT CreateJobDataObject(const QORJob* iJob, int iId, QORJobData** oData);

    // On the general heap, or in a buffer, which frees the memory when it is destroyed. Both return null without
    // memory.

    using HeapObject::operator new;
    static void* operator new(std::size_t iBytes, QBase::Buffer* iBuffer) noexcept
    {
        return iBuffer->TryAllocate(iBytes);
    }
    using HeapObject::operator delete;
    static void operator delete(void*, QBase::Buffer*) noexcept {}

protected:
    explicit QORJobData(int iId = 0) : mId(iId) {}
    /// The reference count is copied too.
    QORJobData(const QORJobData& iOther) = default;
    QORJobData& operator=(const QORJobData& iOther) = default;

    /// With `ibInBuffer` the item lies in the buffer, otherwise it owns the buffer.
    HRESULT SetMemoryBuffer(QBase::Buffer* iBuffer, bool ibInBuffer);

    int GetOwnId() const { return mId; }

private:
    void End();

    static std::atomic<QORNamedIdsList*> mJobDataNames;

    int mId;
    QSynch::AtomicLong mReferenceCount = 0;
    bool mbInBuffer = true;
    QBase::Buffer* mpMemoryBuffer = nullptr;
};
