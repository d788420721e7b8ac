// A registry of names and ids with lookups in both directions.
#pragma once

#include "base/IndexTable.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"

#include <memory_resource>
#include <vector>

/// Names are compared unit by unit and case-sensitively. Each has an id, which several names may share, and an index:
/// 0, 1, 2... in the order of registration. Names are never removed; one that is registered again keeps its index and
/// takes the new id.
///
/// A lookup that finds nothing returns S_OK and -1, null or the empty text. A null name and a negative index are
/// unknown.
///
/// Threads: any.
/// Owns:    its names.
/// Errors:  E_POINTER for null out-pointers, E_INVALIDARG for a null name to add, E_OUTOFMEMORY; the constructor throws
///          std::bad_alloc when its lock can't be made.
/// Locks:   a readers/writer lock of category 27; nothing is called under it but the general heap.
class QORJOB_API QORNamedIdsList
{
public:
    QORNamedIdsList();
    ~QORNamedIdsList();
    QORNamedIdsList(const QORNamedIdsList&) = delete;
    QORNamedIdsList& operator=(const QORNamedIdsList&) = delete;

    /// Takes ownership of `iName`, which is on the general heap, even if it fails. A negative id stands for the number
    /// of names so far.
    HRESULT AddName(QBase::WCHAR* iName, int iId);
    /// The same with a copy of the name; E_INVALIDARG without memory for the copy, too.
    HRESULT AddNameCopy(const QBase::WCHAR* iName, int iId);

    HRESULT NameToId(const QBase::WCHAR* iName, int* oId) const;
    HRESULT NameToIndex(const QBase::WCHAR* iName, int* oIndex) const;

    // Of several names with one id the last one is found. The pointer forms return the registry's own text, which is
    // valid until that name is registered again or the registry is destroyed. Copies are freed with QBase::HeapFree.

    HRESULT IdToName(int iId, const QBase::WCHAR** oName) const;
    HRESULT IdToName(int iId, QBase::wstring& oName) const;
    HRESULT IdToNameCopy(int iId, QBase::WCHAR** oName) const;
    HRESULT IdToIndex(int iId, int* oIndex) const;
    HRESULT IndexToId(int iIndex, int* oId) const;
    HRESULT IndexToName(int iIndex, const QBase::WCHAR** oName) const;
    HRESULT IndexToName(int iIndex, QBase::wstring& oName) const;
    /// Without memory for the copy: null and S_OK.
    HRESULT IndexToNameCopy(int iIndex, QBase::WCHAR** oName) const;
    /// Never writes `oCount`: callers rely on it.
    HRESULT GetNameCount(int* oCount) const;

    /// A copy on the general heap, for the caller to free with QBase::HeapFree; null for null. Without memory the first
    /// form returns null, the second E_OUTOFMEMORY.
    static QBase::WCHAR* DuplicateString(const QBase::WCHAR* iText);
    static HRESULT DuplicateString(const QBase::WCHAR* iText, QBase::WCHAR** oCopy);

private:
    struct Entry
    {
        QBase::WCHAR* mName; // owned
        int mId;
        int mNextOfId; // the next lower index that has the same id; -1 for none
    };

    int FindName(const QBase::WCHAR* iName) const QORJOB_REQUIRES_SHARED(mpLock);
    int FindId(int iId) const QORJOB_REQUIRES_SHARED(mpLock);
    int GetCount() const QORJOB_REQUIRES_SHARED(mpLock) { return static_cast<int>(mEntries.size()); }
    int GetIdAt(int iIndex) const QORJOB_REQUIRES_SHARED(mpLock);
    const QBase::WCHAR* GetNameAt(int iIndex) const QORJOB_REQUIRES_SHARED(mpLock);
    int Append(QBase::HeapText& ioName) QORJOB_REQUIRES(mpLock);
    void Replace(int iIndex, QBase::HeapText& ioName) QORJOB_REQUIRES(mpLock);
    void GiveId(int iIndex, int iId) QORJOB_REQUIRES(mpLock);
    void TakeId(int iIndex) QORJOB_REQUIRES(mpLock);

    std::pmr::vector<Entry> mEntries QORJOB_GUARDED_BY(mpLock); // by index
    IndexTable mByName QORJOB_GUARDED_BY(mpLock);               // by the names' hashes
    IndexTable mById QORJOB_GUARDED_BY(mpLock);                 // the highest index of each id
    const QSynch::RWLockPtr mpLock;
};
