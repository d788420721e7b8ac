// A data item that carries a COM interface. Nothing of it is saved.
#pragma once

#include "data/QORJobData.h"

/// A copy shares the reference with its original, and both release it: only one of the two may be destroyed.
///
/// Threads: as QORJobData.
/// Owns:    one reference to the interface.
/// Errors:  as QORJobData.
/// Locks:   none.
class QORJOB_API QORComData : public QORJobData
{
public:
    /// Null is allowed.
    QORComData(int iId, IUnknown* iInterface);
    QORComData(const QORComData& iOther) = default;
    QORComData& operator=(const QORComData& iOther) = default;
    ~QORComData() override;

    HRESULT Reset() override;
    /// The interface without a reference for the caller.
    HRESULT GetData(const void** oData) const override;
    HRESULT GetName(const QBase::WCHAR** oName) const override;
    /// 0
    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const override;
    HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const override;
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) override;

    /// Adds a reference for the caller.
    HRESULT GetInterface(IUnknown** oInterface) const;
    /// Releases the old interface, then takes a reference to the new one; null clears.
    HRESULT SetInterface(IUnknown* iInterface);

private:
    IUnknown* mpInterface;
};
