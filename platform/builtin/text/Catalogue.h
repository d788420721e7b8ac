// The message catalogue: the texts of the kernel's codes, in one file a language (platform/builtin/catalogue), compiled
// in; and the catalogues that the server has added (Texts.h). docs/messages.md describes them.
#pragma once

#include <atomic>
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
    unsigned mLanguageId = 0;
    std::span<const Entry> mEntries;
};

/// Those compiled in. The first one is the default: it has every entry of theirs, and is used where another language
/// lacks one.
std::span<const Language> GetLanguages() noexcept;

/// One that the server has added. From then on neither it nor what it points at changes or ends.
struct AddedLanguage : Language
{
    virtual ~AddedLanguage() = default;

    std::atomic<AddedLanguage*> mpNext{nullptr};
};

extern std::atomic<AddedLanguage*> gFirstAdded;

/// Adds it behind all others, for readers that take no lock. One thread at a time.
void Append(AddedLanguage& iLanguage) noexcept;

/// The first entry that `iLook` gives of a language: those compiled in come first, then the others as they were added.
template <class Look>
const Entry* FindInAny(Look iLook)
{
    for (const Language& language : GetLanguages())
    {
        if (const Entry* const entry = iLook(language))
            return entry;
    }
    for (const AddedLanguage* added = gFirstAdded.load(std::memory_order_acquire); added != nullptr;
         added = added->mpNext.load(std::memory_order_acquire))
    {
        if (const Entry* const entry = iLook(*added))
            return entry;
    }
    return nullptr;
}

/// The bundle's name as the catalogue has it; null when there is none.
const char* FindBundle(std::string_view iName) noexcept;

/// The entry of that id, in the language, else in another variant of it (Austrian German has the German texts), else in
/// the default language, else in any; null when there is none. A null bundle stands for all of them.
const Entry* Find(const char* iBundle, unsigned iMessageId, unsigned iLanguageId) noexcept;
/// The same by the entry's name.
const Entry* FindByName(const char* iBundle, std::string_view iName, unsigned iLanguageId) noexcept;

} // namespace Builtin::Catalogue
