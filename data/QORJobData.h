// What one step of a job leaves for the next ones: a small counted object with an id that names what it is.
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

/// The root of the data items. Its virtual operations are reached by their place, Release before AddRef: never move
/// one.
///
/// Made with a reference count of 0: the creator's first AddRef makes it 1. The last Release lets the payload go and
/// then the item itself: one without a memory buffer is deleted, one in a buffer stays for the buffer to take along,
/// and one whose in-buffer flag is off takes its buffer along. Where Reset throws, the item ends all the same and the
/// exception passes: the destructor runs meanwhile, and must not throw in its turn.
///
/// Threads: any for AddRef and Release; otherwise one at a time, unless nobody changes the item any more.
/// Owns:    its payload, as each kind says.
/// Errors:  E_POINTER for null out-pointers and for null buffers that are to be written or read; E_OUTOFMEMORY, which
///          leaves the item as it was.
/// Locks:   none; the data-name registry has its own.
class QORJOB_API QORJobData : public HeapObject
{
public:
    virtual ~QORJobData() = 0;

    /// Lets the payload go.
    virtual HRESULT Reset();
    /// The payload itself, no copy.
    virtual HRESULT GetData(const void** oData) const = 0;
    /// The registered name of the item's id.
    virtual HRESULT GetName(const QBase::WCHAR** oName) const = 0;

    // The payload as bytes, little-endian; `iVersion` selects nothing. SaveObj stores the size that it needs or has
    // written before it looks at `iMaxSize`; a kind that doesn't fit gives S_FALSE and writes nothing, unless the kind
    // says otherwise. LoadObj is for a fresh item: it forgets a payload that is there, without freeing it.

    virtual HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const = 0;
    virtual HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const = 0;
    virtual HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) = 0;

    /// Any interface is fine with it: S_OK, and nothing is written.
    virtual HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface);
    /// Both give the new count.
    virtual DWORD Release();
    virtual DWORD AddRef();
    virtual HRESULT Init(DWORD iId);
    virtual HRESULT GetId(unsigned* oId) const;

    // E_NOTIMPL.

    virtual HRESULT GetObjType(GUID* oType) const;
    virtual HRESULT GetVersionId(DWORD* oVersionId) const;
    virtual HRESULT GetLoadStatus(DWORD* oStatus) const;
    virtual HRESULT GetChildren(IEnumKDXGUID** oChildren) const;

    /// What Release does: drops one reference and gives the new count.
    DWORD ReleaseRef();

    /// The item that CreateJobDataObject makes, and the id of its name.
    static constexpr int cMachineNameId = 0;

    // The data-name registry: one a process, made by InitJobDataNameIds or the first AddName; lookups give E_HANDLE
    // without it. UnInitJobDataNameIds is for the time when nobody looks anything up any more.

    /// Registers the names of the ids that this library knows; again each time.
    static HRESULT InitJobDataNameIds();
    static HRESULT UnInitJobDataNameIds();
    static HRESULT AddName(const QBase::WCHAR* iName, int iId);
    /// -1 when the name is unknown.
    static HRESULT GetId(const QBase::WCHAR* iName, int* oId);
    /// The registry's own text; null when the id is unknown.
    static HRESULT GetName(int iId, const QBase::WCHAR** oName);
    static HRESULT GetName(int iId, QBase::wstring& oName);

    /// Makes the item of cMachineNameId, an empty string, in the job's buffer; E_INVALIDARG for any other id. Its count
    /// is 0. Takes no lock: any thread may allocate from the buffer.
    static HRESULT CreateJobDataObject(const QORJob* iJob, int iId, QORJobData** oData);

    // On the general heap, or in a buffer that keeps the memory until it goes. Without memory both give null.

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

    /// `ibInBuffer`: the item's memory is the buffer's. Otherwise the buffer is the item's.
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
