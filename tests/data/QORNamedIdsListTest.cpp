#include "data/QORNamedIdsList.h"

#include "tests/support/DataTest.h"

#include <random>

using Builtin::Faults::EnumFault;

namespace
{

using NamedIds = JobTest;

/// "name=id" by index, where the lookups by name agree.
std::string Show(const QORNamedIdsList& iNames)
{
    std::string shown;
    const QBase::WCHAR* name = nullptr;
    for (int id = 0, index = 0, next = 0; iNames.IndexToName(next, &name) == S_OK && name != nullptr; ++next)
    {
        EXPECT_TRUE(iNames.NameToId(name, &id) == S_OK && iNames.NameToIndex(name, &index) == S_OK && index == next);
        shown += TextOf(name) + "=" + std::to_string(id) + " ";
    }
    return shown;
}

/// What all lookups of one number give, as an id and as an index.
std::string Find(const QORNamedIdsList& iNames, int iNumber)
{
    std::string found;
    for (const bool bId : {true, false})
    {
        const QBase::WCHAR* name = QORJOB_W("x");
        QBase::WCHAR* copy = nullptr;
        QBase::wstring text = QORJOB_W("x");
        int number = 77;
        EXPECT_EQ(bId ? iNames.IdToName(iNumber, &name) : iNames.IndexToName(iNumber, &name), S_OK);
        EXPECT_EQ(bId ? iNames.IdToName(iNumber, text) : iNames.IndexToName(iNumber, text), S_OK);
        EXPECT_EQ(bId ? iNames.IdToNameCopy(iNumber, &copy) : iNames.IndexToNameCopy(iNumber, &copy), S_OK);
        EXPECT_EQ(bId ? iNames.IdToIndex(iNumber, &number) : iNames.IndexToId(iNumber, &number), S_OK);
        found += TextOf(name) + " " + TextOf(text.c_str()) + " " + TakeText(copy) + " " + std::to_string(number) + ";";
    }
    return found;
}

} // namespace

TEST_F(NamedIds, KeepTheirIndexAndTakeTheNewId)
{
    QORNamedIdsList names;
    const std::pair<const QBase::WCHAR*, int> added[] = {{QORJOB_W("c"), -1}, {QORJOB_W("d"), -7}, {QORJOB_W("a"), 1},
                                                         {QORJOB_W("A"), 1},  {QORJOB_W("b"), 5},  {QORJOB_W("b"), 9},
                                                         {QORJOB_W("a"), -1}, {QORJOB_W(""), 3},   {QORJOB_W("ab"), 3}};
    for (const auto& [name, id] : added)
        EXPECT_EQ(names.AddNameCopy(name, id), S_OK);
    EXPECT_EQ(Show(names), "c=0 d=1 a=5 A=1 b=9 =3 ab=3 ") << "-1 gives the count, not the index that the name has";
    EXPECT_EQ(Find(names, 3), "ab ab ab 6;A A A 1;") << "of one id the highest index";
    for (const int unknown : {-2, -1, 7, 0x7FFFFFFF})
        EXPECT_EQ(Find(names, unknown), "(null)  (null) -1;(null)  (null) -1;");

    QBase::WCHAR* const given = QORNamedIdsList::DuplicateString(QORJOB_W("d"));
    const QBase::WCHAR* stored = nullptr;
    EXPECT_EQ(names.AddName(given, 2), S_OK);
    EXPECT_EQ(names.AddName(given, 2), S_OK) << "the very pointer that is there";
    EXPECT_EQ(names.IdToName(2, &stored), S_OK);
    EXPECT_EQ(stored, given);
}

TEST_F(NamedIds, RefuseNullOutPointers)
{
    QORNamedIdsList names;
    const QBase::WCHAR* const name = QORJOB_W("a");
    EXPECT_EQ(names.AddNameCopy(name, 0), S_OK);
    for (const HRESULT code : {names.NameToId(name, nullptr), names.NameToIndex(name, nullptr),
                               names.IdToName(0, static_cast<const QBase::WCHAR**>(nullptr)),
                               names.IdToIndex(0, nullptr), names.IdToNameCopy(0, nullptr), names.IndexToId(0, nullptr),
                               names.IndexToName(0, static_cast<const QBase::WCHAR**>(nullptr)),
                               names.IndexToNameCopy(0, nullptr), names.GetNameCount(nullptr)})
        EXPECT_EQ(code, E_POINTER);
}

