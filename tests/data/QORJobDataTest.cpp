// The kinds of data items: what is saved of them, who frees what, and the registry of their names.
#include "data/QORComData.h"
#include "data/QORNamedIdsList.h"
#include "data/QORStringData.h"
#include "data/QORTextFileData.h"
#include "tests/data/DataTest.h"
#include "tests/support/OperationPlace.h"

namespace
{

using DataItems = JobTest;

class FakeInterface final : public IUnknown
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++mReferences; }
    ULONG STDMETHODCALLTYPE Release() override { return --mReferences; }

    ULONG mReferences = 0;
};

class StringData final : public QORStringData
{
public:
    explicit StringData(const WCHAR* iText) : QORStringData(1, iText, COPY_STRING) {}
    using QORJobData::SetMemoryBuffer;
};

/// Calls an operation while the class has no body for it.
class PureCaller : public QORBinaryData
{
public:
    PureCaller() : QORBinaryData(0, nullptr, 0) { Call(*this); }
    HRESULT Reset() override = 0;

private:
    static void Call(QORJobData& ioItem) { ioItem.Reset(); }
};

class BornOfAPureCaller final : public PureCaller
{
public:
    HRESULT Reset() override { return S_OK; }
};

} // namespace

TEST_F(DataItems, SaveTheirKindsLayout)
{
    const QORBinaryData binary = Binary(1, {-1, 0, 3});
    const QORBinaryData promised(1, nullptr, 3);
    const StringData text(W("a\u20ACc"));
    const StringData noText(nullptr);
    const QORTextFileData file(1, W("a\u20ACc"));
    const QORTextFileData noFile(1, nullptr);
    FakeInterface object;
    const QORComData com(1, &object);
    const struct
    {
        const QORJobData& mItem;
        Bytes mBytes;
        Saved mShort; ///< what comes of one byte less
    } kinds[] = {
        {binary, {-1, 0, 3}, {S_FALSE, 3, Bytes(2, cUntouched)}},
        {text, {'a', 0, -84, 0x20, 'c', 0}, {S_OK, 4, {'a', 0, -84, 0x20, cUntouched}}},
        {file, {'a', 0, -84}, {S_FALSE, 3, Bytes(2, cUntouched)}},
        {promised, {}, {}},
        {noText, {}, {}},
        {noFile, {}, {}},
        {com, {}, {}},
    };
    for (const auto& [item, bytes, shortOfOne] : kinds)
    {
        const auto size = static_cast<unsigned>(bytes.size());
        unsigned needed = 77;
        EXPECT_EQ(item.GetSaveObjSize(7, nullptr), E_POINTER);
        EXPECT_EQ(item.GetSaveObjSize(7, &needed), S_OK);
        EXPECT_EQ(needed, size);
        Bytes longer = bytes;
        longer.push_back(cUntouched);
        EXPECT_EQ(Save(item, size, size), (Saved{S_OK, size, bytes}));
        EXPECT_EQ(Save(item, size + 1, size + 1), (Saved{S_OK, size, longer}));
        EXPECT_TRUE(size == 0 || Save(item, size - 1, size - 1) == shortOfOne);
        EXPECT_EQ(item.SaveObj(7, size, nullptr, nullptr), E_POINTER);
        EXPECT_EQ(item.SaveObj(7, size, nullptr, &needed), size == 0 ? S_OK : E_POINTER);
    }
}

