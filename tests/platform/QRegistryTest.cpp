#include "platform/QRegistry.h"

#if !defined(_WIN32)
#include "platform/builtin/Registry.h"
#endif

#include <gtest/gtest.h>

#include <string>

using QRegistry::OpenKeyFromRoot;
using QRegistry::RootHives;

#if defined(_WIN32)

TEST(RegistryKeys, AreTheSystems)
{
    const auto software = OpenKeyFromRoot(RootHives::LocalMachine, W("SOFTWARE"));
    EXPECT_TRUE(software.HasSubKey(W("Microsoft\\Windows NT\\CurrentVersion")));
    EXPECT_FALSE(software.HasSubKey(W("No such vendor")));
    EXPECT_FALSE(software.HasUnnamedValue());
    const auto version = OpenKeyFromRoot(RootHives::LocalMachine, W("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"));
    EXPECT_FALSE(version.ReadText(W("ProductName"), W("")).empty());
}

#else

namespace
{

class RegistryTree : public testing::Test
{
protected:
    ~RegistryTree() override { Registry::Clear(); }

    static std::string Complaint(std::string_view iLines)
    {
        try
        {
            Registry::LoadText(iLines, "setup.txt");
        }
        catch (const QBase::Message& message)
        {
            return message.what();
        }
        return "";
    }
};

} // namespace

TEST_F(RegistryTree, IsReadByPathWhateverTheCase)
{
    EXPECT_EQ(Complaint("# where the texts come from\r\n"
                        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Veltrix\\Language]\r\n"
                        "  @ = 409 \n"
                        "\n"
                        "Greeting=Gr\xC3\xBC\xC3\x9F Gott = 1\n"
                        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Veltrix\\Paths]\n"
                        "[hkey_local_machine\\software\\veltrix\\LANGUAGE]\n"
                        "greeting=again"),
              "");
    const auto software = OpenKeyFromRoot(RootHives::LocalMachine, W("Software"));
    EXPECT_TRUE(software.HasSubKey(W("VELTRIX\\language")));
    EXPECT_TRUE(software.HasSubKey(W("Veltrix\\Paths")));
    EXPECT_FALSE(software.HasUnnamedValue());
    EXPECT_THROW(OpenKeyFromRoot(RootHives::CurrentUser, W("SOFTWARE")), QRegistry::KeyException);

    const auto language = OpenKeyFromRoot(RootHives::LocalMachine, W("SOFTWARE\\Veltrix\\Language"));
    EXPECT_TRUE(language.HasUnnamedValue());
    EXPECT_EQ(language.ReadText(nullptr, W("default")), W("409"));
    EXPECT_EQ(language.ReadText(W("GREETING"), W("default")), W("again"));
    EXPECT_EQ(language.ReadText(W("None"), W("default")), W("default"));
}

TEST_F(RegistryTree, TakesAFileWholeOrNotAtAll)
{
    const std::pair<const char*, const char*> rows[] = {
        {"[HKEY_LOCAL_MACHINE\\A]\nno equals sign", "setup.txt:2: neither [a key] nor a name = a text"},
        {"[HKEY_LOCAL_MACHINE\\A", "setup.txt:1: the key's line has no ] at its end"},
        {"[HKEY_LOCAL_MACHINE\\A]\n[HKEY_LOCAL_MACHINE\\\\A]", "setup.txt:2: a name is missing in the key's path"},
        {"[HKEY_LOCAL_MACHINE\\A]\n[HKEY_NOBODY\\A]", "setup.txt:2: there is no root HKEY_NOBODY"},
    };
    for (const auto& [lines, complaint] : rows)
        EXPECT_EQ(Complaint(lines), complaint);
    EXPECT_THROW(OpenKeyFromRoot(RootHives::LocalMachine, W("A")), QRegistry::KeyException);

    EXPECT_EQ(Complaint("[HKEY_LOCAL_MACHINE\\A]\n@=whole\n"), "");
    const auto key = OpenKeyFromRoot(RootHives::LocalMachine, W("A"));
    Registry::Clear();
    EXPECT_EQ(key.ReadText(nullptr, W("")), W("whole")) << "an open key stays readable";
}

#endif
