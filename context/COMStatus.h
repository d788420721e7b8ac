// Functions that report the server's errors to COM clients, as the error object of the calling thread.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QResource.h"
#include "platform/Windows.h"

class ICKDXReadMessage;

/// Joins the texts of a reply's entries with line feeds and sets them as the error description. The language is read
/// from the registry (the unnamed value of HKEY_LOCAL_MACHINE\SOFTWARE\Veltrix\Language, hexadecimal); without it
/// none is asked for. A given `iErrorInfoCreator` is filled, and its owner installs it; without one a new object is
/// installed in the calling thread, with the id of the last entry. Returns the id of the first entry, also in `oStatus`
/// (may be null): 0 without entries.
/// Errors: S_FALSE for a null message; E_UNEXPECTED without a block stream and E_FAIL for damaged blocks, which are
/// reported as errors, too, and leave `oStatus` unchanged; 0x8004308B or 0x8004308C where something throws.
QORJOB_API HRESULT SetCOMStatus(ICKDXReadMessage* iInputMessage, const GUID& iClassId, const GUID& iInterfaceId,
                                ICreateErrorInfo* iErrorInfoCreator, HRESULT* oStatus);

/// Makes an error object and installs it in the calling thread. `iText` is the description, or the number of a string
/// resource if its value fits 16 bits: then the description is "Unknown Error", and a code of 0 is replaced by that of
/// the number. The help file is ignored without a help context. Returns the code, or DISP_E_EXCEPTION if it is 0, even
/// if the object can't be made or filled.
QORJOB_API HRESULT ReportErrorInfo(const GUID& iClassId, const QBase::WCHAR* iText, DWORD iHelpContext,
                                   const QBase::WCHAR* iHelpFile, const GUID& iInterfaceId, HRESULT iCode);

/// Formats a message of `iSource` twice: in the process's language for the source to record, and in the thread's for
/// the caller. The template is found by the id, or by the key if the id has none. Errors: 0x8004308B or 0x8004308C
/// where something throws; `oText` stays unchanged then.
QORJOB_API HRESULT FormatMessageText(QBase::wstring& oText, unsigned iMessageId,
                                     const QResource::MessageFormatter& iFormatter, const char* iKey,
                                     QResource::MessageSource& iSource);
