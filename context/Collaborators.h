// The interfaces of the collaborators that the layers above put into a process context, but for the report instance,
// which has a header of its own. Slots are counted from QueryInterface as 0. Where a comment names an operation's slot,
// other modules rely on it; the operations behind it are this library's choice.
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

/// For FillLocalisation, whose callers pass nothing else.
inline constexpr int cLocaliseProject = 1;

/// A bit of a session's flags: its display name is get_Name8.
inline constexpr LONG cSessionShowsName8 = 1;

// Slots 3 to 6 are reserved (4).
class ICKDXSessionHead : public ReservedSlots<IUnknown, 4>
{
public:
    /// Slot 7. Without cSessionShowsName8 the display name is get_Name9.
    virtual HRESULT QORJOB_STDCALL get_Flags(LONG* oFlags) = 0;
    /// Slots 8 and 9. The caller frees the name.
    virtual HRESULT QORJOB_STDCALL get_Name8(BSTR* oName) = 0;
    virtual HRESULT QORJOB_STDCALL get_Name9(BSTR* oName) = 0;

protected:
    ~ICKDXSessionHead() = default;
};

/// The user's session: the ContextObjectA of a process context. Slots 10 to 12 are reserved (3).
class ICKDXSession : public ReservedSlots<ICKDXSessionHead, 3>
{
public:
    /// Slot 13. The process context passes the argument on.
    virtual HRESULT QORJOB_STDCALL Call(IUnknown* iArgument) = 0;
    /// The locale of texts for the user.
    virtual HRESULT QORJOB_STDCALL get_Locale(unsigned* oLocale) = 0;
    /// Prepares the texts of a project in the user's language. `iScope` is always 1.
    virtual HRESULT QORJOB_STDCALL FillLocalisation(const GUID& iProjectId, int iScope) = 0;

protected:
    ~ICKDXSession() = default;
};

/// The source of the definition that a request is about: the ContextObjectC of a process context. Slots 3 to 10 are
/// reserved (8).
class ICKDXObjectSource : public ReservedSlots<IUnknown, 8>
{
public:
    /// Slot 11. The object that implements ICKDXObjectDefinition.
    virtual HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) = 0;

protected:
    ~ICKDXObjectSource() = default;
};

/// The definition of a report or a document. Slots 3 to 19 are reserved (17).
class ICKDXObjectDefinition : public ReservedSlots<IUnknown, 17>
{
public:
    /// Slot 20. The id of the object that the request is about.
    virtual HRESULT QORJOB_STDCALL get_ObjectID(GUID* oObjectId) = 0;
    /// The definition's own id and name; the caller frees the name.
    virtual HRESULT QORJOB_STDCALL get_DefinitionID(GUID* oDefinitionId) = 0;
    virtual HRESULT QORJOB_STDCALL get_Name(BSTR* oName) = 0;

protected:
    ~ICKDXObjectDefinition() = default;
};

/// The user's session of a context, empty without one; and the locale for its texts: the user's default if there is no
/// session or it returns none.
QBase::PtrI<ICKDXSession> SessionOf(ICKDXProcessContext& iContext);
unsigned SessionLocaleOf(ICKDXProcessContext& iContext);

// The next two have no interface ids: a context takes its ContextObjectO and its ContextObjectD for these as they are.

/// Slots 3 to 20 are reserved (18).
class ICKDXContextObjectO : public ReservedSlots<IUnknown, 18>
{
public:
    /// Slot 21.
    virtual HRESULT QORJOB_STDCALL get_Guid(GUID* oGuid) = 0;

protected:
    ~ICKDXContextObjectO() = default;
};

/// Slots 3 to 30 are reserved (28).
class ICKDXContextObjectD : public ReservedSlots<IUnknown, 28>
{
public:
    /// Slot 31. The item, with a reference.
    virtual HRESULT QORJOB_STDCALL get_Item(IUnknown** oItem) = 0;

protected:
    ~ICKDXContextObjectD() = default;
};

/// The receiver of an aborted task's error: the HandleB of a process context, found with a dynamic_cast. Not a COM
/// object.
class QORJOB_API QORErrorReporter : public virtual QBase::Counted
{
public:
    /// The kind of the report that follows; 4 is an aborted task.
    virtual HRESULT SetReportKind(int iKind) = 0;
    virtual HRESULT ReportError(HRESULT iCode, const QBase::WCHAR* iText) = 0;

protected:
    ~QORErrorReporter() override = default;
};
