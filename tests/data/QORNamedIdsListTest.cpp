#include "data/QORNamedIdsList.h"

#include "tests/data/DataTest.h"

namespace
{

using NamedIds = JobTest;

/// "name=id" by index, where the lookup by name agrees.
std::string Show(const QORNamedIdsList& iNames)
{
    std::string shown;
    const WCHAR* name = nullptr;
    int index = 0;
    for (int id = 0, next = 0; iNames.IndexToName(next, &name) == S_OK && name != nullptr; ++next)
    {
        EXPECT_EQ(iNames.NameToId(name, &id), S_OK);
        EXPECT_EQ(iNames.NameToIndex(name, &index), S_OK);
        EXPECT_EQ(index, next);
        shown += TextOf(name) + "=" + std::to_string(id) + " ";
    }
    EXPECT_EQ(iNames.NameToId(name, &index), S_OK);
    EXPECT_EQ(index, -1) << "of no name";
    return shown;
}

/// What all lookups by one number give.
std::string Find(const QORNamedIdsList& iNames, int iNumber)
{
    const WCHAR* names[2] = {W("x"), W("x")};
    WCHAR* copies[2] = {};
    QBase::wstring texts[2] = {W("x"), W("x")};
    int numbers[2] = {77, 77};
    for (const HRESULT code : {iNames.IdToName(iNumber, &names[0]), iNames.IdToName(iNumber, texts[0]),
                               iNames.IdToNameCopy(iNumber, &copies[0]), iNames.IdToIndex(iNumber, &numbers[0]),
                               iNames.IndexToName(iNumber, &names[1]), iNames.IndexToName(iNumber, texts[1]),
                               iNames.IndexToNameCopy(iNumber, &copies[1]), iNames.IndexToId(iNumber, &numbers[1])})
        EXPECT_EQ(code, S_OK);
    std::string found;
    for (int side = 0; side < 2; ++side)
        found += TextOf(names[side]) + " " + TextOf(texts[side].c_str()) + " " + TakeText(copies[side]) + " " +
                 std::to_string(numbers[side]) + (side == 0 ? ", " : "");
    return found;
}

} // namespace

TEST_F(NamedIds, KeepTheirIndexAndTakeTheNewId)
{
    QORNamedIdsList names;
    const struct
    {
        const WCHAR* mName;
        int mId;
        const char* mShown;
    } steps[] = {
        {W("b"), -1, "b=0 "},          {W("a"), -7, "b=0 a=1 "},
        {W("A"), 1, "b=0 a=1 A=1 "},   {W("b"), 9, "b=9 a=1 A=1 "},
        {W("a"), -1, "b=9 a=3 A=1 "}, // the count, not its own index
        {W(""), 3, "b=9 a=3 A=1 =3 "}, {W("ab"), 3, "b=9 a=3 A=1 =3 ab=3 "},
    };
    for (const auto& step : steps)
    {
        EXPECT_EQ(names.AddNameCopy(step.mName, step.mId), S_OK);
        EXPECT_EQ(Show(names), step.mShown);
    }
    EXPECT_EQ(Find(names, 3), "ab ab ab 4,    3") << "of one id the highest index";
    EXPECT_EQ(Find(names, 1), "A A A 2, a a a 3");
    for (const int unknown : {-2, -1, 5, 0x7FFFFFFF})
        EXPECT_EQ(Find(names, unknown), "(null)  (null) -1, (null)  (null) -1");
}

TEST_F(NamedIds, RefuseNullsAndGiveNoCount)
{
    QORNamedIdsList names;
    for (const HRESULT code : {names.NameToId(W("x"), nullptr), names.NameToIndex(W("x"), nullptr),
                               names.IdToNameCopy(5, nullptr), names.IdToIndex(5, nullptr), names.IndexToId(0, nullptr),
                               names.IndexToNameCopy(0, nullptr), names.GetNameCount(nullptr)})
        EXPECT_EQ(code, E_POINTER);
    EXPECT_EQ(names.AddName(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(names.AddNameCopy(nullptr, 1), E_INVALIDARG);
    int count = 77;
    EXPECT_EQ(names.GetNameCount(&count), S_OK);
    EXPECT_EQ(count, 77);
}

TEST_F(NamedIds, OwnTheVeryStringThatTheyAreGiven)
{
    QORNamedIdsList names;
    WCHAR* const given = QORNamedIdsList::DuplicateString(W("a"));
    for (WCHAR* name : {given, given, QORNamedIdsList::DuplicateString(W("a"))})
    {
        const WCHAR* stored = nullptr;
        EXPECT_EQ(names.AddName(name, 4), S_OK);
        EXPECT_EQ(names.IdToName(4, &stored), S_OK);
        EXPECT_EQ(stored, name);
    }
    EXPECT_EQ(Show(names), "a=4 ");
}

TEST_F(NamedIds, StayAsTheyWereWithoutMemory)
{
    QORNamedIdsList names;
    std::string shown;
    for (int added = 0; added < 40; ++added)
    {
        const std::string name = "n" + std::to_string(added);
        HRESULT code = E_FAIL;
        for (int nth = 1; code != S_OK; ++nth)
        {
            WCHAR* given = QORNamedIdsList::DuplicateString(QBase::UTF8ToWideChar(name).c_str());
            Faults::FailNth(Faults::EnumFault::Allocation, nth);
            code = names.AddName(given, -1);
            Faults::FailNth(Faults::EnumFault::Allocation, 0);
            ASSERT_TRUE(code == S_OK || (code == E_OUTOFMEMORY && Show(names) == shown)) << Show(names);
        }
        shown += name + "=" + std::to_string(added) + " ";
    }
    EXPECT_EQ(Find(names, 0), "n0 n0 n0 0, n0 n0 n0 0");
    EXPECT_EQ(Find(names, 17), "n17 n17 n17 17, n17 n17 n17 17");
    WCHAR* copy = nullptr;
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(names.AddNameCopy(W("x"), 1), E_INVALIDARG) << "a copy that isn't made counts as a null name";
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(names.IdToNameCopy(3, &copy), E_OUTOFMEMORY);
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(names.IndexToNameCopy(3, &copy), S_OK) << "with null";
    EXPECT_EQ(copy, nullptr);
    Faults::FailNth(Faults::EnumFault::LockCreation, 1);
    EXPECT_THROW(QORNamedIdsList(), std::bad_alloc);
}

TEST_F(NamedIds, AreReadWhileOthersRegister)
{
    EventTrace::Start();
    {
        QORNamedIdsList names;
        RunOnThreads(4, [&](int iIndex) {
            for (int i = 0; i < 300; ++i)
            {
                const std::string name = "n" + std::to_string(i);
                const QBase::wstring wide = QBase::UTF8ToWideChar(name);
                WCHAR* copy = nullptr;
                int index = -1;
                if (iIndex < 2)
                    names.AddNameCopy(wide.c_str(), i);
                names.NameToIndex(wide.c_str(), &index);
                names.IndexToNameCopy(index, &copy);
                EXPECT_EQ(TakeText(copy), index < 0 ? "(null)" : name);
            }
        });
        EXPECT_EQ(Find(names, 299), "n299 n299 n299 299, n299 n299 n299 299");
    }
    EXPECT_EQ(EventTrace::Stop(), (Texts{"QSynch::CreateRWLock 27", "QSynch::DestroyRWLock 27"}));
}
