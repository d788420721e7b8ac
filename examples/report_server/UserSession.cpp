#include "UserSession.h"

#include "JobCalls.h"

void SessionObject::Describe(const std::string& iUser, unsigned iLocale)
{
    mUser = iUser;
    mLocale = iLocale;
}

HRESULT SessionObject::get_Flags(LONG* oFlags)
{
    if (oFlags == nullptr)
        return E_POINTER;
    *oFlags = 0;
    return S_OK;
}

HRESULT SessionObject::get_Name8(BSTR* oName) { return GiveText(mUser, oName); }

HRESULT SessionObject::get_Name9(BSTR* oName) { return GiveText(mUser, oName); }

/// Nobody calls this server through its sessions.
HRESULT SessionObject::Call(IUnknown*) { return E_NOTIMPL; }

HRESULT SessionObject::get_Locale(unsigned* oLocale)
{
    if (oLocale == nullptr)
        return E_POINTER;
    *oLocale = mLocale;
    return S_OK;
}

/// The projects of this server have no texts of their own.
HRESULT SessionObject::FillLocalisation(const GUID&, int) { return S_FALSE; }

UserSession::UserSession(const std::string& iUser, unsigned iLocale)
{
    Expect(CComObject<SessionObject>::CreateInstance(mpObject), "CreateInstance");
    mpObject->Describe(iUser, iLocale);
}
