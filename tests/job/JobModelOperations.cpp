// The operations of a job, and those of its model beside them.
#include "job/QORJobError.h"
#include "tests/job/JobModelPair.h"

#include <new>

namespace
{

using A = const Arguments&;
using R = Result&;

constexpr auto cOtherError = static_cast<HRESULT>(0x8004FFFE);

QORJobStep* NewStep(const ModelStep& iStep)
{
    auto* step = new QORJobStep(iStep.mId);
    if (step == nullptr)
        return nullptr;
    step->SetThreadId(iStep.mThread);
    step->SetPUId(iStep.mUnit);
    step->SetChapterKey(QBase::UTF8ToWideChar(iStep.mKey).c_str());
    return step;
}

template <HRESULT (QORJob::*iAdd)(QORJobStep*, int*)>
void Add(Pair& ioPair, const Arguments& iArguments, Result& oResult)
{
    QORJobStep* step = NewStep(iArguments.mStep);
    oResult.mCode = step == nullptr ? E_OUTOFMEMORY : (ioPair.mpJob.Get()->*iAdd)(step, &oResult.mValue);
}

} // namespace

const std::vector<Operation> cOperations = {
    {"AddStepToRun(record)", Add<&QORJob::AddStepToRun>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepToRun(iGiven.mStep, oResult.mValue); }},
    {"SetStepStart(step, unit, task)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetStepStart(iGiven.mStep.mId, iGiven.mUnit, ioPair.TaskOf(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetStepStart(iGiven.mStep.mId, iGiven.mUnit, iGiven.mTask); }},
    {"SetStepFinish(step, unit, task)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetStepFinish(iGiven.mStep.mId, iGiven.mUnit, ioPair.TaskOf(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mCode = ioModel.SetStepFinish(iGiven.mStep.mId, iGiven.mUnit, iGiven.mTask, iGiven.mTask == 2);
     }},
    {"GetCurrentStepIdToRun()",
     [](Pair& ioPair, A, R oResult) {
         oResult.mCode = ioPair.mpJob->GetCurrentStepIdToRun(&oResult.mValue, &oResult.mOther);
     },
     [](JobModel& ioModel, A, R oResult) { oResult.mValue = ioModel.GetCurrentStepIdToRun(oResult.mOther); },
     [](JobModel& ioModel, HRESULT) {
         if (ioModel.BeginDispatch() && ioModel.mStatus == 17 && !ioModel.mTodo.empty())
             ioModel.mStatus = 0; // a requeued job that has steps needs none
     }},
    {"AddStep(record)", Add<&QORJob::AddStep>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStep(iGiven.mStep, oResult.mValue); }},
    {"AddStepAtFront(record)", Add<&QORJob::AddStepAtFront>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepAt(0, iGiven.mStep, oResult.mValue); }},
    {"AddStepAfterThis(record)", Add<&QORJob::AddStepAfterThis>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepAt(1, iGiven.mStep, oResult.mValue); }},
    {"AddStepAfterThis(step)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->AddStepAfterThis(iGiven.mStep.mId, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepAt(1, {iGiven.mStep.mId}, oResult.mValue); }},
    {"AddCommonStepsAtRebuild(number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode =
             ioPair.mpJob->AddCommonStepsAtRebuild(static_cast<EnumKDXDocumentManipulationType>(iGiven.mNumber));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.AddCommonSteps(iGiven.mNumber); }},
    {"SetStepComplete()", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->SetStepComplete(); },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.SetStepComplete(); }},
    {"SetStepComplete(step)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetStepComplete(iGiven.mStep.mId); },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.SetStepComplete(iGiven.mStep.mId); }},
    {"ClearTodoSteps()", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->ClearTodoSteps(); },
     [](JobModel& ioModel, A, R) { ioModel.mTodo.clear(); }},
    {"RemoveStep(step)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->RemoveStep(static_cast<QORJobProcessingStep>(iGiven.mStep.mId));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.RemoveStep(iGiven.mStep.mId); }},
    {"RenewCurrentStep()", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->RenewCurrentStep(); },
     [](JobModel& ioModel, A, R) { ioModel.RenewCurrentStep(); },
     [](JobModel& ioModel, HRESULT iCode) {
         if (iCode == E_OUTOFMEMORY) // the step; its entry needs none
             ioModel.mTodo.pop_front();
     }},
    {"GetCurrentStepId()",
     [](Pair& ioPair, A, R oResult) {
         oResult.mCode = ioPair.mpJob->GetCurrentStepId(&oResult.mValue, &oResult.mOther);
     },
     [](JobModel& ioModel, A, R oResult) { oResult.mValue = ioModel.GetCurrentStepId(oResult.mOther); }},
    {"SetIsExecutingInWarehouse(flag)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetIsExecutingInWarehouse(iGiven.mbFlag); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.mbWarehouse = iGiven.mbFlag; }},
    {"SetStatus(status)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetStatus(iGiven.mStatus, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.SetStatus(iGiven.mStatus, oResult.mValue); }},
    {"SetRunning(flag)",
     [](Pair& ioPair, A iGiven, R oResult) {
         bool bWas = false;
         oResult.mCode = ioPair.mpJob->SetRunning(iGiven.mbFlag, &bWas);
         oResult.mValue = bWas;
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mValue = ioModel.SetRunning(iGiven.mbFlag); }},
    {"SetIAmDead(flag, step)",
     [](Pair& ioPair, A iGiven, R oResult) {
         bool bWas = false;
         oResult.mCode =
             ioPair.mpJob->SetIAmDead(iGiven.mbFlag, &bWas, static_cast<QORJobProcessingStep>(iGiven.mStep.mId));
         oResult.mValue = bWas;
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mValue = ioModel.SetIAmDead(iGiven.mbFlag, iGiven.mStep.mId);
     }},
    {"SetIAmDead(null)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetIAmDead(iGiven.mbFlag, nullptr, StepFindCube);
     },
     [](JobModel&, A, R oResult) { oResult.mCode = E_POINTER; }},
    {"Cancel()", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->Cancel(); },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.Cancel(); },
     [](JobModel& ioModel, HRESULT) {
         bool bReports = false;
         ioModel.BeginCancel(bReports);
     }},
    {"PauseCurrentStep()", [](Pair& ioPair, A, R) { ioPair.mpJob->PauseCurrentStep(); },
     [](JobModel& ioModel, A, R) { ioModel.PauseCurrentStep(); }},
    {"ResetStatusBeforeResumeExecution()", [](Pair& ioPair, A, R) { ioPair.mpJob->ResetStatusBeforeResumeExecution(); },
     [](JobModel& ioModel, A, R) { ioModel.Resume(); }},
    {"SetCurrentStepForStatistics(number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetCurrentStepForStatistics(iGiven.mNumber);
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.mCurrentStep = iGiven.mNumber; }},
    {"StopRunningIfHang(task)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->StopRunningIfHang(iGiven.mUnit, 0, ioPair.TaskOf(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.StopRunningIfHang(iGiven.mTask); }},
    {"GetJobErrorBuilder(code, number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         try
         {
             const auto error = ioPair.mpJob->GetJobErrorBuilder(iGiven.mError);
             Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0); // its entry needs memory, too
             oResult.mCode = error ? S_OK : E_OUTOFMEMORY;
             if (error)
                 oResult.mValue = (*error << iGiven.mNumber).GetCreationResult();
         }
         catch (const std::bad_alloc&)
         {
             oResult.mCode = E_FAIL;
         }
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         const bool bWritten = ioModel.AddError(iGiven.mError);
         ioModel.WriteError(bWritten, iGiven.mError, iGiven.mNumber);
         oResult.mValue = bWritten ? S_OK : E_FAIL;
     },
     [](JobModel& ioModel, HRESULT iCode) {
         if (iCode != E_OUTOFMEMORY) // there was a builder
             ioModel.BeginError();
     }},
    {"GetJobErrorBuilder(code, number) inside another, the status in between",
     [](Pair& ioPair, A iGiven, R oResult) {
         Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0);
         auto first = ioPair.mpJob->GetJobErrorBuilder(iGiven.mError);
         if (iGiven.mbFlag)
             ioPair.mpJob->SetStatus(iGiven.mNumber, nullptr);
         auto second = ioPair.mpJob->GetJobErrorBuilder(cOtherError);
         oResult.mValue = (*first << iGiven.mNumber).GetCreationResult();
         oResult.mOther = (*second << iGiven.mUnit).GetCreationResult();
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         int old = 0;
         const bool bFirst = ioModel.AddError(iGiven.mError);
         if (iGiven.mbFlag)
             ioModel.SetStatus(iGiven.mNumber, old);
         const bool bSecond = ioModel.AddError(cOtherError);
         ioModel.WriteError(bSecond, cOtherError, iGiven.mUnit);
         ioModel.WriteError(bFirst, iGiven.mError, iGiven.mNumber);
         oResult.mValue = bFirst ? S_OK : E_FAIL;
         oResult.mOther = bSecond ? S_OK : E_FAIL;
     }},
    {"UpdateJobError(code, number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0); // an entry without memory is left out
         oResult.mCode =
             ioPair.mpJob->UpdateJobError(QORJOB_W("Kernel"), static_cast<unsigned>(iGiven.mError), iGiven.mNumber);
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mCode = ioModel.UpdateJobError(iGiven.mError, iGiven.mNumber);
     }},
    {"SetComponentErrorCode(flag, code)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetComponentErrorCode(iGiven.mbFlag ? S_OK : iGiven.mError);
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.mComponentError = iGiven.mbFlag ? S_OK : iGiven.mError; }},
    {"SetPUEnter(unit)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUEnter(iGiven.mUnit, nullptr, 0); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUEnter(iGiven.mUnit); }},
    {"SetPUStart(unit)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUStart(iGiven.mUnit); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUStart(iGiven.mUnit); }},
    {"SetPUExit(unit)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUExit(iGiven.mUnit, nullptr); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUExit(iGiven.mUnit); }},
    {"GetPUId()", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->GetPUId(&oResult.mValue); },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.GetPUId(oResult.mValue); }},
    {"SetPriority(number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetPriority(iGiven.mNumber, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mValue = ioModel.SetPriority(iGiven.mNumber); }},
    {"SetPUPriority(number)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUPriority(iGiven.mNumber); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUPriority(iGiven.mNumber); }},
    {"GetWaitingTime()",
     [](Pair& ioPair, A, R oResult) {
         auto waited = static_cast<unsigned>(oResult.mValue);
         oResult.mCode = ioPair.mpJob->GetWaitingTime(&waited);
         oResult.mValue = static_cast<int>(waited);
     },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.GetWaitingTime(); }},
    {"GetJobInfo()", [](Pair& ioPair, A, R oResult) { oResult.mText = SnapshotOf(SnapshotOf(*ioPair.mpJob.Get())); },
     [](JobModel& ioModel, A, R oResult) {
         ioModel.AskItemsForTheirBytes();
         oResult.mText = SnapshotOf(ioModel);
     }},
    {"AddChild(number)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->AddChild(iGiven.mNumber); },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.AddChild(iGiven.mNumber); }},
    {"RemoveExecutingChild(number)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->RemoveExecutingChild(iGiven.mNumber); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.RemoveExecutingChild(iGiven.mNumber); }},
    {"MarkChildComplete(number)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->MarkChildComplete(iGiven.mNumber); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.MarkChildComplete(iGiven.mNumber); }},
    {"SetRunningChildCount(number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetRunningChildCount(iGiven.mNumber, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mValue = std::exchange(ioModel.mRunningChildren, iGiven.mNumber);
     }},
    {"IncrementRunningChildCount()",
     [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->IncrementRunningChildCount(&oResult.mValue); },
     [](JobModel& ioModel, A, R oResult) { oResult.mValue = ++ioModel.mRunningChildren; }},
    {"DecrementRunningChildCount()",
     [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->DecrementRunningChildCount(&oResult.mValue); },
     [](JobModel& ioModel, A, R oResult) { oResult.mValue = --ioModel.mRunningChildren; }},
    {"SetParentId(number)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetParentId(iGiven.mNumber); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.mParent = iGiven.mNumber; }},
    {"SetParentId(number, governor)",
     [](Pair& ioPair, A iGiven, R oResult) {
         const auto& governor = ioPair.mGovernors[static_cast<std::size_t>(iGiven.mGovernor)];
         oResult.mCode = ioPair.mpJob->SetParentId(iGiven.mNumber, governor);
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetParentId(iGiven.mNumber, iGiven.mGovernor); }},
    {"SetRunAwayStatus()", [](Pair& ioPair, A, R) { ioPair.mpJob->SetRunAwayStatus(); },
     [](JobModel& ioModel, A, R) { ioModel.SetRunAwayStatus(); }},
    {"NeedToPerisistMsgStatusForRunAway(task)",
     [](Pair& ioPair, A iGiven, R oResult) {
         const auto caller = static_cast<EnumRunAwayCaller>(iGiven.mTask);
         oResult.mValue = ioPair.mpJob->NeedToPerisistMsgStatusForRunAway(caller);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mValue = ioModel.NeedToPersist(iGiven.mTask); }},
    {"SetJobData(item)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetJobData(ioPair.ItemOf(iGiven.mItem)); },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.SetJobData(iGiven.mItem); }},
    {"GetJobData(number)",
     [](Pair& ioPair, A iGiven, R oResult) {
         QORJobData* const untouched = &ioPair.mUntouched;
         QORJobData* item = untouched;
         oResult.mCode = ioPair.mpJob->GetJobData(iGiven.mNumber, &item);
         if (item != untouched)
             oResult.mValue = ioPair.NumberOf(item);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.GetJobData(iGiven.mNumber, oResult.mValue); }},
    {"SetLimit(governor, bytes)",
     [](Pair& ioPair, A iGiven, R) { ioPair.GovernorOf(iGiven.mGovernor).mLimitBytes = iGiven.mBytes; },
     [](JobModel& ioModel, A iGiven, R) {
         ioModel.mGovernors[static_cast<std::size_t>(iGiven.mGovernor)].mLimit = iGiven.mBytes;
     }},
    {"Request(governor, bytes)",
     [](Pair& ioPair, A iGiven, R oResult) {
         Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0); // without memory it has no text
         QBase::wstring refusal;
         oResult.mCode = ioPair.GovernorOf(iGiven.mGovernor).Request(iGiven.mBytes, refusal);
         oResult.mText = QBase::WideCharToUTF8(refusal);
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mCode = ioModel.Request(iGiven.mGovernor, iGiven.mBytes, oResult.mText);
     }},
    {"Release(governor, bytes)",
     [](Pair& ioPair, A iGiven, R) { ioPair.GovernorOf(iGiven.mGovernor).Release(iGiven.mBytes); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.Release(iGiven.mGovernor, iGiven.mBytes); }},
    {"SetUserID(item)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetUserID(GuidOf(static_cast<BYTE>(iGiven.mItem + 1)));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetUserID(iGiven.mItem + 1); }},
    {"SetDeliveryType(task)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetDeliveryType(static_cast<EnumSubscriptionDeliveryType>(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetDeliveryType(iGiven.mTask); }},
    {"SetGovernedControl(task)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetGovernedControl(iGiven.mTask); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.mbGoverned = iGiven.mTask != 1; }},
    {"UpdateJobCloseCounters()",
     [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->UpdateJobCloseCounters(); },
     [](JobModel& ioModel, A, R) { ioModel.UpdateCloseCounters(); }},
};
