#include "platform/builtin/Texts.h"

#include "platform/QResource.h"
#include "platform/builtin/Faults.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

using namespace std::string_view_literals;
using Builtin::Texts::Add;

namespace
{

constexpr unsigned cEnglish = 0x409;
constexpr unsigned cGerman = 0x407;
constexpr unsigned cAustrian = 0xC07;

/// A bundle's name that no other test has: what is added stays.
std::string NewBundle()
{
    static int made = 0;
    return "Bundle" + std::string(static_cast<std::size_t>(++made), 'x');
}

std::string Head(const char* iLanguage, const std::string& iBundle)
{
    return "language " + std::string(iLanguage) + "\nbundle " + iBundle + "\n";
}

const char* TextOf(const std::string& iBundle, unsigned iCode, unsigned iLanguageId, const char* iName = nullptr)
{
    const auto bundle = QResource::GetFileBundle(iBundle.c_str());
    return bundle ? bundle->GetTemplate(iCode, iLanguageId, iName, 0) : "no bundle";
}

template <class Adding>
std::string ErrorOf(Adding iAdding)
{
    try
    {
        iAdding();
        return "";
    }
    catch (const QBase::Message& error)
    {
        return error.what();
    }
}

} // namespace

TEST(Texts, AreFoundInTheNextBestLanguage)
{
    const std::string bundle = NewBundle();
    Add(Head("0x040C", bundle) + "0x1 ONE un\n0x3 THREE trois", "French");
    Add(Head("0x0409", bundle) + "0x1 ONE one\n0x2 TWO two", "English");
    Add(Head("0x0407", bundle) + "0x1 ONE eins", "German");
    const std::tuple<unsigned, unsigned, const char*> rows[] = {
        {1, cGerman, "eins"},    {1, cAustrian, "eins"}, {1, cEnglish, "one"}, {2, cGerman, "two"},
        {3, cAustrian, "trois"}, {1, 0x80C, "un"},       {1, 0x405, "one"},    {4, cGerman, "-?- "},
    };
    for (const auto& [code, language, text] : rows)
    {
        EXPECT_STREQ(TextOf(bundle, code, language), text) << code << ' ' << language;
        const char* const name = code == 1 ? "ONE" : code == 2 ? "TWO" : code == 3 ? "THREE" : "FOUR";
        EXPECT_STREQ(TextOf(bundle, 99, language, name), text) << name << ' ' << language;
    }
    const auto opened = QResource::GetFileBundle(bundle.c_str());
    EXPECT_EQ(opened->FindMessage(1, 0x10000 + cGerman, nullptr), QORJOB_W("eins")) << "a locale: its low 16 bits";
    EXPECT_EQ(opened->FindMessage(1, 0, nullptr), QORJOB_W("one")) << "the process's language";
    EXPECT_EQ(opened->FindMessage(4, cGerman, QORJOB_W("default")), QORJOB_W("default"));
    EXPECT_EQ(opened->FindMessage(4, cGerman, nullptr), QORJOB_W(""));
    const char* const german = TextOf(bundle, 1, cAustrian);
    Add(Head("0x0C07", bundle) + "0x1 ONE ans", "Austrian");
    EXPECT_STREQ(TextOf(bundle, 1, cAustrian), "ans");
    EXPECT_STREQ(german, "eins");
}

TEST(Texts, JoinTheLibrarysOwnBundles)
{
    [[maybe_unused]] static const bool bOnce = [] { // the test may be repeated
        Add(Head("0x0407", "Server") + "0x8004F001 TEXTSTEST_OWN Eigener\n", "German");
        Add(Head("0x040E", "Server") + "0x8004FE0F TEXTSTEST_ABORTED Megszakadt\n", "Hungarian");
        return true;
    }();
    EXPECT_STREQ(TextOf("Server", 0x8004F001, cEnglish), "Eigener");
    EXPECT_STREQ(TextOf("Server", 0x8004FE0F, 0x40E), "Megszakadt");
    EXPECT_STREQ(TextOf("Server", 0x8004FE0F, cEnglish), "The task was aborted.");
}

