// Tests of the data items: saving and loading, ownership, and the registry of their names.
#include "data/QORComData.h"
#include "data/QORNamedIdsList.h"
#include "data/QORStringData.h"
#include "data/QORTextFileData.h"
#include "record/QORJobInfoData.h"
#include "tests/support/DataTest.h"
#include "tests/support/OperationPlace.h"

using Builtin::Faults::EnumFault;

namespace
{

using DataItems = JobTest;

struct StringData final : QORStringData
{
    explicit StringData(const QBase::WCHAR* iText) : QORStringData(1, iText, COPY_STRING) {}
    using QORJobData::SetMemoryBuffer;
};

constexpr unsigned cHead = 4;

/// Another module's item, which saves a header of its own before what its base saves.
template <class Kind>
struct Headed final : Kind
{
    using Kind::Kind;
    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const override
    {
        const HRESULT code = Kind::GetSaveObjSize(iVersion, oSize);
        *oSize += cHead;
        return code;
    }
};

/// Saves into buffers that are just long enough, one byte longer and one byte shorter.
void ExpectLayout(const QORJobData& iItem, const Bytes& iBytes, const Saved& iShort = {})
{
    const auto size = static_cast<unsigned>(iBytes.size());
    unsigned needed = 77;
    EXPECT_EQ(iItem.GetSaveObjSize(7, &needed), S_OK);
    EXPECT_EQ(needed, size);
    Bytes longer = iBytes;
    longer.push_back(cUntouched);
    EXPECT_EQ(Save(iItem, size, size), (Saved{S_OK, size, iBytes}));
    EXPECT_EQ(Save(iItem, size + 1, size + 1), (Saved{S_OK, size, longer}));
    EXPECT_TRUE(size == 0 || Save(iItem, size - 1, size - 1) == iShort);
    EXPECT_EQ(iItem.SaveObj(7, size, nullptr, &needed), size == 0 ? S_OK : E_POINTER);
}

std::string Loaded(QORJobData&& ioItem, const Bytes& iBytes)
{
    EXPECT_EQ(ioItem.LoadObj(static_cast<unsigned>(iBytes.size()), iBytes.data()), S_OK);
    return TextIn(ioItem);
}

} // namespace

TEST_F(DataItems, SaveTheirKindsLayout)
{
    const QBase::WCHAR* const text = QORJOB_W("a\u20ACc");
    ExpectLayout(Binary(1, {-1, 0, 3}), {-1, 0, 3}, {S_FALSE, 3, Bytes(2, cUntouched)});
    ExpectLayout(StringData(text), {'a', 0, -84, 0x20, 'c', 0}, {S_OK, 4, {'a', 0, -84, 0x20, cUntouched}});
    ExpectLayout(QORTextFileData(1, text), {'a', 0, -84}, {S_FALSE, 3, Bytes(2, cUntouched)});
    FakeProcessContext object;
    ExpectLayout(QORComData(1, &object), {});
    ExpectLayout(QORBinaryData(1, nullptr, 3), {});
    QORBinaryData emptied = Binary(1, {1});
    EXPECT_EQ(emptied.Reset(), S_OK);
    ExpectLayout(emptied, {});
    ExpectLayout(StringData(nullptr), {});
    ExpectLayout(QORTextFileData(1, nullptr), {});
}

TEST_F(DataItems, LoadJustTheBytesThatTheyAreGiven)
{
    const Bytes five = {'a', 0, 'b', 0, 'c'};
    QORBinaryData binary(1, nullptr, 0);
    EXPECT_EQ(binary.LoadObj(5, five.data()), S_OK);
    EXPECT_EQ(Save(binary, 5, 5), (Saved{S_OK, 5, five}));
    EXPECT_EQ(Loaded(StringData(nullptr), five), "ab");
    EXPECT_EQ(Loaded(QORTextFileData(1, nullptr), five), "abc");
    EXPECT_EQ(Loaded(QORTextFileData(1, nullptr), {'a'}), "a");
    // Half of a text file is restored: six units are saved as six bytes.
    EXPECT_EQ(Loaded(QORTextFileData(1, nullptr), Save(QORTextFileData(1, QORJOB_W("abcdef")), 6, 6).mBytes), "abc");
}

