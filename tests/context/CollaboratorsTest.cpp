#include "context/Collaborators.h"

#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "tests/support/NullProcessContext.h"
#include "tests/support/OperationPlace.h"

#include <gtest/gtest.h>

namespace
{

class FlaggedContext final : public NullProcessContext
{
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT get_UserContextLogFlag(LONG* oFlag) override
    {
        if (mFlag == 3)
            throw QBase::Message("a fault");
        *oFlag = mFlag;
        return S_OK;
    }

    LONG mFlag = 0;
};

} // namespace

TEST(Collaborators, HaveTheirOperationsWhereOtherModulesHaveThem)
{
    EXPECT_EQ(PlaceOf(&ICKDXReportInstance::Reset), 58u);
    EXPECT_EQ(PlaceOf(&ICKDXSession::get_Flags), 7u);
    EXPECT_EQ(PlaceOf(&ICKDXSession::get_Name9), 9u);
    EXPECT_EQ(PlaceOf(&ICKDXSession::Call), 13u);
    EXPECT_EQ(PlaceOf(&ICKDXObjectSource::get_Object), 11u);
    EXPECT_EQ(PlaceOf(&ICKDXObjectDefinition::get_ObjectID), 20u);
    EXPECT_EQ(PlaceOf(&ICKDXContextObjectO::get_Guid), 21u);
    EXPECT_EQ(PlaceOf(&ICKDXContextObjectD::get_Item), 31u);
}

TEST(Collaborators, AreKnownByTheirIds)
{
    EXPECT_EQ(QBase::ToString(IID_ICKDXReportInstance), "{73BA6E85-6A88-11D1-A77F-00A024D1C490}");
    EXPECT_EQ(QBase::ToString(IID_ICKDXSession), "{790AC401-5316-11D2-A0E9-0060083605BF}");
    EXPECT_EQ(QBase::ToString(IID_ICKDXObjectSource), "{EF46AF40-D019-11D2-9997-00600835E4A4}");
    EXPECT_EQ(QBase::ToString(IID_ICKDXObjectDefinition), "{6239CB10-6C3C-11D1-9BDF-006097C50B8E}");
}

TEST(UserContextLog, IsWantedWithoutAContextAndWhereTheFlagSaysSo)
{
    EXPECT_TRUE(GetUsrContextLogFlag(nullptr));
    FlaggedContext context;
    for (const LONG flag : {0, 2, 3})
    {
        context.mFlag = flag;
        EXPECT_EQ(GetUsrContextLogFlag(&context), flag == 2);
    }
}
