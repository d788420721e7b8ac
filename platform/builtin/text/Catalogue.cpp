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
