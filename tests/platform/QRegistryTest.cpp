#include "platform/QRegistry.h"

#include "tests/support/RegistryText.h"

#include <gtest/gtest.h>

#include <string>

using QRegistry::OpenKeyFromRoot;
using QRegistry::RootHives;

#if defined(_WIN32)

TEST(RegistryKeys, AreTheSystems)
{
    const auto software = OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("SOFTWARE"));
    EXPECT_TRUE(software.HasSubKey(QORJOB_W("Microsoft\\Windows NT\\CurrentVersion")));
    EXPECT_FALSE(software.HasSubKey(QORJOB_W("No such vendor")));
    EXPECT_FALSE(software.HasUnnamedValue());
    const auto version =
        OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"));
    EXPECT_FALSE(version.ReadText(QORJOB_W("ProductName"), QORJOB_W("")).empty());
    EXPECT_EQ(version.ReadText(QORJOB_W("No such value"), QORJOB_W("default")), QORJOB_W("default"));

    const RegistryText value("HKEY_CURRENT_USER\\Software\\Veltrix\\Test");
    value.Set("");
    const auto key = OpenKeyFromRoot(RootHives::CurrentUser, QORJOB_W("Software\\Veltrix\\Test"));
    for (const std::size_t length : {0, 1, 62, 63, 64, 65, 300})
    {
        value.Set(std::string(length, 'a'));
        EXPECT_TRUE(key.HasUnnamedValue());
        EXPECT_EQ(key.ReadText(nullptr, QORJOB_W("default")), QBase::wstring(length, QORJOB_W('a')));
    }
    value.Remove();
    EXPECT_FALSE(key.HasUnnamedValue());
    const DWORD number = 5;
    ::RegSetKeyValueA(HKEY_CURRENT_USER, "Software\\Veltrix\\Test", "number", REG_DWORD, &number, sizeof(number));
    EXPECT_THROW(key.ReadText(QORJOB_W("number"), QORJOB_W("")), QRegistry::KeyException) << "it is no text";
}

#else

namespace
{

class RegistryTree : public testing::Test
{
protected:
    ~RegistryTree() override { Builtin::RegistryTree::Clear(); }

    static std::string Complaint(std::string_view iLines)
    {
        try
        {
            Builtin::RegistryTree::LoadText(iLines, "setup.txt");
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
    const auto software = OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("Software"));
    EXPECT_TRUE(software.HasSubKey(QORJOB_W("VELTRIX\\language")));
    EXPECT_TRUE(software.HasSubKey(QORJOB_W("Veltrix\\Paths")));
    EXPECT_FALSE(software.HasUnnamedValue());
    EXPECT_THROW(OpenKeyFromRoot(RootHives::CurrentUser, QORJOB_W("SOFTWARE")), QRegistry::KeyException);

    const auto language = OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("SOFTWARE\\Veltrix\\Language"));
    EXPECT_TRUE(language.HasUnnamedValue());
    EXPECT_EQ(language.ReadText(nullptr, QORJOB_W("default")), QORJOB_W("409"));
    EXPECT_EQ(language.ReadText(QORJOB_W("GREETING"), QORJOB_W("default")), QORJOB_W("again"));
    EXPECT_EQ(language.ReadText(QORJOB_W("None"), QORJOB_W("default")), QORJOB_W("default"));
}

TEST_F(RegistryTree, NamesClassesByTheirIds)
{
    constexpr GUID id{0x01234567, 0x89AB, 0xCDEF, {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE}};
    QBase::WCHAR* name = nullptr;
    EXPECT_EQ(ProgIDFromCLSID(id, nullptr), E_INVALIDARG);
    EXPECT_EQ(ProgIDFromCLSID(id, &name), REGDB_E_CLASSNOTREG);
    const std::string key = "[HKEY_CLASSES_ROOT\\CLSID\\{01234567-89AB-CDEF-1032-547698BADCFE}\\ProgID]\n";
    EXPECT_EQ(Complaint(key), "");
    EXPECT_EQ(ProgIDFromCLSID(id, &name), REGDB_E_CLASSNOTREG) << "without a text";
    EXPECT_EQ(Complaint(key + "@=Veltrix.Class"), "");
    ASSERT_EQ(ProgIDFromCLSID(id, &name), S_OK);
    EXPECT_EQ(name, QBase::wstring(QORJOB_W("Veltrix.Class")));
    CoTaskMemFree(name);
}

TEST_F(RegistryTree, IsNoDeeperThanItsEndCanBe)
{
    std::string deepest = "[HKEY_CURRENT_USER";
    for (int names = 1; names < 512; ++names)
        deepest += "\\a";
    EXPECT_EQ(Complaint(deepest + "]"), "");
    for (const int more : {1, 100'000})
    {
        std::string deeper = deepest;
        for (int names = 0; names < more; ++names)
            deeper += "\\a";
        EXPECT_EQ(Complaint(deeper + "]"), "setup.txt:1: the key's path has more than 512 names");
    }
}

TEST_F(RegistryTree, TakesAFileWholeOrNotAtAll)
{
    const std::pair<const char*, const char*> rows[] = {
        {"[HKEY_LOCAL_MACHINE\\A]\nno equals sign", "setup.txt:2: neither [a key] nor a name = a text"},
        {"# none\n@ = text\n[HKEY_LOCAL_MACHINE\\A]", "setup.txt:2: a value stands before the first key"},
        {"[HKEY_LOCAL_MACHINE\\A", "setup.txt:1: the key's line has no ] at its end"},
        {"[HKEY_LOCAL_MACHINE\\A]\n[HKEY_LOCAL_MACHINE\\\\A]", "setup.txt:2: a name is missing in the key's path"},
        {"[\\HKEY_LOCAL_MACHINE]", "setup.txt:1: a name is missing in the key's path"},
        {"[HKEY_LOCAL_MACHINE\\]", "setup.txt:1: a name is missing in the key's path"},
        {"[]", "setup.txt:1: a name is missing in the key's path"},
        {"[HKEY_LOCAL_MACHINE\\A]\n= text", "setup.txt:2: neither [a key] nor a name = a text"},
        {"[HKEY_LOCAL_MACHINE\\A]\n[HKEY_NOBODY\\A]", "setup.txt:2: there is no root HKEY_NOBODY"},
    };
    for (const auto& [lines, complaint] : rows)
        EXPECT_EQ(Complaint(lines), complaint);
    EXPECT_THROW(OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("A")), QRegistry::KeyException);

    EXPECT_EQ(Complaint("[HKEY_LOCAL_MACHINE\\A]\n@=whole\n"), "");
    const auto key = OpenKeyFromRoot(RootHives::LocalMachine, QORJOB_W("A"));
    Builtin::RegistryTree::Clear();
    EXPECT_EQ(key.ReadText(nullptr, QORJOB_W("")), QORJOB_W("whole")) << "an open key stays readable";
}

#endif