/// Few names and ids, so that many ids are shared, given up and taken again; each lookup is held against a scan from
/// the back.
TEST_F(NamedIds, AnswerAsAScanFromTheBackDoes)
{
    using Model = std::vector<std::pair<std::string, int>>;
    std::mt19937 random(20);
    const auto pick = [&](int iCount) { return std::uniform_int_distribution(0, iCount - 1)(random); };
    QORNamedIdsList names;
    Model model;
    for (int round = 0; round < 1500; ++round)
    {
        const std::string name = "n" + std::to_string(pick(20 + round / 30));
        // Of three ids at first, so that names that are there already take further ids later.
        const int id = round < 300 ? pick(3) : pick(3) == 0 ? 0x7FFFFFFF - pick(200) : pick(14) - 3;
        const auto entry =
            std::find_if(model.begin(), model.end(), [&](const auto& iOne) { return iOne.first == name; });
        QBase::WCHAR* given = QORNamedIdsList::DuplicateString(QBase::UTF8ToWideChar(name).c_str());
        Builtin::Faults::FailNth(EnumFault::Allocation, pick(2));
        const HRESULT code = names.AddName(given, id);
        Builtin::Faults::FailNth(EnumFault::Allocation, 0);
        ASSERT_TRUE(code == S_OK || code == E_OUTOFMEMORY);
        if (code == S_OK)
        {
            const int taken = id < 0 ? static_cast<int>(model.size()) : id;
            if (entry == model.end())
                model.emplace_back(name, taken);
            else
                entry->second = taken;
        }

        std::string shown;
        for (const auto& [eachName, eachId] : model)
            shown += eachName + "=" + std::to_string(eachId) + " ";
        ASSERT_EQ(Show(names), shown) << "in round " << round;
        for (int asked = -3; asked < static_cast<int>(model.size()) + 12; ++asked)
        {
            const int number = asked < static_cast<int>(model.size()) + 10 ? asked : id;
            const auto last =
                std::find_if(model.rbegin(), model.rend(), [&](const auto& iOne) { return iOne.second == number; });
            const QBase::WCHAR* found = nullptr;
            int index = 77;
            names.IdToName(number, &found);
            names.IdToIndex(number, &index);
            ASSERT_EQ(index, model.rend() - last - 1) << "of id " << number << " in round " << round;
            ASSERT_EQ(TextOf(found), last == model.rend() ? "(null)" : last->first);
        }
    }
    EXPECT_GT(model.size(), 50U);
}

/// So many that some of them certainly have the same hash, of 32 bits.
TEST_F(NamedIds, AreToldApartByTheirText)
{
    QORNamedIdsList names;
    std::vector<QBase::wstring> texts;
    for (int index = 0; index < 300'000; ++index)
        names.AddNameCopy(texts.emplace_back(QBase::UTF8ToWideChar("n" + std::to_string(index))).c_str(), 5);
    int expected = 0;
    for (const QBase::wstring& text : texts)
    {
        int index = -1;
        names.NameToIndex(text.c_str(), &index);
        ASSERT_EQ(index, expected++);
    }
}

TEST_F(NamedIds, RefuseANullAndGiveNoCount)
{
    QORNamedIdsList names;
    int number = 77;
    EXPECT_EQ(names.AddName(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(names.GetNameCount(&number), S_OK);
    EXPECT_EQ(number, 77);
    EXPECT_EQ(names.NameToId(nullptr, &number), S_OK);
    EXPECT_EQ(number, -1);
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
            QBase::WCHAR* given = QORNamedIdsList::DuplicateString(QBase::UTF8ToWideChar(name).c_str());
            Builtin::Faults::FailNth(EnumFault::Allocation, nth);
            code = names.AddName(given, -1);
            Builtin::Faults::FailNth(EnumFault::Allocation, 0);
            ASSERT_TRUE(code == S_OK || (code == E_OUTOFMEMORY && Show(names) == shown)) << Show(names);
        }
        shown += name + "=" + std::to_string(added) + " ";
    }
    EXPECT_EQ(Find(names, 0) + Find(names, 17), "n0 n0 n0 0;n0 n0 n0 0;n17 n17 n17 17;n17 n17 n17 17;");
    QBase::WCHAR* copy = nullptr;
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(names.AddNameCopy(QORJOB_W("x"), 1), E_INVALIDARG) << "a copy that isn't made counts as a null name";
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(names.IdToNameCopy(3, &copy), E_OUTOFMEMORY);
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(names.IndexToNameCopy(3, &copy), S_OK) << "with null";
    EXPECT_EQ(copy, nullptr);
    Builtin::Faults::FailNth(EnumFault::LockCreation, 1);
    EXPECT_THROW(QORNamedIdsList(), std::bad_alloc);
}

TEST_F(NamedIds, AreReadWhileOthersRegister)
{
    Builtin::EventTrace::Start();
    {
        QORNamedIdsList names;
        RunOnThreads(4, [&](int iIndex) {
            for (int i = 0; i < 300; ++i)
            {
                const std::string name = "n" + std::to_string(i);
                const QBase::wstring wide = QBase::UTF8ToWideChar(name);
                QBase::WCHAR* copy = nullptr;
                int index = -1;
                if (iIndex < 2)
                    names.AddNameCopy(wide.c_str(), i);
                names.NameToIndex(wide.c_str(), &index);
                names.IndexToNameCopy(index, &copy);
                EXPECT_EQ(TakeText(copy), index < 0 ? "(null)" : name);
            }
        });
    }
    EXPECT_EQ(Builtin::EventTrace::Stop(), (Texts{"QSynch::CreateRWLock 27", "QSynch::DestroyRWLock 27"}));
}
