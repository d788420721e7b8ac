#include "platform/builtin/text/Catalogue.h"

#include <algorithm>
#include <cstring>

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
    struct Choice
    {
        unsigned mLanguageId;
        unsigned mBits; // those that count; with none any language will do
    };
    constexpr unsigned cAll = 0xFFFF;
    for (const Choice choice : {Choice{iLanguageId, cAll}, Choice{iLanguageId, cPrimaryLanguage},
                                Choice{GetLanguages().front().mLanguageId, cAll}, Choice{}})
    {
        const Entry* const entry = FindInAny([&](const Language& iLanguage) {
            const bool bChosen = ((iLanguage.mLanguageId ^ choice.mLanguageId) & choice.mBits) == 0;
            return bChosen ? FindIn(iLanguage, iMatch) : nullptr;
        });
        if (entry != nullptr)
            return entry;
    }
    return nullptr;
}

bool IsIn(const Entry& iEntry, const char* iBundle)
{
    return iBundle == nullptr || std::strcmp(iEntry.mpBundle, iBundle) == 0;
}

} // namespace

constinit std::atomic<AddedLanguage*> gFirstAdded{nullptr};

void Append(AddedLanguage& iLanguage) noexcept
{
    std::atomic<AddedLanguage*>* end = &gFirstAdded;
    while (AddedLanguage* const added = end->load(std::memory_order_relaxed))
        end = &added->mpNext;
    end->store(&iLanguage, std::memory_order_release);
}

const char* FindBundle(std::string_view iName) noexcept
{
    const Entry* const entry = FindInAny([&](const Language& iLanguage) {
        return FindIn(iLanguage, [&](const Entry& iEntry) { return iEntry.mpBundle == iName; });
    });
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
