// Tests of the slots of operations that other modules call by their number, and of their interfaces' ids.
#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "context/ICKDXReportInstance.h"
#include "tests/support/OperationPlace.h"

namespace
{

TEST(ProcessContextOperations, StandWhereOtherModulesHaveThem)
{
    using I = ICKDXProcessContext;
    using C = CKDXProcessContext;
    ExpectPlaces(
        3, &I::get_RequestCode, &I::put_RequestCode, &I::get_RequestID, &I::get_ReplyMessage, &I::get_LongB,
        &I::put_LongB, &I::get_InMessageItem, &I::get_ContextObjectDItem, &I::get_ContextObjectB,
        &I::put_ContextObjectB, &I::get_ContextObjectE, &I::put_ContextObjectE, &I::get_ContextObjectA,
        &I::put_ContextObjectA, &I::get_ResolvedName, &I::get_UserContextLogFlag, &I::put_UserContextLogFlag,
        &I::get_ContextObjectC, &I::put_ContextObjectC, &I::get_ShortA, &I::put_ShortA, &I::get_LinkA, &I::put_LinkA,
        &I::get_ContextObjectF, &I::put_ContextObjectF, &I::get_ContextObjectG, &I::put_ContextObjectG,
        &I::get_ContextObjectH, &I::put_ContextObjectH, &I::get_LongA, &I::put_LongA, &I::get_ContextObjectI,
        &I::put_ContextObjectI, &I::get_TextB, &I::put_TextB, &I::get_GuidB, &I::put_GuidB, &I::get_ContextObjectJ,
        &I::put_ContextObjectJ, &I::get_ContextObjectK, &I::put_ContextObjectK, &I::get_ContextObjectL,
        &I::put_ContextObjectL, &I::get_LongF, &I::put_LongF, &I::get_InMessage, &I::get_ContextObjectD,
        &I::get_OutMessage, &I::get_LongH, &I::InMessageQueryA, &I::InMessageQueryB, &I::get_LongG,
        &I::get_ContextObjectM, &I::put_ContextObjectM, &I::get_ContextObjectN, &I::put_ContextObjectN,
        &I::get_ContextObjectO, &I::put_ContextObjectO, &I::get_ContextObjectP, &I::put_ContextObjectP, &I::get_LimitA,
        &I::put_LimitA, &I::put_SharedHandle, &I::get_SharedHandle, &I::get_LimitB, &I::put_LimitB, &I::get_LongI,
        &I::put_LongI, &I::get_LongJ, &I::put_LongJ, &I::get_LongK, &I::put_LongK, &I::get_ContextObjectT,
        &I::put_ContextObjectT, &I::put_ContextObjectU, &I::get_ContextObjectU, &I::put_GuidD, &I::get_GuidD,
        &I::GetLongL, &I::put_LongL, &I::SetNamedPair, &I::GetNamedPair, &I::SetBuffer, &I::TakeBuffer,
        &I::GetTextByGuidBstr, &I::Reserved1, &I::Reserved2, &I::get_LongM, &I::put_LongM, &I::get_ContextObjectV,
        &I::put_ContextObjectV, &I::put_ShortB, &I::get_ShortB, &I::SetGuidList, &I::GetGuidCount, &I::GetGuidList,
        &I::put_LongH, &I::put_BstrA, &I::get_BstrA, &I::get_GuidE, &I::put_GuidE, &I::put_FlagA, &I::get_FlagA,
        &I::put_BstrB, &I::get_BstrB, &I::AddStatusMessage, &I::put_LevelA, &I::get_LevelA, &I::get_ContextObjectQ,
        &I::put_ContextObjectQ, &I::put_BstrC, &I::get_BstrC, &I::put_HandleA, &I::get_HandleA, &I::put_BstrD,
        &I::get_BstrD, &I::put_GuidG, &I::get_GuidG, &I::put_TextC, &I::GetTextC, &I::GetGuidARef, &I::ResolveObjectID,
        &I::put_HandleB, &I::get_HandleB, &I::CopyLogProperties, &I::GetLogMessageInJSON, &I::SetLogProperty,
        &I::ClearLogProperties, &I::CallContextObjectA, &I::put_BstrE, &I::get_BstrE, &I::IsInMessageEmpty,
        &I::BeginThreadMessage, &I::EndThreadMessage);
    ExpectPlaces(PlaceOf(&C::GetInterface), &C::GetInterface, &C::put_LongG, &C::get_LinkB, &C::put_LinkB,
                 &C::SetRequestIn, &C::SetRequestOut, &C::ConvertOutToIn, &C::get_LongD, &C::put_LongD, &C::get_LongE,
                 &C::put_LongE, &C::get_GuidA, &C::put_GuidA, &C::get_GuidC, &C::put_GuidC, &C::SetTextByGuid,
                 &C::MoveTextByGuid, &C::GetTextByGuid, &C::CopyTextTable, &C::put_ContextObjectR,
                 &C::get_ContextObjectR, &C::put_ContextObjectS, &C::get_ContextObjectS, &C::get_GuidF);
}

TEST(Collaborators, HaveTheirOperationsWhereOtherModulesHaveThem)
{
    using Instance = ICKDXReportInstance;
    using Session = ICKDXSession;
    using Definition = ICKDXObjectDefinition;
    ExpectPlaces(58, &Instance::Reset, &Instance::get_ExecutionKind, &Instance::put_Status, &Instance::put_JobValue,
                 &Instance::get_Object);
    ExpectPlaces(7, &Session::get_Flags, &Session::get_Name8, &Session::get_Name9);
    ExpectPlaces(13, &Session::Call, &Session::get_Locale, &Session::FillLocalisation);
    ExpectPlaces(11, &ICKDXObjectSource::get_Object);
    ExpectPlaces(20, &Definition::get_ObjectID, &Definition::get_DefinitionID, &Definition::get_Name);
    ExpectPlaces(21, &ICKDXContextObjectO::get_Guid);
    ExpectPlaces(31, &ICKDXContextObjectD::get_Item);
    ExpectPlaces(PlaceOf(&QORErrorReporter::SetReportKind), &QORErrorReporter::SetReportKind,
                 &QORErrorReporter::ReportError);
}

TEST(Collaborators, AreKnownByTheirIds)
{
    EXPECT_EQ(QBase::ToString(IID_ICKDXReportInstance), "{73BA6E85-6A88-11D1-A77F-00A024D1C490}");
    EXPECT_EQ(QBase::ToString(IID_ICKDXSession), "{790AC401-5316-11D2-A0E9-0060083605BF}");
    EXPECT_EQ(QBase::ToString(IID_ICKDXObjectSource), "{EF46AF40-D019-11D2-9997-00600835E4A4}");
    EXPECT_EQ(QBase::ToString(IID_ICKDXObjectDefinition), "{6239CB10-6C3C-11D1-9BDF-006097C50B8E}");
}

} // namespace
