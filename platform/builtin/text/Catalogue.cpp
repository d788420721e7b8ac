#include "platform/builtin/text/Catalogue.h"

#include "platform/QBase.h"
#include "platform/QLogRouter.h"
#include "platform/QResource.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/CountedObject.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Builtin::Catalogue
{

namespace
{

// The low bits of a language id are the language, those above them the country.
constexpr unsigned cPrimaryLanguage = 0x3FF;

template <class Match>
const Entry* FindIn(const Language& iLanguage, Match iMatch) noexcept
{
    const auto place = std::find_if(iLanguage.mEntries.begin(), iLanguage.mEntries.end(), iMatch);
    return place == iLanguage.mEntries.end() ? nullptr : &*place;
}

template <class Match>
const Entry* FindFor(unsigned iLanguageId, Match iMatch) noexcept
{
    for (const unsigned bits : {0xFFFFu, cPrimaryLanguage})
    {
        for (const Language& language : GetLanguages())
        {
            if ((language.mLanguageId & bits) != (iLanguageId & bits))
                continue;
            if (const Entry* const entry = FindIn(language, iMatch))
                return entry;
        }
    }
    return FindIn(GetLanguages().front(), iMatch);
}

bool IsIn(const Entry& iEntry, const char* iBundle)
{
    return iBundle == nullptr || std::strcmp(iEntry.mpBundle, iBundle) == 0;
}

} // namespace

const char* FindBundle(std::string_view iName) noexcept
{
    const Entry* const entry =
        FindIn(GetLanguages().front(), [&](const Entry& iEntry) { return iEntry.mpBundle == iName; });
    return entry == nullptr ? nullptr : entry->mpBundle;
}

const Entry* Find(const char* iBundle, unsigned iMessageId, unsigned iLanguageId) noexcept
{
    return FindFor(iLanguageId,
                   [&](const Entry& iEntry) { return iEntry.mMessageId == iMessageId && IsIn(iEntry, iBundle); });
}

const Entry* FindByName(const char* iBundle, std::string_view iName, unsigned iLanguageId) noexcept
{
    return FindFor(iLanguageId, [&](const Entry& iEntry) { return iEntry.mpName == iName && IsIn(iEntry, iBundle); });
}

} // namespace Builtin::Catalogue

namespace QResource
{

namespace
{

class BundleBody final : public Builtin::CountedBody<Bundle>
{
public:
    /// `iLanguageId`: what language 0 stands for; 0 for the calling thread's.
    BundleBody(const char* iName, unsigned iLanguageId) noexcept : mpName(iName), mLanguageId(iLanguageId) {}

    const char* GetTemplate(unsigned iMessageId, unsigned iLanguageId, const char* iKey, int) override
    {
        const unsigned language = LanguageOf(iLanguageId);
        const Builtin::Catalogue::Entry* entry = Builtin::Catalogue::Find(mpName, iMessageId, language);
        if (entry == nullptr && iKey != nullptr)
            entry = Builtin::Catalogue::FindByName(mpName, iKey, language);
        return entry == nullptr ? GetMessageTemplate() : entry->mpText;
    }

    QBase::wstring FindMessage(unsigned iMessageId, unsigned iLocale, const QBase::WCHAR* iDefault) override
    {
        const Builtin::Catalogue::Entry* const entry =
            Builtin::Catalogue::Find(mpName, iMessageId, LanguageOf(iLocale & 0xFFFF));
        if (entry != nullptr)
            return QBase::UTF8ToWideChar(entry->mpText);
        return iDefault == nullptr ? QORJOB_W("") : iDefault;
    }

private:
    unsigned LanguageOf(unsigned iLanguageId) const noexcept
    {
        if (iLanguageId != 0)
            return iLanguageId;
        return mLanguageId != 0 ? mLanguageId : GetThreadLanguageID();
    }

    const char* const mpName;
    const unsigned mLanguageId;
};

QBase::ReturnPtrI<Bundle> OpenBundle(const char* iName, unsigned iLanguageId)
{
    const char* const name = Builtin::Catalogue::FindBundle(iName);
    if (name == nullptr)
        return {};
    Bundle* const bundle = new BundleBody(name, iLanguageId);
    if (bundle == nullptr)
        throw std::bad_alloc();
    return QBase::ReturnPtrI<Bundle>::Adopt(bundle);
}

} // namespace

QBase::ReturnPtrI<Bundle> GetFileBundle(const char* iName)
{
    Builtin::EventTrace::Note("QResource::GetFileBundle");
    return OpenBundle(iName, 0);
}

const char* GetMessageTemplate() noexcept { return "-?- "; }

} // namespace QResource

QBase::ReturnPtrI<QResource::Bundle> QLogRouter::GetResourceBundle(unsigned iLocale)
{
    Builtin::EventTrace::Note("QLogRouter::GetResourceBundle", {iLocale});
    return QResource::OpenBundle("Kernel", iLocale & 0xFFFF);
}