TEST(Texts, RefuseABadCatalogueWholeAndSayWhere)
{
    const std::string bundle = NewBundle();
    const std::string head = "language 0x0407\nbundle " + bundle + "\n0x1 ONE eins\n";
    const std::pair<std::string, std::string_view> rows[] = {
        {"", "1: a catalogue names its language and has entries."},
        {"language 0x0407\nbundle B\n\n# none\n", "4: a catalogue names its language and has entries."},
        {"bundle B\n0x1 ONE eins\n", "2: an entry stands below its language and its bundle."},
        {"language 0x0407\n0x1 ONE eins\n", "2: an entry stands below its language and its bundle."},
        {"language 0xFFFF\n", "1: a catalogue names its language and has entries."},
        {"language 0x10000\n", "1: not a line of a catalogue: language 0x10000"},
        {"language 0x0\n", "1: not a line of a catalogue: language 0x0"},
        {"language 1031\n", "1: not a line of a catalogue: language 1031"},
        {head + "language 0x0409\n", "4: not a line of a catalogue: language 0x0409"},
        {head + "bundle \n", "4: not a line of a catalogue: bundle "},
        {head + "bundle B2\n", "4: not a line of a catalogue: bundle B2"},
        {head + "0x100000000 TWO zwei\n", "4: not a line of a catalogue: 0x100000000 TWO zwei"},
        {head + "0xa TWO zwei\n", "4: not a line of a catalogue: 0xa TWO zwei"},
        {head + "0x TWO zwei\n", "4: not a line of a catalogue: 0x TWO zwei"},
        {head + "0x2 Two zwei\n", "4: not a line of a catalogue: 0x2 Two zwei"},
        {head + "0x2 TWO\r\n", "4: not a line of a catalogue: 0x2 TWO"},
        {head + "0x2 TWO \n", "4: not a line of a catalogue: 0x2 TWO "},
        {head + "0x2 TWO zwei \n", "4: not a line of a catalogue: 0x2 TWO zwei "},
        {head + "0x2 TWO zw" + '\0' + "ei\n", "4: not a line of a catalogue: 0x2 TWO zw"},
        {head + "0x2 TWO f\xFCnf\n", "4: not UTF-8."},
        {head + "# f\xFCnf", "4: not UTF-8."},
        {head + "0x01 TWO zwei\n", "4: 0x01 TWO is there already."},
        {head + "0x2 ONE zwei\n", "4: 0x2 ONE is there already."},
        {head + "bundle Kernel\n0x80043014 TWO zwei\n", "5: 0x80043014 TWO is there already."},
        {head + "bundle Kernel\n0x2 QOR_JOB_CANCELLED zwei\n", "5: 0x2 QOR_JOB_CANCELLED is there already."},
    };
    for (const auto& [catalogue, error] : rows)
    {
        EXPECT_EQ(ErrorOf([&text = catalogue] { Add(text, "bad.txt"); }), "bad.txt:" + std::string(error));
        EXPECT_STREQ(TextOf(bundle, 1, cGerman), "no bundle") << error;
    }
    Add(head, "good.txt");
    EXPECT_EQ(ErrorOf([&] { Add(head, "again.txt"); }), "again.txt:3: 0x1 ONE is there already.");
}

TEST(Texts, AreReadFromFilesOfEitherSystem)
{
    const std::string bundle = NewBundle();
    const std::string path = testing::TempDir() + bundle + ".txt";
    const std::string filling(10'000, 'x');
    std::ofstream(path, std::ios::binary) << "\xEF\xBB\xBF# comment\r\n\r\nlanguage 0x0407\r\nbundle " << bundle
                                          << "\r\n0x1 ONE  gr\xC3\xBC\xC3\x9F % \"\\;\r\n0x2 TWO " << filling;
    Builtin::Texts::AddFile(path);
    EXPECT_STREQ(TextOf(bundle, 1, cGerman), " gr\xC3\xBC\xC3\x9F % \"\\;");
    EXPECT_EQ(TextOf(bundle, 2, cGerman), filling);

    EXPECT_EQ(ErrorOf([&] { Builtin::Texts::AddFile(path); }), path + ":5: 0x1 ONE is there already.");
    for (const std::string& unreadable : {testing::TempDir(), path + ".none"})
        EXPECT_EQ(ErrorOf([&name = unreadable] { Builtin::Texts::AddFile(name); }),
                  "The catalogue " + unreadable + " can't be read.");
}

TEST(Texts, AreNotAddedWithoutMemory)
{
    const std::string bundle = NewBundle();
    const std::string catalogue = Head("0x0407", bundle) + "0x1 ONE eins\n0x2 TWO zwei\n0x3 THREE drei\n";
    int failures = 0;
    for (bool bAdded = false; !bAdded; ++failures)
    {
        ASSERT_STREQ(TextOf(bundle, 1, cGerman), "no bundle") << failures;
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, failures + 1);
        try
        {
            Add(catalogue, "catalogue");
            bAdded = true;
        }
        catch (const std::bad_alloc&)
        {
        }
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0);
    }
    EXPECT_GT(failures, 3);
    EXPECT_STREQ(TextOf(bundle, 3, cGerman), "drei");
}

TEST(Texts, AreLookedUpWhileOthersAreAdded)
{
    constexpr unsigned cCatalogues = 50;
    const std::string bundle = NewBundle();
    Add(Head("0x0407", bundle) + "0xFFFF FIRST eins", "first");
    const char* const first = TextOf(bundle, 0xFFFF, cGerman);
    std::atomic<unsigned> added{0};
    // Two add, two read: whoever sees the first text of a catalogue sees its last one.
    RunOnThreads(4, [&](int iThread) {
        for (unsigned code = static_cast<unsigned>(iThread); iThread < 2 && code < cCatalogues; code += 2)
        {
            const std::string number = std::to_string(code);
            Add(Head("0x0407", bundle) + "0x" + number + "A FIRST_" + number + " a\n0x" + number + "B LAST_" + number +
                    " b\n",
                number);
            ++added;
        }
        while (iThread >= 2)
        {
            const bool bLastRound = added.load() == cCatalogues;
            unsigned seen = 0;
            for (unsigned code = 0; code < cCatalogues; ++code)
            {
                const std::string number = std::to_string(code);
                if (TextOf(bundle, 0, cGerman, ("FIRST_" + number).c_str()) == "a"sv)
                {
                    ++seen;
                    EXPECT_STREQ(TextOf(bundle, 0, cGerman, ("LAST_" + number).c_str()), "b");
                }
            }
            EXPECT_EQ(TextOf(bundle, 0xFFFF, cAustrian), first);
            if (bLastRound)
            {
                EXPECT_EQ(seen, cCatalogues);
                break;
            }
        }
    });
}
