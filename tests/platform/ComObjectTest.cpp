// How COM objects are made; what else they are the process context's tests show.
#include "platform/ComObject.h"

#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

namespace
{

HRESULT gConstructed = S_OK;
int gLiveThings = 0;

/// Refers to itself while it is finished.
class Thing : public CComObjectRootEx<CComMultiThreadModel>, public IUnknown
{
public:
    using Interface = IUnknown;
    static constexpr int cReferenceKind = ReferenceKindProcessContext;
    static const GUID& GetInterfaceId() { return IID_IUnknown; }

    HRESULT FinalConstruct()
    {
        const QBase::PtrI<IUnknown> self(static_cast<IUnknown*>(this));
        return gConstructed;
    }

protected:
    Thing() : CComObjectRootEx(300) { ++gLiveThings; }
    ~Thing() override { --gLiveThings; }
};

} // namespace

TEST(ComObjects, GoWithTheirLastReferenceOrWhenTheirConstructionFails)
{
    Builtin::Faults::StartCountingBlocks();
    for (const HRESULT code : {S_OK, E_HANDLE})
    {
        QBase::PtrI<Thing> thing;
        gConstructed = code;
        EXPECT_EQ(CComObject<Thing>::CreateInstance(thing), code);
        EXPECT_EQ(gLiveThings, code == S_OK ? 1 : 0);
    }
    EXPECT_EQ(gLiveThings, 0);
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
}
