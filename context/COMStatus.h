// How the server's errors reach the clients of its COM interfaces: as the error object of the calling thread.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QResource.h"
#include "platform/Windows.h"

class ICKDXReadMessage;

/// Joins the texts of the entries that a reply carries, a line feed between two, and makes them the error description.
/// The language is that of the registry (the unnamed value of HKEY_LOCAL_MACHINE\SOFTWARE\Veltrix\Language,
/// hexadecimal), else none is asked for. With an `iErrorInfoCreator` the object is filled, and its owner installs it;
/// without one a new object is installed in the calling thread. Gives the id of the first entry as its result and in
/// `oStatus` (may be null): 0 without entries. The installed object goes with the id of the last entry. Errors: S_FALSE
/// for no message; E_UNEXPECTED for one without a block stream, E_FAIL for damaged blocks: these are reported, too, and
/// `oStatus` stays as it is; 0x8004308B or 0x8004308C where something throws.
QORJOB_API HRESULT SetCOMStatus(ICKDXReadMessage* iInputMessage, const GUID& iClassId, const GUID& iInterfaceId,
                                ICreateErrorInfo* iErrorInfoCreator, HRESULT* oStatus);

/// Makes an error object and installs it in the calling thread. `iText` is the description, or, with a value of 16
/// bits, the number of a string resource: the description is "Unknown Error" then, and a code of 0 becomes that of the
/// number. The help file counts only with a help context. Gives the code, DISP_E_EXCEPTION when it is 0. An object that
/// can't be made or filled changes nothing of that.
QORJOB_API HRESULT ReportErrorInfo(const GUID& iClassId, const QBase::WCHAR* iText, DWORD iHelpContext,
                                   const QBase::WCHAR* iHelpFile, const GUID& iInterfaceId, HRESULT iCode);

/// Formats a message of `iSource` twice: the source records it in the process's language, the caller gets it in the
/// thread's. The template is that of the id, or of the key when the id has none.
/// Errors: 0x8004308B or 0x8004308C where something throws; `oText` stays as it is then.
QORJOB_API HRESULT FormatMessageText(QBase::wstring& oText, unsigned iMessageId,
                                     const QResource::MessageFormatter& iFormatter, const char* iKey,
                                     QResource::MessageSource& iSource);
