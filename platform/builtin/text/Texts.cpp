#include "platform/builtin/Texts.h"

#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/text/Catalogue.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace Builtin::Texts
{

namespace
{

QSynch::Mutex<QSynch::LockLevelSystem>& GetAddingMutex()
{
    static NeverDestroyed<QSynch::Mutex<QSynch::LockLevelSystem>> mutex;
    return mutex.Get();
}

struct ServersLanguage final : Catalogue::AddedLanguage
{
    explicit ServersLanguage(std::string_view iText) : mText(iText) {}

    QBase::string mText; ///< cut by zero bytes into the words that the entries point at
    QBase::vector<Catalogue::Entry> mTable;
};

bool IsUTF8(std::string_view iText) { return QBase::WideCharToUTF8(QBase::UTF8ToWideChar(iText)) == iText; }

bool Take(std::string_view& ioLine, std::string_view iText)
{
    if (!ioLine.starts_with(iText))
        return false;
    ioLine.remove_prefix(iText.size());
    return true;
}

/// Takes from the front as many of these characters as there are.
std::string_view TakeRun(std::string_view& ioLine, std::string_view iCharacters)
{
    const std::string_view run = ioLine.substr(0, ioLine.find_first_not_of(iCharacters));
    ioLine.remove_prefix(run.size());
    return run;
}

std::optional<unsigned> TakeNumber(std::string_view& ioLine)
{
    if (!Take(ioLine, "0x"))
        return {};
    const std::string_view digits = TakeRun(ioLine, "0123456789ABCDEF");
    unsigned number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

/// Reads the same lines as cmake/Catalogue.cmake, which compiles the library's own catalogues in.
class Reader
{
public:
    Reader(ServersLanguage& ioLanguage, const std::string& iName) : mLanguage(ioLanguage), mName(iName) {}

    void Read()
    {
        std::string_view rest = mLanguage.mText;
        Take(rest, "\xEF\xBB\xBF"); // the mark that editors on Windows put in front
        do
        {
            ++mPlace;
            std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            if (line.ends_with('\r'))
                line.remove_suffix(1);
            if (!IsUTF8(line))
                Refuse("not UTF-8.");
            if (!line.empty() && line.front() != '#' && !ReadLanguage(line) && !ReadBundle(line) && !ReadEntry(line))
                Refuse("not a line of a catalogue: " + std::string(line));
        } while (!rest.empty());
        if (mLanguage.mTable.empty())
            Refuse("a catalogue names its language and has entries.");
        mLanguage.mEntries = mLanguage.mTable;
    }

private:
    [[noreturn]] void Refuse(const std::string& iWhy) const
    {
        throw QBase::Message(mName + ":" + std::to_string(mPlace) + ": " + iWhy);
    }

    bool ReadLanguage(std::string_view iLine)
    {
        if (mLanguage.mLanguageId != 0 || !Take(iLine, "language "))
            return false;
        mLanguage.mLanguageId = TakeNumber(iLine).value_or(0);
        if (!iLine.empty() || mLanguage.mLanguageId == 0 || mLanguage.mLanguageId > 0xFFFF)
            return false;
        Catalogue::FindInAny([this](const Catalogue::Language& iThere) -> const Catalogue::Entry* {
            if (iThere.mLanguageId == mLanguage.mLanguageId)
                std::for_each(iThere.mEntries.begin(), iThere.mEntries.end(),
                              [this](const auto& iEntry) { IsNew(iEntry.mpBundle, iEntry.mMessageId, iEntry.mpName); });
            return nullptr;
        });
        return true;
    }

    bool ReadBundle(std::string_view iLine)
    {
        if (!Take(iLine, "bundle "))
            return false;
        const std::string_view name = TakeRun(iLine, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
        if (!iLine.empty() || name.empty())
            return false;
        mpBundle = CutBehind(name);
        return true;
    }

    bool ReadEntry(std::string_view iLine)
    {
        std::string_view text = iLine;
        const std::optional<unsigned> code = TakeNumber(text);
        if (!code || !Take(text, " "))
            return false;
        const std::string_view name = TakeRun(text, "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_");
        if (name.empty() || !Take(text, " ") || text.empty() || text.back() == ' ')
            return false;
        if (text.find('\0') != std::string_view::npos)
            return false;
        if (mLanguage.mLanguageId == 0 || mpBundle == nullptr)
            Refuse("an entry stands below its language and its bundle.");
        if (!IsNew(mpBundle, *code, name))
            Refuse(std::string(iLine.substr(0, iLine.size() - text.size())) + "is there already.");
        mLanguage.mTable.push_back({mpBundle, *code, CutBehind(name), CutBehind(text)});
        return true;
    }

    /// Whether neither that code nor that name is in the bundle yet; both are from now on.
    bool IsNew(std::string_view iBundle, unsigned iCode, std::string_view iName)
    {
        const bool bNewCode = mCodes.emplace(iBundle, iCode).second;
        return mNames.emplace(iBundle, iName).second && bNewCode;
    }

    /// Ends a word of the text with a zero byte, in the place of the blank or the line's end behind it.
    const char* CutBehind(std::string_view iWord)
    {
        QBase::string& text = mLanguage.mText;
        text[static_cast<std::size_t>(iWord.data() - text.data()) + iWord.size()] = '\0';
        return iWord.data();
    }

    ServersLanguage& mLanguage;
    const std::string& mName;
    int mPlace = 0;
    const char* mpBundle = nullptr;
    std::set<std::pair<std::string_view, unsigned>> mCodes; ///< those of the language, by bundle
    std::set<std::pair<std::string_view, std::string_view>> mNames;
};

} // namespace

void AddFile(const std::string& iPath)
{
    std::ifstream file(iPath, std::ios::binary);
    std::string catalogue;
    char part[4096];
    do
    {
        file.read(part, sizeof(part));
        catalogue.append(part, static_cast<std::size_t>(file.gcount()));
    } while (file);
    if (!file.eof())
        throw QBase::Message("The catalogue " + iPath + " can't be read.");
    Add(catalogue, iPath);
}

void Add(std::string_view iCatalogue, const std::string& iName)
{
    auto language = std::make_unique<ServersLanguage>(iCatalogue);
    const QSynch::MutexHold hold(GetAddingMutex());
    Reader(*language, iName).Read();
    Catalogue::Append(*language.release());
}

} // namespace Builtin::Texts
