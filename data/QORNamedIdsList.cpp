#include "data/QORNamedIdsList.h"

#include "base/Categories.h"
#include "data/Payload.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

constexpr int cUnknown = -1; // an id or an index

/// Makes sure that the next push_back can't fail.
template <class T>
void MakeRoomForOne(std::pmr::vector<T>& ioVector)
{
    constexpr std::size_t cFirstRoom = 16;
    if (ioVector.size() == ioVector.capacity())
        ioVector.reserve(std::max(cFirstRoom, 2 * ioVector.size()));
}

} // namespace

bool QORNamedIdsList::OrdinalLess::operator()(const QBase::WCHAR* iLeft, const QBase::WCHAR* iRight) const noexcept
{
    while (*iLeft == *iRight && *iLeft != 0)
    {
        ++iLeft;
        ++iRight;
    }
    return *iLeft < *iRight;
}

QORNamedIdsList::QORNamedIdsList()
    : mNames(QBase::DefaultHeap()), mIds(QBase::DefaultHeap()), mIndices(QBase::DefaultHeap()),
      mpLock(QSynch::MakeRWLock(LockCategoryNamedIdsList))
{
}

QORNamedIdsList::~QORNamedIdsList()
{
    QSynch::RWLock::WriteHold hold(mpLock.get());
    for (std::size_t index = mNames.size(); index-- > 0;)
        QBase::HeapFree(mNames[index]);
}

int QORNamedIdsList::FindName(const QBase::WCHAR* iName) const
{
    if (iName == nullptr)
        return cUnknown;
    const auto found = mIndices.find(iName);
    return found == mIndices.end() ? cUnknown : found->second;
}

int QORNamedIdsList::FindId(int iId) const
{
    // Whole blocks first: the comparisons within a block have no branches and can be vectorised.
    constexpr std::size_t cBlock = 16;
    std::size_t end = mIds.size();
    for (; end >= cBlock; end -= cBlock)
    {
        const int* const block = mIds.data() + end - cBlock;
        unsigned hits = 0;
        for (std::size_t i = 0; i < cBlock; ++i)
            hits += block[i] == iId ? 1 : 0;
        if (hits != 0)
            break;
    }
    while (end > 0 && mIds[end - 1] != iId)
        --end;
    return static_cast<int>(end) - 1;
}

int QORNamedIdsList::GetIdAt(int iIndex) const
{
    return iIndex < 0 || iIndex >= GetCount() ? cUnknown : mIds[static_cast<std::size_t>(iIndex)];
}

const QBase::WCHAR* QORNamedIdsList::GetNameAt(int iIndex) const
{
    return iIndex < 0 || iIndex >= GetCount() ? nullptr : mNames[static_cast<std::size_t>(iIndex)];
}

/// What can throw comes first, so that a failure changes nothing.
void QORNamedIdsList::Append(QBase::HeapText& ioName, int iId)
{
    MakeRoomForOne(mNames);
    MakeRoomForOne(mIds);
    mIndices.emplace(ioName.get(), GetCount());
    mNames.push_back(ioName.release());
    mIds.push_back(iId);
}

void QORNamedIdsList::Replace(int iIndex, QBase::HeapText& ioName, int iId)
{
    QBase::WCHAR*& stored = mNames[static_cast<std::size_t>(iIndex)];
    mIds[static_cast<std::size_t>(iIndex)] = iId;
    // The key is the stored pointer: it has to be replaced together with it.
    auto entry = mIndices.extract(stored);
    if (stored != ioName.get())
        QBase::HeapFree(stored);
    stored = ioName.release();
    entry.key() = stored;
    mIndices.insert(std::move(entry));
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
        if (index < 0)
            Append(name, id);
        else
            Replace(index, name, id);
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
