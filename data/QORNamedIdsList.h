// A registry between names and ids, looked up from both sides.
#pragma once

#include "base/HeapText.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"

#include <map>
#include <memory_resource>
#include <vector>

/// Names are compared unit by unit, case and all. Each has an id, which it may share with others, and an index: 0,
/// 1, 2... in the order of registration. A name stays once it is in; registered again it keeps its index and takes the
/// new id.
///
/// A lookup that finds nothing succeeds and says so through its out value: -1, null or the empty text. A null name and
/// a negative index are unknown.
///
/// Threads: any.
/// Owns:    the names in it.
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

    /// `iName`, of the general heap, is the registry's from then on, whatever comes back. A negative id stands for the
    /// number of names so far.
    HRESULT AddName(QBase::WCHAR* iName, int iId);
    /// The same with a copy of the name; E_INVALIDARG too when there is no memory for the copy.
    HRESULT AddNameCopy(const QBase::WCHAR* iName, int iId);

    HRESULT NameToId(const QBase::WCHAR* iName, int* oId) const;
    HRESULT NameToIndex(const QBase::WCHAR* iName, int* oIndex) const;

    // Of several names with one id the last one counts. What the pointer forms give is the registry's: it is good until
    // that name is registered again or the registry goes. Copies are freed with QBase::HeapFree.

    HRESULT IdToName(int iId, const QBase::WCHAR** oName) const;
    HRESULT IdToName(int iId, QBase::wstring& oName) const;
    HRESULT IdToNameCopy(int iId, QBase::WCHAR** oName) const;
    HRESULT IdToIndex(int iId, int* oIndex) const;
    HRESULT IndexToId(int iIndex, int* oId) const;
    HRESULT IndexToName(int iIndex, const QBase::WCHAR** oName) const;
    HRESULT IndexToName(int iIndex, QBase::wstring& oName) const;
    /// Null too, and S_OK, without memory for the copy.
    HRESULT IndexToNameCopy(int iIndex, QBase::WCHAR** oName) const;
    /// Never writes `oCount`; see the body.
    HRESULT GetNameCount(int* oCount) const;

    /// A copy on the general heap, for the caller to free with QBase::HeapFree. Null gives null; so does the first form
    /// without memory, where the second gives E_OUTOFMEMORY.
    static QBase::WCHAR* DuplicateString(const QBase::WCHAR* iText);
    static HRESULT DuplicateString(const QBase::WCHAR* iText, QBase::WCHAR** oCopy);

private:
    struct OrdinalLess
    {
        bool operator()(const QBase::WCHAR* iLeft, const QBase::WCHAR* iRight) const noexcept;
    };

    int FindName(const QBase::WCHAR* iName) const QORJOB_REQUIRES_SHARED(mpLock);
    int FindId(int iId) const QORJOB_REQUIRES_SHARED(mpLock);
    int GetCount() const QORJOB_REQUIRES_SHARED(mpLock) { return static_cast<int>(mIds.size()); }
    int GetIdAt(int iIndex) const QORJOB_REQUIRES_SHARED(mpLock);
    const QBase::WCHAR* GetNameAt(int iIndex) const QORJOB_REQUIRES_SHARED(mpLock);
    void Append(HeapText& ioName, int iId) QORJOB_REQUIRES(mpLock);
    void Replace(int iIndex, HeapText& ioName, int iId) QORJOB_REQUIRES(mpLock);

    std::pmr::vector<QBase::WCHAR*> mNames QORJOB_GUARDED_BY(mpLock); // by index, owned
    std::pmr::vector<int> mIds QORJOB_GUARDED_BY(mpLock);             // by index
    std::pmr::map<const QBase::WCHAR*, int, OrdinalLess>
        mIndices QORJOB_GUARDED_BY(mpLock); // its keys are the pointers in mNames
    const QSynch::RWLockPtr mpLock;
};
