#include "platform/builtin/Catalogue.h"

#include "platform/QLog.h"
#include "platform/QLogRouter.h"
#include "platform/QResource.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/Settings.h"
#include "tests/support/OperationPlace.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using QBase::PtrI;
using QResource::Bundle;

namespace
{

constexpr unsigned cEnglish = 0x409;
constexpr unsigned cGerman = 0x407;

/// The numbers of a template's places.
std::multiset<char> PlacesOf(std::string_view iText)
{
    std::multiset<char> places;
    for (std::size_t at = iText.find('%'); at != std::string_view::npos; at = iText.find('%', at + 1))
        places.insert(at + 1 < iText.size() ? iText[at + 1] : '%');
    return places;
}

} // namespace

TEST(Catalogues, SayTheSameInEachLanguage)
{
    ASSERT_EQ(Catalogue::GetLanguages().size(), 2u);
    const Catalogue::Language& english = Catalogue::GetLanguages()[0];
    EXPECT_EQ(english.mLanguageId, cEnglish);
    for (const Catalogue::Language& language : Catalogue::GetLanguages())
    {
        EXPECT_EQ(language.mEntries.size(), english.mEntries.size());
        for (const Catalogue::Entry& entry : language.mEntries)
        {
            const auto* const same = Catalogue::Find(entry.mpBundle, entry.mMessageId, cEnglish);
            ASSERT_NE(same, nullptr) << entry.mpName;
            EXPECT_STREQ(entry.mpName, same->mpName);
            EXPECT_EQ(PlacesOf(entry.mpText), PlacesOf(same->mpText)) << entry.mpName;
        }
    }
}

TEST(Bundles, GiveTextsForALocale)
{
    const PtrI<Bundle> german = QLogRouter::GetResourceBundle(0x10407);
    EXPECT_EQ(german->FindMessage(0x40063F71, cEnglish, W("none")), W("Unknown job type"));
    for (const unsigned locale : {0x10407u, 0u}) // 0: the bundle's own
        EXPECT_EQ(german->FindMessage(0x40063F71, locale, W("none")), W("Unbekannte Auftragsart"));
    EXPECT_EQ(german->FindMessage(1, cEnglish, W("none")), W("none"));
    EXPECT_EQ(german->FindMessage(1, cEnglish, nullptr), W(""));
}

TEST(Bundles, GiveTemplatesByIdAndByKey)
{
    const PtrI<Bundle> kernel = QResource::GetFileBundle("Kernel");
    const PtrI<Bundle> server = QResource::GetFileBundle("Server");
    EXPECT_FALSE(QResource::GetFileBundle("Elsewhere"));
    const char* const key = "E_KERNEL_MEMORY_GOVERNOR_REQUEST";
    const char* const english = "Job %1 needs more memory than its limit of %2 MB allows.";
    EXPECT_STREQ(kernel->GetTemplate(0x8000FE24, cEnglish, nullptr, 0), english);
    EXPECT_STREQ(kernel->GetTemplate(0x8000FE24, cEnglish, "OTHER", 0), english);
    EXPECT_STREQ(kernel->GetTemplate(1, cEnglish, key, 0), english);
    EXPECT_STREQ(kernel->GetTemplate(1, cGerman, key, 0),
                 "Auftrag %1 braucht mehr Speicher, als seine Grenze von %2 MB erlaubt.");
    EXPECT_STREQ(kernel->GetTemplate(1, cEnglish, "OTHER", 0), "-?- ");
    EXPECT_STREQ(kernel->GetTemplate(1, cEnglish, nullptr, 0), "-?- ");
    EXPECT_STREQ(server->GetTemplate(0x8000FE24, cEnglish, key, 0), "-?- "); // another bundle's

    Settings::SetThreadLanguageID(cGerman);
    EXPECT_STREQ(server->GetTemplate(0x8004FE0F, 0, nullptr, 0), "Die Aufgabe wurde abgebrochen.");
    Settings::SetThreadLanguageID(0);
    EXPECT_STREQ(server->GetTemplate(0x8004FE0F, 0, nullptr, 0), "The task was aborted.");
}

TEST(Bundles, HaveTheirOperationsAtTheirPlaces)
{
    EXPECT_EQ(PlaceOf(&Bundle::GetTemplate), 9u);
    EXPECT_EQ(PlaceOf(&QResource::MessageFormatter::Format), 1u);
    EXPECT_EQ(PlaceOf(&QResource::MessageSource::GetResourceBundle), 2u);
    EXPECT_EQ(PlaceOf(&QResource::MessageSource::RecordText), 5u);
}

TEST(MessageSources, AreTheRouters)
{
    std::vector<LogSinks::Line> lines;
    const int sink = LogSinks::AddSink([&](const LogSinks::Line& iLine) { lines.push_back(iLine); });
    LogSinks::Enable("Kernel", "Source", true);
    const PtrI<QLog::Router> router = QLog::CreateRouter("Kernel", "Source", 1);
    QResource::MessageSource* const source = router.Get();

    ASSERT_TRUE(source->GetResourceBundle());
    source->RecordText("Job 7", 0x8000FE24, 0, 0, 0);
    source->RecordText("100% of %1", 1, 0, 0, 0);
    LogSinks::Enable("*", "*", false);
    source->RecordText("unheard", 1, 0, 0, 0);
    LogSinks::RemoveSink(sink);

    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].mText, "Job 7");
    EXPECT_EQ(lines[0].mCode, static_cast<HRESULT>(0x8000FE24));
    EXPECT_EQ(lines[0].mTemplateName, "E_KERNEL_MEMORY_GOVERNOR_REQUEST");
    EXPECT_EQ(lines[1].mText, "100% of %1"); // a text, no template
    EXPECT_EQ(lines[1].mTemplateName, "");
    EXPECT_FALSE(QLog::CreateRouter("Elsewhere", "Source", 1)->GetResourceBundle());
}
