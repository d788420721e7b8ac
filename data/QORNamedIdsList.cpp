#include "data/QORNamedIdsList.h"

#include "base/Categories.h"
#include "data/Payload.h"

#include <algorithm>
#include <functional>
#include <new>
#include <string_view>

namespace
{

constexpr int cUnknown = IndexTable::cNone; // an id or an index

unsigned HashOf(const QBase::WCHAR* iName)
{
    return static_cast<unsigned>(std::hash<std::basic_string_view<QBase::WCHAR>>()(iName));
}

bool IsSame(const QBase::WCHAR* iLeft, const QBase::WCHAR* iRight)
{
    for (; *iLeft == *iRight; ++iLeft, ++iRight)
        if (*iLeft == 0)
            return true;
    return false;
}

} // namespace

QORNamedIdsList::QORNamedIdsList()
    : mEntries(QBase::DefaultHeap()), mByName(QBase::DefaultHeap()), mById(QBase::DefaultHeap()),
      mpLock(QSynch::MakeRWLock(LockCategoryNamedIdsList))
{
}

QORNamedIdsList::~QORNamedIdsList()
{
    QSynch::RWLock::WriteHold hold(mpLock.get());
    for (std::size_t index = mEntries.size(); index-- > 0;)
        QBase::HeapFree(mEntries[index].mName);
}

int QORNamedIdsList::FindName(const QBase::WCHAR* iName) const
{
    if (iName == nullptr)
        return cUnknown;
    const Entry* const entries = mEntries.data();
    return mByName.Find(HashOf(iName), [=](int iIndex) { return IsSame(entries[iIndex].mName, iName); });
}

int QORNamedIdsList::FindId(int iId) const { return mById.Find(static_cast<unsigned>(iId)); }

int QORNamedIdsList::GetIdAt(int iIndex) const
{
    return iIndex < 0 || iIndex >= GetCount() ? cUnknown : mEntries[static_cast<std::size_t>(iIndex)].mId;
}

const QBase::WCHAR* QORNamedIdsList::GetNameAt(int iIndex) const
{
    return iIndex < 0 || iIndex >= GetCount() ? nullptr : mEntries[static_cast<std::size_t>(iIndex)].mName;
}

/// Gives the new index, which has no id yet. What can throw comes first, so that a failure changes nothing.
int QORNamedIdsList::Append(QBase::HeapText& ioName)
{
    const int index = GetCount();
    mByName.MakeRoom();
    mEntries.push_back({ioName.get(), cUnknown, cUnknown});
    mByName.Add(HashOf(ioName.release()), index);
    return index;
}

void QORNamedIdsList::Replace(int iIndex, QBase::HeapText& ioName)
{
    QBase::WCHAR*& stored = mEntries[static_cast<std::size_t>(iIndex)].mName;
    if (stored != ioName.get())
        QBase::HeapFree(stored);
    stored = ioName.release();
}

/// The indices of one id are linked from the highest to the lowest.
void QORNamedIdsList::GiveId(int iIndex, int iId)
{
    int* link = &mById.At(static_cast<unsigned>(iId));
    while (*link > iIndex)
        link = &mEntries[static_cast<std::size_t>(*link)].mNextOfId;
    Entry& entry = mEntries[static_cast<std::size_t>(iIndex)];
    entry.mId = iId;
    entry.mNextOfId = *link;
    *link = iIndex;
}

void QORNamedIdsList::TakeId(int iIndex)
{
    const Entry& entry = mEntries[static_cast<std::size_t>(iIndex)];
    const auto key = static_cast<unsigned>(entry.mId);
    int* const first = &mById.At(key);
    int* link = first;
    while (*link != iIndex)
        link = &mEntries[static_cast<std::size_t>(*link)].mNextOfId;
    if (link == first && entry.mNextOfId == cUnknown)
        mById.Remove(key);
    else
        *link = entry.mNextOfId;
}