TEST_F(DataItems, StayAsTheyWereWithoutMemoryOrBytes)
{
    QORBinaryData binary = Binary(1, {1});
    StringData text(QORJOB_W("t"));
    QORTextFileData file(1, QORJOB_W("t"));
    QORJobData* const items[] = {&binary, &text, &file};
    for (QORJobData* item : items)
    {
        const void* before = PayloadOf(*item);
        EXPECT_EQ(item->LoadObj(2, nullptr), E_POINTER);
        Builtin::Faults::FailNth(EnumFault::Allocation, 1);
        EXPECT_EQ(item->LoadObj(0xFFFFFFFF, Bytes(1).data()), E_OUTOFMEMORY);
        EXPECT_EQ(PayloadOf(*item), before);
    }
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(text.Append(QORJOB_W("more")), E_OUTOFMEMORY);
    EXPECT_EQ(text.Append(nullptr), S_OK);
    EXPECT_EQ(TextIn(text), "t");
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_THROW(QORTextFileData(1, QORJOB_W("t")), std::bad_alloc);
}

TEST_F(DataItems, SaveTheirOwnPayloadWhateverAClassAddsToIt)
{
    const auto save = [](const QORJobData& iItem, unsigned iExact) {
        signed char buffer[16] = {};
        unsigned size = 0;
        EXPECT_EQ(iItem.SaveObj(0, iExact, buffer, &size), S_OK);
        EXPECT_EQ(size, iExact);
        EXPECT_EQ(iItem.GetSaveObjSize(0, &size), S_OK);
        EXPECT_EQ(size, iExact + cHead);
    };
    save(Headed<QORBinaryData>(1, QBase::HeapAllocate(6), 6u), 6);
    save(Headed<QORStringData>(1, QORJOB_W("abc"), QORStringData::COPY_STRING), 6);
    save(Headed<QORTextFileData>(1, QORJOB_W("abc")), 3);
    save(Headed<QORComData>(1, nullptr), 0);
}

TEST_F(DataItems, HoldOneReferenceToTheirInterface)
{
    FakeProcessContext first;
    FakeProcessContext second;
    {
        QORComData item(1, &first);
        EXPECT_EQ(Read(item, &QORComData::GetInterface)->Release(), 1u);
        EXPECT_EQ(item.LoadObj(1, Bytes(1).data()), S_OK) << "nothing is loaded";
        EXPECT_EQ(PayloadOf(item), static_cast<IUnknown*>(&first));
        item.SetInterface(&second);
        EXPECT_EQ(item.Reset(), S_OK);
        item.SetInterface(&second);
        EXPECT_EQ(second.mReferences, 1u);
    }
    EXPECT_EQ(first.mReferences + second.mReferences, 0u);
}

// The fixture or the sanitizer finds what is freed twice or not at all.
TEST_F(DataItems, GoWithTheirLastReferenceWhereTheyLive)
{
    QBase::WCHAR* const adopted = QORNamedIdsList::DuplicateString(QORJOB_W("on the heap"));
    QORJobData* item = new QORStringData(1, adopted, QORStringData::ADOPT_STRING);
    EXPECT_EQ(item->AddRef(), 1u);
    QORStringData copy(*static_cast<QORStringData*>(item)); // shares the text, and has the count too
    EXPECT_EQ(PayloadOf(copy), adopted);
    EXPECT_EQ(copy.AddRef(), 2u);
    EXPECT_EQ(copy.LoadObj(0, nullptr), S_OK);
    EXPECT_EQ(item->Release(), 0u);

    const JobPtr job = NewJob();
    EXPECT_EQ(job->CreateJobDataObject(1, &item), E_INVALIDARG);
    EXPECT_EQ(job->CreateJobDataObject(0, nullptr), E_POINTER);
    EXPECT_EQ(QORJobData::CreateJobDataObject(nullptr, 0, &item), E_POINTER);
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(job->CreateJobDataObject(0, &item), E_OUTOFMEMORY);
    EXPECT_EQ(job->CreateJobDataObject(0, &item), S_OK);
    auto* text = static_cast<QORStringData*>(item);
    EXPECT_EQ(text->Append(QORJOB_W("ab")), S_OK);
    EXPECT_EQ(text->Append(static_cast<const QBase::WCHAR*>(PayloadOf(*text))), S_OK) << "its own text";
    EXPECT_EQ(TextIn(*text), "abab");
    EXPECT_EQ(item->AddRef(), 1u);
    EXPECT_EQ(item->Release(), 0u);
    EXPECT_EQ(PayloadOf(*item), nullptr) << "the item itself stays until the buffer goes";

    QBase::Buffer* buffer = QBase::CreateBuffer(512, 1, 256, false);
    auto* owner = new (buffer) StringData(QORJOB_W("in a buffer of its own"));
    EXPECT_EQ(owner->SetMemoryBuffer(buffer, false), S_OK);
    owner->AddRef();
    EXPECT_EQ(owner->Release(), 0u);
}

