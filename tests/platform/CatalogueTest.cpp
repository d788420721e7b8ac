#include "platform/builtin/text/Catalogue.h"

#include "platform/QLog.h"
#include "platform/QLogRouter.h"
#include "platform/QResource.h"
#include "platform/builtin/LogSinks.h"
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
    ASSERT_EQ(Builtin::Catalogue::GetLanguages().size(), 2u);
    const Builtin::Catalogue::Language& english = Builtin::Catalogue::GetLanguages()[0];
    EXPECT_EQ(english.mLanguageId, cEnglish);
    for (const Builtin::Catalogue::Language& language : Builtin::Catalogue::GetLanguages())
    {
        EXPECT_EQ(language.mEntries.size(), english.mEntries.size());
        for (const Builtin::Catalogue::Entry& entry : language.mEntries)
        {
            const auto* const same = Builtin::Catalogue::Find(entry.mpBundle, entry.mMessageId, cEnglish);
            ASSERT_NE(same, nullptr) << entry.mpName;
            EXPECT_STREQ(entry.mpName, same->mpName);
            EXPECT_EQ(PlacesOf(entry.mpText), PlacesOf(same->mpText)) << entry.mpName;
        }
    }
}

TEST(Bundles, HaveTheirOperationsAtTheirPlaces)
{
    using Formatter = QResource::MessageFormatter;
    ExpectPlaces(9, &Bundle::GetTemplate, &Bundle::FindMessage);
    ExpectPlaces(0, &Formatter::AddArgument, &Formatter::Format);
    ExpectPlaces(2, &QResource::MessageSource::GetResourceBundle);
    ExpectPlaces(5, &QResource::MessageSource::RecordText, &QLog::Router::LogLine, &QLog::Router::LogCoded);
}

TEST(MessageSources, AreTheRouters)
{
    std::vector<Builtin::LogSinks::Line> lines;
    const int sink = Builtin::LogSinks::AddSink([&](const Builtin::LogSinks::Line& iLine) { lines.push_back(iLine); });
    Builtin::LogSinks::Enable("Kernel", "Source", true);
    const PtrI<QLog::Router> router = QLog::CreateRouter("Kernel", "Source", 1);
    QResource::MessageSource* const source = router.Get();

    ASSERT_TRUE(source->GetResourceBundle());
    source->RecordText("Job 7", 0x8000FE24, 0, 0, 0);
    Builtin::LogSinks::RemoveSink(sink);

    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].mText, "Job 7");
    EXPECT_EQ(lines[0].mCode, static_cast<HRESULT>(0x8000FE24));
    EXPECT_EQ(lines[0].mTemplateName, "E_KERNEL_MEMORY_GOVERNOR_REQUEST");
}
