#include "platform/builtin/text/Bundles.h"

#include "platform/builtin/base/CountedObject.h"
#include "platform/builtin/text/Catalogue.h"

#include <new>

namespace Builtin
{

namespace
{

class BundleBody final : public CountedBody<QResource::Bundle>
{
public:
    BundleBody(const char* iName, unsigned iLanguageId) noexcept : mpName(iName), mLanguageId(iLanguageId) {}

    const char* GetTemplate(unsigned iMessageId, unsigned iLanguageId, const char* iKey, int) override
    {
        const unsigned language = LanguageOf(iLanguageId);
        const Catalogue::Entry* entry = Catalogue::Find(mpName, iMessageId, language);
        if (entry == nullptr && iKey != nullptr)
            entry = Catalogue::FindByName(mpName, iKey, language);
        return entry == nullptr ? QResource::GetMessageTemplate() : entry->mpText;
    }

    QBase::wstring FindMessage(unsigned iMessageId, unsigned iLocale, const QBase::WCHAR* iDefault) override
    {
        const Catalogue::Entry* const entry = Catalogue::Find(mpName, iMessageId, LanguageOf(iLocale & 0xFFFF));
        if (entry != nullptr)
            return QBase::UTF8ToWideChar(entry->mpText);
        return iDefault == nullptr ? QORJOB_W("") : iDefault;
    }

private:
    unsigned LanguageOf(unsigned iLanguageId) const noexcept
    {
        if (iLanguageId != 0)
            return iLanguageId;
        return mLanguageId != 0 ? mLanguageId : QResource::GetThreadLanguageID();
    }

    const char* const mpName;
    const unsigned mLanguageId;
};

} // namespace

QBase::ReturnPtrI<QResource::Bundle> OpenBundle(const char* iName, unsigned iLanguageId)
{
    const char* const name = Catalogue::FindBundle(iName);
    if (name == nullptr)
        return {};
    QResource::Bundle* const bundle = new BundleBody(name, iLanguageId);
    if (bundle == nullptr)
        throw std::bad_alloc();
    return QBase::ReturnPtrI<QResource::Bundle>::Adopt(bundle);
}

} // namespace Builtin
