#include "context/Collaborators.h"

#include "context/ICKDXProcessContext.h"
#include "platform/ComObject.h"
#include "platform/QFormat.h"

const GUID IID_ICKDXSession = {0x790AC401, 0x5316, 0x11D2, {0xA0, 0xE9, 0x00, 0x60, 0x08, 0x36, 0x05, 0xBF}};
const GUID IID_ICKDXObjectSource = {0xEF46AF40, 0xD019, 0x11D2, {0x99, 0x97, 0x00, 0x60, 0x08, 0x35, 0xE4, 0xA4}};
const GUID IID_ICKDXObjectDefinition = {0x6239CB10, 0x6C3C, 0x11D1, {0x9B, 0xDF, 0x00, 0x60, 0x97, 0xC5, 0x0B, 0x8E}};

QBase::PtrI<ICKDXSession> SessionOf(ICKDXProcessContext& iContext)
{
    QBase::PtrI<IUnknown> object;
    if (FAILED(iContext.get_ContextObjectA(object.Receive())))
        return {};
    return QueryFor<ICKDXSession>(object.Get(), IID_ICKDXSession);
}

unsigned SessionLocaleOf(ICKDXProcessContext& iContext)
{
    unsigned locale = 0;
    const auto session = SessionOf(iContext);
    return session && SUCCEEDED(session->get_Locale(&locale)) ? locale : QFormat::GetUserDefaultLCID();
}