TEST_F(DataItems, LoadJustTheBytesThatTheyAreGiven)
{
    const Bytes five = {'a', 0, 'b', 0, 'c'};
    StringData text(nullptr);
    QORTextFileData file(1, nullptr);
    QORBinaryData binary(1, nullptr, 0);
    for (QORJobData* item :
         {static_cast<QORJobData*>(&text), static_cast<QORJobData*>(&file), static_cast<QORJobData*>(&binary)})
        EXPECT_EQ(item->LoadObj(5, five.data()), S_OK);
    EXPECT_EQ(TextIn(text), "ab");
    EXPECT_EQ(TextIn(file), "abc");
    EXPECT_EQ(static_cast<const WCHAR*>(PayloadOf(file))[5], 0);
    EXPECT_EQ(Save(binary, 5, 5), (Saved{S_OK, 5, five}));

    // A text file comes back by half: six units are saved as six bytes.
    const Saved saved = Save(QORTextFileData(1, W("abcdef")), 6, 6);
    QORTextFileData half(1, nullptr);
    EXPECT_EQ(half.LoadObj(6, saved.mBytes.data()), S_OK);
    EXPECT_EQ(TextIn(half), "abc");
    StringData none(nullptr);
    EXPECT_EQ(none.LoadObj(0, nullptr), S_OK);
    EXPECT_EQ(TextIn(none), "");
}

TEST_F(DataItems, StayAsTheyWereWithoutMemoryOrBytes)
{
    QORBinaryData binary = Binary(1, {1});
    StringData text(W("t"));
    QORTextFileData file(1, W("t"));
    for (QORJobData* item :
         {static_cast<QORJobData*>(&binary), static_cast<QORJobData*>(&text), static_cast<QORJobData*>(&file)})
    {
        const void* before = PayloadOf(*item);
        EXPECT_EQ(item->GetData(nullptr), E_POINTER);
        EXPECT_EQ(item->LoadObj(2, nullptr), E_POINTER);
        for (const unsigned size : {0u, 3u, 0xFFFFFFFFu})
        {
            Faults::FailNth(Faults::EnumFault::Allocation, 1);
            EXPECT_EQ(item->LoadObj(size, Bytes(3).data()), E_OUTOFMEMORY);
        }
        EXPECT_EQ(PayloadOf(*item), before);
    }
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(text.Append(W("more")), E_OUTOFMEMORY);
    EXPECT_EQ(TextIn(text), "t");
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_THROW(QORTextFileData(1, W("t")), std::bad_alloc);
}

TEST_F(DataItems, GrowATextThatTheyAdopted)
{
    WCHAR* const adopted = QORNamedIdsList::DuplicateString(W("ab"));
    QORStringData text(1, adopted, QORStringData::ADOPT_STRING);
    EXPECT_EQ(PayloadOf(text), adopted);
    EXPECT_EQ(text.Append(nullptr), S_OK);
    EXPECT_EQ(text.Append(adopted), S_OK) << "its own text";
    EXPECT_EQ(TextIn(text), "abab");
}

TEST_F(DataItems, HoldOneReferenceToTheirInterface)
{
    FakeInterface first;
    FakeInterface second;
    {
        QORComData item(1, &first);
        IUnknown* handed = nullptr;
        EXPECT_EQ(item.GetInterface(&handed), S_OK);
        EXPECT_EQ(handed->Release(), 1u);
        EXPECT_EQ(item.SetInterface(&second), S_OK);
        EXPECT_EQ(item.Reset(), S_OK);
        EXPECT_EQ(item.SetInterface(&second), S_OK);
        EXPECT_EQ(second.mReferences, 1u);
    }
    EXPECT_EQ(first.mReferences + second.mReferences, 0u);
}

