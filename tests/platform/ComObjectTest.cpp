#include "platform/ComObject.h"

#include "platform/builtin/Faults.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace
{

const GUID cThingId = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};

class IThing : public IUnknown
{
public:
    virtual HRESULT Increase() = 0;
    virtual int GetValue() = 0;

protected:
    ~IThing() = default;
};

std::function<HRESULT(IUnknown*)> gOnFinalConstruct;
int gLiveThings = 0;

class Thing : public CComObjectRootEx<CComMultiThreadModel>, public IThing
{
public:
    using Interface = IThing;
    static constexpr int cReferenceKind = ReferenceKindProcessContext;
    static const GUID& GetInterfaceId() { return cThingId; }

    HRESULT FinalConstruct()
    {
        IUnknown* marshaler = nullptr;
        const HRESULT code = CoCreateFreeThreadedMarshaler(static_cast<IThing*>(this), &marshaler);
        mMarshaler = QBase::PtrI<IUnknown>::Adopt(marshaler);
        return FAILED(code) || !gOnFinalConstruct ? code : gOnFinalConstruct(static_cast<IThing*>(this));
    }
    IUnknown* GetAggregated() { return mMarshaler.Get(); }

    HRESULT Increase() override
    {
        SmartLock lock(mpLock);
        ++mValue;
        return S_OK;
    }
    int GetValue() override
    {
        SmartLock lock(mpLock);
        return mValue;
    }

protected:
    Thing() : CComObjectRootEx(300) { ++gLiveThings; }
    ~Thing() override { --gLiveThings; }

private:
    QBase::PtrI<IUnknown> mMarshaler;
    int mValue GUARDED_BY(mpLock) = 0;
};

class ComObjects : public testing::Test
{
protected:
    ~ComObjects() override
    {
        gOnFinalConstruct = nullptr;
        EXPECT_EQ(gLiveThings, 0);
    }

    static HRESULT Create(QBase::PtrI<Thing>& oThing) { return CComObject<Thing>::CreateInstance(oThing); }
};

} // namespace

TEST_F(ComObjects, AnswerAsOneForWhatTheyAggregate)
{
    QBase::PtrI<Thing> thing;
    ASSERT_EQ(Create(thing), S_OK);
    for (const GUID& id : {IID_IUnknown, cThingId, IID_IMarshal})
    {
        const auto answer = QueryFor<IUnknown>(thing.Get(), id);
        ASSERT_TRUE(answer) << QBase::ToString(id);
        EXPECT_EQ(thing->AddRef(), 3u) << "the answer holds a reference to the whole object";
        thing->Release();
        EXPECT_EQ(QueryFor<IThing>(answer.Get(), cThingId).Get(), static_cast<IThing*>(thing.Get()));
    }
    void* found = &thing;
    EXPECT_EQ(thing->QueryInterface(GUID_NULL, &found), E_NOINTERFACE);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(thing->QueryInterface(cThingId, nullptr), E_POINTER);
}

TEST_F(ComObjects, GoWhenTheirConstructionFails)
{
    QBase::PtrI<Thing> thing;
    gOnFinalConstruct = [](IUnknown*) { return E_HANDLE; };
    EXPECT_EQ(Create(thing), E_HANDLE);
    EXPECT_FALSE(thing);
    gOnFinalConstruct = [](IUnknown*) -> HRESULT { throw std::runtime_error("broken"); };
    EXPECT_THROW(Create(thing), std::runtime_error);
    EXPECT_EQ(gLiveThings, 0);
    gOnFinalConstruct = nullptr;

    Faults::StartCountingBlocks();
    Faults::FailNth(Faults::EnumFault::LockCreation, 1);
    EXPECT_EQ(Create(thing), E_OUTOFMEMORY);
#if defined(_WIN32)
    constexpr int blocks = 2; // the object, its lock
#else
    constexpr int blocks = 3; // its marshaler, too
#endif
    for (int block = 1; block <= blocks; ++block)
    {
        Faults::FailNth(Faults::EnumFault::Allocation, block);
        EXPECT_EQ(Create(thing), E_OUTOFMEMORY) << block;
        EXPECT_FALSE(thing);
    }
    gOnFinalConstruct = [](IUnknown* iThing) {
        iThing->AddRef();
        iThing->Release(); // it must survive that while it is being finished
        EXPECT_EQ(gLiveThings, 1);
        return S_OK;
    };
    EXPECT_EQ(Create(thing), S_OK);
    EXPECT_EQ(thing->Release(), 0u);
    thing.Detach();
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST_F(ComObjects, ServeManyThreads)
{
    QBase::PtrI<Thing> thing;
    ASSERT_EQ(Create(thing), S_OK);
    RunOnThreads(4, [&](int) {
        for (int round = 0; round < 500; ++round)
        {
            const auto other = QueryFor<IThing>(thing.Get(), round % 2 == 0 ? cThingId : IID_IUnknown);
            other->Increase();
        }
    });
    EXPECT_EQ(thing->GetValue(), 2000);
}
