// What the library asks of the objects that the layers above put into a process context. Operations are counted from
// QueryInterface as 0; those that are told a place stand there, the ones behind them are this library's choice.
// The report instance has a header of its own.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/ReservedSlots.h"
#include "platform/Windows.h"

class ICKDXProcessContext;

/// {790AC401-5316-11D2-A0E9-0060083605BF}
QORJOB_API extern const GUID IID_ICKDXSession;
/// {EF46AF40-D019-11D2-9997-00600835E4A4}
QORJOB_API extern const GUID IID_ICKDXObjectSource;
/// {6239CB10-6C3C-11D1-9BDF-006097C50B8E}
QORJOB_API extern const GUID IID_ICKDXObjectDefinition;

/// Bit of a session's flags: its name to show is that of operation 8.
inline constexpr LONG cSessionShowsName8 = 1;

// Places 3 to 6 are reserved: 4.
class ICKDXSessionHead : public ReservedSlots<IUnknown, 4>
{
public:
    /// Operation 7. Without cSessionShowsName8 the name to show is that of operation 9.
    virtual HRESULT get_Flags(LONG* oFlags) = 0;
    /// Operations 8 and 9. The caller frees the name.
    virtual HRESULT get_Name8(BSTR* oName) = 0;
    virtual HRESULT get_Name9(BSTR* oName) = 0;

protected:
    ~ICKDXSessionHead() = default;
};

/// The user's session as the session object of a process context (its ContextObjectA) has it.
/// Places 10 to 12 are reserved: 3.
class ICKDXSession : public ReservedSlots<ICKDXSessionHead, 3>
{
public:
    /// Operation 13. The argument passes through the process context unseen.
    virtual HRESULT Call(IUnknown* iArgument) = 0;
    /// The locale that texts for the user are written in.
    virtual HRESULT get_Locale(unsigned* oLocale) = 0;
    /// Makes the texts of a project ready in the user's language. `iScope` is always 1.
    virtual HRESULT FillLocalisation(const GUID& iProjectId, int iScope) = 0;

protected:
    ~ICKDXSession() = default;
};

/// Whoever has the definition that a request is about: the context's ContextObjectC.
/// Places 3 to 10 are reserved: 8.
class ICKDXObjectSource : public ReservedSlots<IUnknown, 8>
{
public:
    /// Operation 11. The object that answers for ICKDXObjectDefinition.
    virtual HRESULT get_Object(IUnknown** oObject) = 0;

protected:
    ~ICKDXObjectSource() = default;
};

/// The definition of a report or a document. Places 3 to 19 are reserved: 17.
class ICKDXObjectDefinition : public ReservedSlots<IUnknown, 17>
{
public:
    /// Operation 20. Which object the request is about.
    virtual HRESULT get_ObjectID(GUID* oObjectId) = 0;
    /// The definition's own id and name; the caller frees the name.
    virtual HRESULT get_DefinitionID(GUID* oDefinitionId) = 0;
    virtual HRESULT get_Name(BSTR* oName) = 0;

protected:
    ~ICKDXObjectDefinition() = default;
};

/// The user's session that a context has, and the locale of its texts (the user's default one without a session, or
/// where that doesn't tell).
QBase::PtrI<ICKDXSession> SessionOf(ICKDXProcessContext& iContext);
unsigned SessionLocaleOf(ICKDXProcessContext& iContext);

// The next two have no ids: whoever puts ContextObjectO or ContextObjectD into a context puts just these.

/// Places 3 to 20 are reserved: 18.
class ICKDXContextObjectO : public ReservedSlots<IUnknown, 18>
{
public:
    /// Operation 21.
    virtual HRESULT get_Guid(GUID* oGuid) = 0;

protected:
    ~ICKDXContextObjectO() = default;
};

/// Places 3 to 30 are reserved: 28.
class ICKDXContextObjectD : public ReservedSlots<IUnknown, 28>
{
public:
    /// Operation 31. The item, with a reference.
    virtual HRESULT get_Item(IUnknown** oItem) = 0;

protected:
    ~ICKDXContextObjectD() = default;
};

/// Takes the error of an aborted task: the context's HandleB, to be had of it with a dynamic_cast. Not a COM object.
class QORJOB_API QORErrorReporter : public virtual QBase::Counted
{
public:
    /// What kind of report follows; 4 is that of an aborted task.
    virtual HRESULT SetReportKind(int iKind) = 0;
    virtual HRESULT ReportError(HRESULT iCode, const QBase::WCHAR* iText) = 0;

protected:
    ~QORErrorReporter() override = default;
};
