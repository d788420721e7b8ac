#include "context/COMStatus.h"

#include "base/ExceptionBoundary.h"
#include "platform/ComObject.h"
#include "platform/QLogRouter.h"
#include "platform/QMessage.h"
#include "platform/QRegistry.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

namespace
{

/// The failure codes of the facility for interfaces begin here.
constexpr unsigned cInterfaceFacility = 0x80040000;

/// An address up to here is the number of a string resource instead of a text.
constexpr std::uintptr_t cMostResourceNumber = 0xFFFF;

struct TaskMemory
{
    void operator()(void* iMemory) const { CoTaskMemFree(iMemory); }
};

/// Null if the class has no name.
std::unique_ptr<QBase::WCHAR, TaskMemory> ProgIdOf(const GUID& iClassId)
{
    QBase::WCHAR* name = nullptr;
    if (FAILED(ProgIDFromCLSID(iClassId, &name)))
        return nullptr;
    return std::unique_ptr<QBase::WCHAR, TaskMemory>(name);
}

/// The error object's signatures take writable texts; it copies them.
QBase::WCHAR* Writable(const QBase::WCHAR* iText) { return const_cast<QBase::WCHAR*>(iText); }

/// As wcstol with base 16: stops at the first character that is no digit; 0 without any digit.
unsigned ParseHex(const QBase::wstring& iText)
{
    const long long value = std::strtoll(QBase::WideCharToUTF8(iText).c_str(), nullptr, 16);
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<unsigned>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

unsigned MessageLanguage()
{
    using QRegistry::OpenKeyFromRoot;
    using QRegistry::RootHives;
    try
    {
        if (!OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("SOFTWARE")).HasSubKey(QORJOB_W("Veltrix\\Language")))
            return QORMessageUnpacker::cNoLanguage;
        const auto key = OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("SOFTWARE\\Veltrix\\Language"));
        return key.HasUnnamedValue() ? ParseHex(key.ReadText(nullptr, QORJOB_W(""))) : QORMessageUnpacker::cNoLanguage;
    }
    catch (const QRegistry::KeyException&)
    {
        return QORMessageUnpacker::cNoLanguage;
    }
}

/// The text of a message in a language; without a bundle the template is "-?- ".
std::string FormatIn(unsigned iLanguageId, unsigned iMessageId, const QResource::MessageFormatter& iFormatter,
                     const char* iKey, QResource::MessageSource& iSource)
{
    const auto bundle = iSource.GetResourceBundle();
    return iFormatter.Format(bundle ? bundle->GetTemplate(iMessageId, iLanguageId, iKey, 0)
                                    : QResource::GetMessageTemplate());
}

} // namespace

HRESULT SetCOMStatus(ICKDXReadMessage* iInputMessage, const GUID& iClassId, const GUID& iInterfaceId,
                     ICreateErrorInfo* iErrorInfoCreator, HRESULT* oStatus)
{
    if (iInputMessage == nullptr)
        return S_FALSE;
    return Boundary([&] {
        const auto report = [&](const QBase::WCHAR* iText, HRESULT iCode) {
            return ReportErrorInfo(iClassId, iText, 0, nullptr, iInterfaceId, iCode);
        };
        const unsigned language = MessageLanguage();

        QBase::PtrI<ICKDXReadBlockStream> stream;
        iInputMessage->get_BlockStream(stream.Receive());
        if (!stream)
            return report(
                QORJOB_W("UNEXPECTED ERROR in SetCOMStatus:  cannot get ICKDXReadBlockStream interface on input "
                         "message"),
                E_UNEXPECTED);

        // The status is the id of the first entry, the code of the installed object that of the last: clients rely on
        // both.
        HRESULT status = 0;
        HRESULT lastId = 0;
        QBase::wstring texts;
        bool bLast = false;
        for (bool bFirst = true; !bLast; bFirst = false)
        {
            std::unique_ptr<QORMessageUnpacker> message;
            if (FAILED(QORMessageUnpacker::Create(stream.Get(), language, message)))
                return report(QORJOB_W("UNEXPECTED ERROR in SetCOMStatus:  QORMessageUnpacker::Create failed"), E_FAIL);
            if (message->IsMessageEmpty())
                break;
            lastId = static_cast<HRESULT>(message->GetMessageId());
            bLast = message->IsLastMessageInStream();
            if (bFirst)
                status = lastId;
            else
                texts += QORJOB_W('\n');
            texts += QBase::UTF8ToWideChar(message->Build());
        }
        if (oStatus != nullptr)
            *oStatus = status;

        if (iErrorInfoCreator == nullptr)
        {
            report(texts.c_str(), lastId);
            return status;
        }
        iErrorInfoCreator->SetGUID(iInterfaceId);
        iErrorInfoCreator->SetDescription(texts.data());
        if (const auto progId = ProgIdOf(iClassId))
            iErrorInfoCreator->SetSource(progId.get());
        return status;
    });
}

HRESULT ReportErrorInfo(const GUID& iClassId, const QBase::WCHAR* iText, DWORD iHelpContext,
                        const QBase::WCHAR* iHelpFile, const GUID& iInterfaceId, HRESULT iCode)
{
    const QBase::WCHAR* description = iText;
    HRESULT code = iCode;
    const auto value = reinterpret_cast<std::uintptr_t>(iText);
    if (value <= cMostResourceNumber)
    {
        description = QORJOB_W("Unknown Error");
        if (code == 0)
            code = static_cast<HRESULT>(cInterfaceFacility | static_cast<unsigned>(value));
    }

    QBase::PtrI<ICreateErrorInfo> creator;
    if (SUCCEEDED(CreateErrorInfo(creator.Receive())))
    {
        creator->SetGUID(iInterfaceId);
        if (const auto progId = ProgIdOf(iClassId))
            creator->SetSource(progId.get());
        if (iHelpContext != 0 && iHelpFile != nullptr)
        {
            creator->SetHelpContext(iHelpContext);
            creator->SetHelpFile(Writable(iHelpFile));
        }
        creator->SetDescription(Writable(description));
        if (const auto errorInfo = QueryFor<IErrorInfo>(creator.Get(), IID_IErrorInfo))
            SetErrorInfo(0, errorInfo.Get());
    }
    return code != 0 ? code : DISP_E_EXCEPTION;
}

HRESULT FormatMessageText(QBase::wstring& oText, unsigned iMessageId, const QResource::MessageFormatter& iFormatter,
                          const char* iKey, QResource::MessageSource& iSource)
{
    return Boundary([&] {
        const unsigned processLanguage = QResource::GetProcessLanguageID();
        std::string text = FormatIn(processLanguage, iMessageId, iFormatter, iKey, iSource);
        iSource.RecordText(text.c_str(), iMessageId, 0, 0, 0);

        const unsigned threadLanguage = QResource::GetThreadLanguageID();
        if (threadLanguage != processLanguage)
            text = FormatIn(threadLanguage, iMessageId, iFormatter, iKey, iSource);
        oText = QBase::UTF8ToWideChar(text);
        return S_OK;
    });
}