TEST_F(DataItems, HaveTheirOperationsWhereOtherModulesHaveThem)
{
    using Data = QORJobData;
    // Behind the destructor, whose number of slots depends on the compiler.
    const std::size_t first = PlaceOf(&Data::Reset);
    EXPECT_LE(first, 2u);
    ExpectPlaces(first, &Data::Reset, &Data::GetData,
                 static_cast<HRESULT (Data::*)(const QBase::WCHAR**) const>(&Data::GetName), &Data::GetSaveObjSize,
                 &Data::SaveObj, &Data::LoadObj, &Data::QueryInterface, &Data::Release, &Data::AddRef, &Data::Init,
                 static_cast<HRESULT (Data::*)(unsigned*) const>(&Data::GetId), &Data::GetObjType, &Data::GetVersionId,
                 &Data::GetLoadStatus, &Data::GetChildren);
}

TEST_F(DataItems, AnswerWhatTheirRootAnswersForAllKinds)
{
    QORBinaryData item(7, nullptr, 0);
    QORJobData& root = item;
    DWORD number = 77;
    GUID type = GuidOf(1);
    IEnumKDXGUID* children = nullptr;
    EXPECT_EQ(root.Init(8), S_OK);
    EXPECT_EQ(Read(root, static_cast<HRESULT (QORJobData::*)(unsigned*) const>(&QORJobData::GetId)), 8u);
    EXPECT_EQ(root.QueryInterface(GUID_NULL, nullptr), S_OK);
    EXPECT_EQ(root.QORJobData::Reset(), S_OK);
    for (const HRESULT code :
         {root.GetObjType(&type), root.GetVersionId(&number), root.GetLoadStatus(&number), root.GetChildren(&children)})
        EXPECT_EQ(code, E_NOTIMPL);
    const QORComData com(1, nullptr);
    QORStringData text(1, QORJOB_W("t"), QORStringData::COPY_STRING);
    const QORTextFileData file(1, QORJOB_W("t"));
    const QORJobInfoData info;
    for (const QORJobData* kind : {static_cast<const QORJobData*>(&item), static_cast<const QORJobData*>(&com),
                                   static_cast<const QORJobData*>(&text), static_cast<const QORJobData*>(&file)})
        for (const HRESULT code : {kind->GetId(nullptr), kind->GetData(nullptr), kind->GetName(nullptr),
                                   kind->GetSaveObjSize(0, nullptr), kind->SaveObj(0, 0, nullptr, nullptr)})
            EXPECT_EQ(code, E_POINTER);
    for (const HRESULT code : {com.GetInterface(nullptr), text.GetDataCopy(nullptr), info.GetId(nullptr),
                               info.GetSize(nullptr), info.GetData(nullptr), info.GetSaveObjSize(0, nullptr)})
        EXPECT_EQ(code, E_POINTER);
}

TEST_F(DataItems, HaveNamesOnceTheRegistryIsThere)
{
    const QORComData item(0, nullptr);
    const QBase::WCHAR* name = nullptr;
    int id = 77;
    EXPECT_EQ(QORJobData::GetId(QORJOB_W("mine"), nullptr), E_POINTER) << "before the missing registry";
    EXPECT_EQ(QORJobData::GetId(QORJOB_W("mine"), &id), E_HANDLE);
    EXPECT_EQ(item.GetName(&name), E_HANDLE) << "no lookup makes it";
    Builtin::Faults::FailNth(EnumFault::LockCreation, 1);
    EXPECT_EQ(QORJobData::AddName(QORJOB_W("mine"), 3), E_OUTOFMEMORY);
    RunOnThreads(4, [](int) { EXPECT_EQ(QORJobData::AddName(QORJOB_W("mine"), 3), S_OK); });
    EXPECT_EQ(QORJobData::InitJobDataNameIds(), S_OK);
    EXPECT_EQ(item.GetName(&name), S_OK);
    EXPECT_EQ(TextOf(name), "QORDataMachineName");
    EXPECT_EQ(QORJobData::GetId(QORJOB_W("mine"), &id), S_OK);
    EXPECT_EQ(id, 3);
    EXPECT_EQ(QORJobData::UnInitJobDataNameIds(), S_OK);
    EXPECT_EQ(item.GetName(&name), E_HANDLE);
}
