// How COM objects are made; what else they are the process context's tests show.
#include "platform/ComObject.h"

#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace
{

std::function<HRESULT(IUnknown*)> gOnFinalConstruct;
int gLiveThings = 0;

class Thing : public CComObjectRootEx<CComMultiThreadModel>, public IUnknown
{
public:
    using Interface = IUnknown;
    static constexpr int cReferenceKind = ReferenceKindProcessContext;
    static const GUID& GetInterfaceId() { return IID_IUnknown; }

    HRESULT FinalConstruct() { return gOnFinalConstruct(this); }

protected:
    Thing() : CComObjectRootEx(300) { ++gLiveThings; }
    ~Thing() override { --gLiveThings; }
};

HRESULT Create(QBase::PtrI<Thing>& oThing) { return CComObject<Thing>::CreateInstance(oThing); }

} // namespace

TEST(ComObjects, SurviveReferencesThatComeAndGoWhileTheyAreFinished)
{
    QBase::PtrI<Thing> thing;
    gOnFinalConstruct = [](IUnknown* iThing) {
        iThing->AddRef();
        iThing->Release();
        EXPECT_EQ(gLiveThings, 1);
        return S_OK;
    };
    EXPECT_EQ(Create(thing), S_OK);
    EXPECT_EQ(thing.Detach()->Release(), 0u);
    EXPECT_EQ(gLiveThings, 0);
}

TEST(ComObjects, GoWhenTheirConstructionFails)
{
    QBase::PtrI<Thing> thing;
    Faults::StartCountingBlocks();
    gOnFinalConstruct = [](IUnknown*) { return E_HANDLE; };
    EXPECT_EQ(Create(thing), E_HANDLE);
    EXPECT_FALSE(thing);
    gOnFinalConstruct = [](IUnknown*) -> HRESULT { throw std::runtime_error("broken"); };
    EXPECT_THROW(Create(thing), std::runtime_error);
    EXPECT_EQ(gLiveThings, 0);
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}