HRESULT QORNamedIdsList::AddName(QBase::WCHAR* iName, int iId)
{
    QBase::HeapText name(iName);
    if (name == nullptr)
        return E_INVALIDARG;
    QSynch::RWLock::WriteHold hold(mpLock.get());
    const int index = FindName(name.get());
    // The count, not the name's index, even for a name that is registered already: callers rely on it.
    const int id = iId < 0 ? GetCount() : iId;
    try
    {
        mById.MakeRoom();
        if (index < 0)
        {
            GiveId(Append(name), id);
        }
        else
        {
            TakeId(index);
            GiveId(index, id);
            Replace(index, name);
        }
        return S_OK;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
}

HRESULT QORNamedIdsList::AddNameCopy(const QBase::WCHAR* iName, int iId)
{
    return AddName(DuplicateString(iName), iId);
}

HRESULT QORNamedIdsList::NameToId(const QBase::WCHAR* iName, int* oId) const
{
    if (oId == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oId = GetIdAt(FindName(iName));
    return S_OK;
}

HRESULT QORNamedIdsList::NameToIndex(const QBase::WCHAR* iName, int* oIndex) const
{
    if (oIndex == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oIndex = FindName(iName);
    return S_OK;
}

HRESULT QORNamedIdsList::IdToName(int iId, const QBase::WCHAR** oName) const
{
    if (oName == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oName = GetNameAt(FindId(iId));
    return S_OK;
}

HRESULT QORNamedIdsList::IdToName(int iId, QBase::wstring& oName) const
{
    QSynch::RWLock::ReadHold hold(mpLock.get());
    return AssignText(GetNameAt(FindId(iId)), oName);
}

HRESULT QORNamedIdsList::IdToNameCopy(int iId, QBase::WCHAR** oName) const
{
    QSynch::RWLock::ReadHold hold(mpLock.get());
    return DuplicateString(GetNameAt(FindId(iId)), oName);
}

HRESULT QORNamedIdsList::IdToIndex(int iId, int* oIndex) const
{
    if (oIndex == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oIndex = FindId(iId);
    return S_OK;
}

HRESULT QORNamedIdsList::IndexToId(int iIndex, int* oId) const
{
    if (oId == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oId = GetIdAt(iIndex);
    return S_OK;
}

HRESULT QORNamedIdsList::IndexToName(int iIndex, const QBase::WCHAR** oName) const
{
    if (oName == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oName = GetNameAt(iIndex);
    return S_OK;
}

HRESULT QORNamedIdsList::IndexToName(int iIndex, QBase::wstring& oName) const
{
    QSynch::RWLock::ReadHold hold(mpLock.get());
    return AssignText(GetNameAt(iIndex), oName);
}

HRESULT QORNamedIdsList::IndexToNameCopy(int iIndex, QBase::WCHAR** oName) const
{
    if (oName == nullptr)
        return E_POINTER;
    QSynch::RWLock::ReadHold hold(mpLock.get());
    *oName = DuplicateString(GetNameAt(iIndex));
    return S_OK;
}

HRESULT QORNamedIdsList::GetNameCount(int* oCount) const
{
    if (oCount == nullptr)
        return E_POINTER;
    // Takes the lock but leaves the out value unchanged: a known fault that is kept on purpose.
    QSynch::RWLock::ReadHold hold(mpLock.get());
    return S_OK;
}

QBase::WCHAR* QORNamedIdsList::DuplicateString(const QBase::WCHAR* iText)
{
    if (iText == nullptr)
        return nullptr;
    const std::size_t length = LengthOf(iText);
    QBase::WCHAR* copy = AllocateUnits(std::uint64_t{length} + 1);
    if (copy != nullptr)
        std::copy_n(iText, length + 1, copy);
    return copy;
}

HRESULT QORNamedIdsList::DuplicateString(const QBase::WCHAR* iText, QBase::WCHAR** oCopy)
{
    if (oCopy == nullptr)
        return E_POINTER;
    QBase::WCHAR* copy = DuplicateString(iText);
    if (iText != nullptr && copy == nullptr)
        return E_OUTOFMEMORY;
    *oCopy = copy;
    return S_OK;
}
