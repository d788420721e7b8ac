// What becomes of any catalogue of texts, and of any template. A catalogue is added whole, and then each of its texts
// is found, or not at all, and then the complaint names a line of it. In a template only what stands for an argument
// changes. What comes behind a zero byte are arguments.
#include "platform/QBase.h"
#include "platform/QResource.h"
#include "platform/builtin/Texts.h"
#include "platform/builtin/text/Catalogue.h"
#include "tests/fuzz/Fuzz.h"

#include <cstring>
#include <memory>

namespace
{

namespace Catalogue = Builtin::Catalogue;

/// The catalogue's entries again, as its file might have them.
std::string Write(const Catalogue::Language& iLanguage)
{
    constexpr std::string_view cDigits = "0123456789ABCDEF";
    const auto toHex = [&](unsigned iNumber) {
        std::string digits;
        for (; iNumber != 0 || digits.empty(); iNumber /= 16)
            digits.insert(digits.begin(), cDigits[iNumber % 16]);
        return "0x" + digits;
    };
    std::string text = "language " + toHex(iLanguage.mLanguageId) + "\r\n";
    for (const Catalogue::Entry& entry : iLanguage.mEntries)
    {
        text += std::string("bundle ") + entry.mpBundle + "\n" + toHex(entry.mMessageId) + " " + entry.mpName + " " +
                entry.mpText + "\r\n"; // a text may end with a carriage return of its own
    }
    return text;
}

/// The language that has been added since the last call; it goes, and others may be added in its place.
std::unique_ptr<Catalogue::AddedLanguage> TakeAdded()
{
    return std::unique_ptr<Catalogue::AddedLanguage>(Catalogue::gFirstAdded.exchange(nullptr));
}

void TryCatalogue(std::string_view iText)
{
    const std::string name = "a:1 name";
    try
    {
        Builtin::Texts::Add(iText, name);
    }
    catch (const QBase::Message& refusal)
    {
        const int line = LineOf(refusal.what(), name);
        Require(line >= 1 && line <= 1 + std::count(iText.begin(), iText.end(), '\n'));
        Require(Catalogue::gFirstAdded.load() == nullptr);
        return;
    }

    Require(QBase::WideCharToUTF8(QBase::UTF8ToWideChar(iText)) == iText);
    for (const Catalogue::Entry& entry : Catalogue::gFirstAdded.load()->mEntries)
    {
        const unsigned language = Catalogue::gFirstAdded.load()->mLanguageId;
        Require(Catalogue::Find(entry.mpBundle, entry.mMessageId, language) == &entry);
        Require(Catalogue::FindByName(entry.mpBundle, entry.mpName, language) == &entry);
        Require(iText.find(std::string(entry.mpName) + " " + entry.mpText) != std::string_view::npos);
    }
    const std::string written = Write(*Catalogue::gFirstAdded.load());
    TakeAdded();
    Builtin::Texts::Add(written, name);
    Require(Write(*TakeAdded()) == written);
}

void TryTemplate(std::string_view iText)
{
    const std::string_view text = TakeUpTo('\0', iText);
    QResource::MessageFormatter formatter;
    while (!iText.empty())
        formatter.AddArgument(std::string(TakeUpTo('\0', iText)));

    std::string expected;
    for (std::string_view rest = text; !rest.empty();)
    {
        const std::size_t digits = rest.substr(1, 2).find_first_not_of("0123456789");
        const std::string_view mark = rest.front() != '%' ? rest.substr(0, 1)
                                      : rest.starts_with("%%")
                                          ? rest.substr(0, 2)
                                          : rest.substr(0, digits == std::string_view::npos ? 3 : digits + 1);
        const auto number = static_cast<std::size_t>(std::atoi(std::string(mark.substr(1)).c_str()));
        const auto& arguments = formatter.GetArguments();
        expected += mark == "%%" ? "%" : number >= 1 && number <= arguments.size() ? arguments[number - 1] : mark;
        rest.remove_prefix(mark.size());
    }
    Require(formatter.Format(text) == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    TryCatalogue(ToText(iData, iSize));
    TryTemplate(ToText(iData, iSize));
    return 0;
}
