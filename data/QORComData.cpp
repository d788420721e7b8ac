#include "data/QORComData.h"

#include <utility>

QORComData::QORComData(int iId, IUnknown* iInterface) : QORJobData(iId), mpInterface(iInterface)
{
    if (mpInterface != nullptr)
        mpInterface->AddRef();
}

/// A counted pointer releases the interface: it catches what Release throws.
QORComData::~QORComData() { QBase::PtrI<IUnknown>::Adopt(mpInterface); }

HRESULT QORComData::Reset()
{
    if (IUnknown* old = std::exchange(mpInterface, nullptr))
        old->Release();
    return S_OK;
}

HRESULT QORComData::GetData(const void** oData) const
{
    if (oData == nullptr)
        return E_POINTER;
    *oData = mpInterface;
    return S_OK;
}

HRESULT QORComData::GetName(const QBase::WCHAR** oName) const { return QORJobData::GetName(GetOwnId(), oName); }

HRESULT QORComData::GetSaveObjSize(unsigned, unsigned* oSize) const
{
    if (oSize == nullptr)
        return E_POINTER;
    *oSize = 0;
    return S_OK;
}

HRESULT QORComData::SaveObj(unsigned iVersion, unsigned, signed char*, unsigned* oSize) const
{
    return QORComData::GetSaveObjSize(iVersion, oSize);
}

HRESULT QORComData::LoadObj(unsigned, const signed char*) { return S_OK; }

HRESULT QORComData::GetInterface(IUnknown** oInterface) const
{
    if (oInterface == nullptr)
        return E_POINTER;
    *oInterface = QBase::PtrI<IUnknown>(mpInterface).Detach();
    return S_OK;
}

HRESULT QORComData::SetInterface(IUnknown* iInterface)
{
    QORComData::Reset();
    mpInterface = QBase::PtrI<IUnknown>(iInterface).Detach();
    return S_OK;
}