// Whatever is freed twice or not at all the fixture finds, or the sanitizer.
TEST_F(DataItems, GoWithTheirLastReferenceWhereTheyLive)
{
    QORJobData* item = new StringData(W("on the heap"));
    EXPECT_EQ(item->AddRef(), 1u);
    QORStringData copy(*static_cast<QORStringData*>(item)); // shares the text, and has the count too
    EXPECT_EQ(PayloadOf(copy), PayloadOf(*item));
    EXPECT_EQ(copy.AddRef(), 2u);
    EXPECT_EQ(copy.LoadObj(0, nullptr), S_OK);
    EXPECT_EQ(item->Release(), 0u);

    const JobPtr job = NewJob();
    unsigned id = 77;
    EXPECT_EQ(QORJobData::CreateJobDataObject(job.Get(), 0, nullptr), E_POINTER);
    EXPECT_EQ(QORJobData::CreateJobDataObject(nullptr, 0, &item), E_POINTER);
    EXPECT_EQ(job->CreateJobDataObject(1, &item), E_INVALIDARG);
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(job->CreateJobDataObject(0, &item), E_OUTOFMEMORY);
    EXPECT_EQ(job->CreateJobDataObject(0, &item), S_OK);
    EXPECT_EQ(static_cast<QORStringData*>(item)->Append(W("in the job's buffer")), S_OK);
    EXPECT_EQ(item->Init(3), S_OK);
    EXPECT_EQ(item->AddRef(), 1u);
    EXPECT_EQ(item->Release(), 0u);
    EXPECT_EQ(PayloadOf(*item), nullptr) << "the item itself stays until the buffer goes";
    EXPECT_EQ(item->GetId(&id), S_OK);
    EXPECT_EQ(id, 3u);

    QBase::Buffer* buffer = QBase::CreateBuffer(512, 1, 256, false);
    auto* owner = new (buffer) StringData(W("in a buffer of its own"));
    owner->SetMemoryBuffer(buffer, false);
    owner->AddRef();
    EXPECT_EQ(owner->Release(), 0u);
}

TEST_F(DataItems, HaveTheirOperationsWhereOtherModulesHaveThem)
{
    const std::size_t reset = PlaceOf(&QORJobData::Reset);
    EXPECT_EQ(PlaceOf(&QORJobData::LoadObj), reset + 5);
    EXPECT_EQ(PlaceOf(&QORJobData::Release), reset + 7);
    EXPECT_EQ(PlaceOf(&QORJobData::AddRef), reset + 8);
    EXPECT_EQ(PlaceOf(&QORJobData::GetChildren), reset + 14);
}

TEST_F(DataItems, EndTheProcessWhereAnOperationHasNoBody)
{
    const auto call = [] {
        LogSinks::AddStandardErrorSink();
        BornOfAPureCaller caller;
    };
    EXPECT_DEATH(call(), "Error.*_purecall\\(\\): Pure virtual function call\\.");
}

TEST_F(DataItems, HaveNamesOnceTheRegistryIsThere)
{
    const QORComData item(0, nullptr);
    const WCHAR* name = nullptr;
    QBase::wstring text;
    int id = 77;
    EXPECT_EQ(item.GetName(nullptr), E_POINTER);
    EXPECT_EQ(QORJobData::GetId(W("mine"), nullptr), E_POINTER);
    for (int lookups = 0; lookups < 2; ++lookups) // none of them makes it
        for (const HRESULT code :
             {item.GetName(&name), QORJobData::GetId(W("mine"), &id), QORJobData::GetName(0, text)})
            EXPECT_EQ(code, E_HANDLE);
    Faults::FailNth(Faults::EnumFault::LockCreation, 1);
    EXPECT_EQ(QORJobData::AddName(W("mine"), 3), E_OUTOFMEMORY);
    RunOnThreads(4, [](int) { EXPECT_EQ(QORJobData::AddName(W("mine"), 3), S_OK); });
    EXPECT_EQ(QORJobData::InitJobDataNameIds(), S_OK);
    EXPECT_EQ(item.GetName(&name), S_OK);
    EXPECT_EQ(TextOf(name), "QORDataMachineName");
    EXPECT_EQ(QORJobData::GetId(W("mine"), &id), S_OK);
    EXPECT_EQ(id, 3);
    EXPECT_EQ(QORJobData::GetName(3, text), S_OK);
    EXPECT_EQ(QBase::WideCharToUTF8(text), "mine");
    EXPECT_EQ(QORJobData::UnInitJobDataNameIds(), S_OK);
    EXPECT_EQ(item.GetName(&name), E_HANDLE);
}
