#include "data/QORJobData.h"
#include "data/QORStringData.h"
#include "job/QORJobRows.h"

#include <utility>

// Ids are compared as unsigned numbers: a negative one is past the last slot.

HRESULT QORJob::SetJobData(QORJobData* iData)
{
    if (iData == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        unsigned id = 0;
        iData->GetId(&id);
        if (id >= mData.size())
            return E_FAIL;
        // The items are called under the lock. The old one leaves its slot before its release: one that throws isn't
        // released again.
        if (QORJobData* old = std::exchange(mData[id], nullptr))
            old->Release();
        iData->AddRef();
        mData[id] = iData;
        return S_OK;
    });
}

HRESULT QORJob::GetJobData(int iId, QORJobData** oData) const
{
    if (oData == nullptr)
        return E_POINTER;
    const HRESULT code = Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const auto id = static_cast<unsigned>(iId);
        if (id >= mData.size())
            return S_OK;
        *oData = mData[id];
        if (*oData != nullptr)
            (*oData)->AddRef();
        return S_OK;
    });
    // Both kinds of exception give the same code here: callers test for it.
    return code == cSystemExceptionMet ? cMessageExceptionMet : code;
}

HRESULT QORJob::IsDataAvailable(int iId, bool* obAvailable) const
{
    if (obAvailable == nullptr)
        return E_POINTER;
    QSynch::CriticalSection::SmartLock lock(mpLock.get());
    const auto id = static_cast<unsigned>(iId);
    *obAvailable = id < mData.size() && mData[id] != nullptr;
    return S_OK;
}

HRESULT QORJob::CreateJobDataObject(int iId, QORJobData** oData) const
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        return QORJobData::CreateJobDataObject(this, iId, oData);
    });
}

// The static factory of data items, which needs the job.
HRESULT QORJobData::CreateJobDataObject(const QORJob* iJob, int iId, QORJobData** oData)
{
    if (iJob == nullptr || oData == nullptr)
        return E_POINTER;
    if (iId != cMachineNameId)
        return E_INVALIDARG;
    const QBase::Buffer* shown = nullptr;
    const HRESULT code = iJob->GetLocalDataBuffer(&shown);
    if (code != S_OK)
        return code;
    // The job shows its buffer as constant to those who only look; its items are what the buffer is for.
    auto* buffer = const_cast<QBase::Buffer*>(shown);
    QORJobData* item = new (buffer) QORStringData(cMachineNameId, nullptr, QORStringData::ADOPT_STRING);
    if (item == nullptr)
        return E_OUTOFMEMORY;
    item->SetMemoryBuffer(buffer, true);
    *oData = item;
    return S_OK;
}
