#include "data/QORJobData.h"

#include "data/QORNamedIdsList.h"

#include <memory>
#include <new>
#include <utility>

namespace
{

HRESULT AddOwnNames(QORNamedIdsList& ioNames)
{
    return ioNames.AddNameCopy(QORJOB_W("QORDataMachineName"), QORJobData::cMachineNameId);
}

} // namespace

std::atomic<QORNamedIdsList*> QORJobData::mJobDataNames{nullptr};

QORJobData::~QORJobData() = default;

HRESULT QORJobData::Reset() { return S_OK; }

HRESULT QORJobData::QueryInterface(const GUID&, void**) { return S_OK; }

DWORD QORJobData::Release() { return ReleaseRef(); }

DWORD QORJobData::AddRef() { return static_cast<DWORD>(mReferenceCount.Increment()); }

HRESULT QORJobData::Init(DWORD iId)
{
    mId = static_cast<int>(iId);
    return S_OK;
}

HRESULT QORJobData::GetId(unsigned* oId) const
{
    if (oId == nullptr)
        return E_POINTER;
    *oId = static_cast<unsigned>(mId);
    return S_OK;
}

HRESULT QORJobData::GetObjType(GUID*) const { return E_NOTIMPL; }

HRESULT QORJobData::GetVersionId(DWORD*) const { return E_NOTIMPL; }

HRESULT QORJobData::GetLoadStatus(DWORD*) const { return E_NOTIMPL; }

HRESULT QORJobData::GetChildren(IEnumKDXGUID**) const { return E_NOTIMPL; }

HRESULT QORJobData::SetMemoryBuffer(QBase::Buffer* iBuffer, bool ibInBuffer)
{
    mpMemoryBuffer = iBuffer;
    mbInBuffer = ibInBuffer;
    return S_OK;
}

DWORD QORJobData::ReleaseRef()
{
    const int left = mReferenceCount.Decrement();
    if (left != 0)
        return static_cast<DWORD>(left);
    // Where Reset throws, the item ends as well: its last reference is gone.
    const auto end = [](QORJobData* iItem) { iItem->End(); };
    const std::unique_ptr<QORJobData, decltype(end)> ending(this, end);
    Reset();
    return 0;
}

/// Ends the item, after its payload.
void QORJobData::End()
{
    if (mpMemoryBuffer == nullptr)
        delete this;
    else if (!mbInBuffer)
        std::exchange(mpMemoryBuffer, nullptr)->Destroy(); // the item may lie in it: nothing may follow
}

HRESULT QORJobData::InitJobDataNameIds()
{
    if (mJobDataNames.load(std::memory_order_acquire) == nullptr)
    {
        // Filled before it is published, so that the library's own names come before those of other threads.
        std::unique_ptr<QORNamedIdsList> names;
        try
        {
            names = std::make_unique<QORNamedIdsList>();
        }
        catch (const std::bad_alloc&)
        {
            return E_OUTOFMEMORY;
        }
        const HRESULT code = AddOwnNames(*names);
        if (code != S_OK)
            return code;
        QORNamedIdsList* none = nullptr;
        if (mJobDataNames.compare_exchange_strong(none, names.get()))
        {
            names.release();
            return S_OK;
        }
    }
    return AddOwnNames(*mJobDataNames.load(std::memory_order_acquire));
}

HRESULT QORJobData::UnInitJobDataNameIds()
{
    delete mJobDataNames.exchange(nullptr);
    return S_OK;
}

HRESULT QORJobData::AddName(const QBase::WCHAR* iName, int iId)
{
    if (mJobDataNames.load(std::memory_order_acquire) == nullptr)
    {
        const HRESULT code = InitJobDataNameIds();
        if (code != S_OK)
            return code;
    }
    return mJobDataNames.load(std::memory_order_acquire)->AddNameCopy(iName, iId);
}

HRESULT QORJobData::GetId(const QBase::WCHAR* iName, int* oId)
{
    if (oId == nullptr)
        return E_POINTER;
    const QORNamedIdsList* names = mJobDataNames.load(std::memory_order_acquire);
    return names == nullptr ? E_HANDLE : names->NameToId(iName, oId);
}

HRESULT QORJobData::GetName(int iId, const QBase::WCHAR** oName)
{
    if (oName == nullptr)
        return E_POINTER;
    const QORNamedIdsList* names = mJobDataNames.load(std::memory_order_acquire);
    return names == nullptr ? E_HANDLE : names->IdToName(iId, oName);
}

HRESULT QORJobData::GetName(int iId, QBase::wstring& oName)
{
    const QORNamedIdsList* names = mJobDataNames.load(std::memory_order_acquire);
    return names == nullptr ? E_HANDLE : names->IdToName(iId, oName);
}
