// The message catalogue: the texts of the kernel's codes, in one file a language (platform/builtin/catalogue), compiled
// in. docs/messages.md describes the files.
#pragma once

#include <span>
#include <string_view>

namespace Builtin::Catalogue
{

struct Entry
{
    const char* mpBundle;
    unsigned mMessageId;
    const char* mpName;
    const char* mpText;
};

struct Language
{
    unsigned mLanguageId;
    std::span<const Entry> mEntries;
};

/// The first one is the default: it has every entry, and is used where another language lacks one.
std::span<const Language> GetLanguages() noexcept;

/// The bundle's name as the catalogue has it; null when there is none.
const char* FindBundle(std::string_view iName) noexcept;

/// The entry of that id, in the language, else in another variant of it (Austrian German has the German texts), else in
/// the default language; null when there is none. A null bundle stands for all of them.
const Entry* Find(const char* iBundle, unsigned iMessageId, unsigned iLanguageId) noexcept;
/// The same by the entry's name.
const Entry* FindByName(const char* iBundle, std::string_view iName, unsigned iLanguageId) noexcept;

} // namespace Builtin::Catalogue
