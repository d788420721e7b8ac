// The object that stands for one client request while the server executes it.
#pragma once

#include "job/QORJobState.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/QMessage.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"
#include "record/QORJobProcessingStep.h"
#include "record/QORJobTypes.h"

#include <iosfwd>
#include <memory>
#include <memory_resource>

class QORJobBrowsingInfo;
class QORJobBrowsingInfo2;
class QORJobError;
class QORJobInfo;

/// A job: who asked for what, the steps that are to be run and have been run, and how it stands.
///
/// Made by NewJob with a reference count of 0: the creator's first AddRef makes it 1, the last Release ends it. Every
/// operation that returns a code keeps exceptions inside: 0x8004308B after a message exception, 0x8004308C after any
/// other, both logged. A null out-pointer gives E_POINTER unless the operation says otherwise.
///
/// Threads: any, for every operation.
/// Owns:    its step and visit records, one reference each to its user session, process context and memory governor.
/// Errors:  return codes; only NewJob and GetJobErrorBuilder throw.
/// Locks:   one re-entrant lock of category 4. The process context is called under it where an operation says so.
class QORJOB_API QORJob : private QORJobState
{
public:
    QORJob(const QORJob&) = delete;
    QORJob& operator=(const QORJob&) = delete;

    // --- Birth, identity, references: QORJob.cpp, Release in QORJobEnd.cpp -------------------------------------------

    /// Makes a job, in `iBuffer` when there is one: the job, its strings and its lists then live in that buffer, and
    /// the job's end destroys it. `iSession` may be null; the job takes a reference. Null when there is no memory for
    /// the job; throws the unsigned value 0x8004308E when its lock can't be made, std::bad_alloc for what it holds.
    static QORJob* NewJob(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession,
                          QBase::Buffer* iBuffer);

    /// Both return the new count.
    unsigned AddRef();
    unsigned Release();

    QSynch::AtomicLong GetId();
    /// A null `oId` is ignored.
    HRESULT GetId(QSynch::AtomicLong* oId) const;
    int GetRequestType() const;
    /// `oRequestType` must not be null.
    HRESULT GetRequestType(int* oRequestType) const;
    /// The arena of the job's data items, which any thread may take memory of. It stays the job's.
    HRESULT GetLocalDataBuffer(const QBase::Buffer** oBuffer) const;
    /// "Unknown job type" for a type outside the table.
    static const QBase::WCHAR* ConvertIDToName(int iRequestType);

    // --- Attributes: QORJobAttributes.cpp ----------------------------------------------------------------------------
    // Setters return 0. Getters of strings clear the out-string first. Setters from a null-terminated text give
    // E_POINTER for null and then change nothing.

    HRESULT SetIsSendNowJob(bool ibSendNow);
    HRESULT GetIsSendNowJob(bool* obSendNow) const;
    /// A type other than 0 also exempts the job from the memory governor, for good.
    HRESULT SetDeliveryType(EnumSubscriptionDeliveryType iType);
    HRESULT GetDeliveryType(EnumSubscriptionDeliveryType* oType) const;
    HRESULT SetSubscriptionOwner(const QBase::wstring& iOwner);
    HRESULT GetSubscriptionOwner(QBase::wstring& oOwner) const;
    HRESULT SetSubscriptionRecipient(const QBase::wstring& iRecipient);
    HRESULT GetSubscriptionRecipient(QBase::wstring& oRecipient) const;
    HRESULT SetDestination(const QBase::wstring& iDestination);
    HRESULT GetDestination(QBase::wstring& oDestination) const;
    HRESULT SetIsBatchJob(bool ibBatch);
    bool IsBatchJob() const;
    HRESULT SetIsExecutingInWarehouse(bool ibExecuting);
    HRESULT GetIsExecutingInWarehouse(bool* obExecuting) const;
    HRESULT SetIsDocumentDataModelNull(bool ibNull);
    bool IsDocumentDataModelNull() const;
    /// The old type through `oOld` when it is not null.
    HRESULT SetType(int iType, int* oOld);
    HRESULT GetType(int* oType) const;
    HRESULT SetSource(int iSource);
    HRESULT GetSource(int* oSource) const;
    HRESULT SetRequestId(int iRequestId);
    HRESULT GetRequestId(int& oRequestId) const;
    /// The old id through `oOld` when it is not null.
    HRESULT SetProjectId(int iProjectId, int* oOld);
    HRESULT GetProjectId(int* oProjectId) const;
    HRESULT SetProjectID(const GUID& iProjectID);
    HRESULT GetProjectID(GUID* oProjectID) const;
    HRESULT SetProjectName(const QBase::wstring& iName);
    HRESULT SetProjectName(const QBase::WCHAR* iName);
    HRESULT GetProjectName(QBase::wstring& oName) const;
    HRESULT SetOwner(const QBase::wstring& iOwner);
    HRESULT SetOwner(const QBase::WCHAR* iOwner);
    HRESULT GetOwner(QBase::wstring& oOwner) const;
    HRESULT SetUser(const QBase::wstring& iUser);
    HRESULT SetUser(const QBase::WCHAR* iUser);
    HRESULT GetUser(QBase::wstring& oUser) const;
    HRESULT SetUserLogin(const QBase::wstring& iLogin);
    HRESULT SetUserLogin(const QBase::WCHAR* iLogin);
    HRESULT GetUserLogin(QBase::wstring& oLogin) const;
    /// Also the memory governor's user.
    HRESULT SetUserID(GUID iUserID);
    HRESULT GetUserID(GUID& oUserID) const;
    HRESULT SetSessionID(GUID iSessionID);
    HRESULT GetSessionID(GUID& oSessionID) const;
    HRESULT SetWarehouseID(GUID iWarehouseID);
    HRESULT GetWarehouseID(GUID& oWarehouseID) const;
    HRESULT SetDescription(const QBase::wstring& iDescription);
    HRESULT GetDescription(QBase::wstring& oDescription) const;
    /// Takes a reference; null clears. The getter adds one for the caller.
    HRESULT SetUserSession(QorUserSession* iSession);
    HRESULT GetUserSession(QorUserSession** oSession) const;
    /// Takes a reference; null clears. Hands the context the job's priority and memory governor, under the job's lock.
    HRESULT SetProcessContext(ICKDXProcessContext* iContext);
    /// Adds a reference for the caller.
    HRESULT GetProcessContext(ICKDXProcessContext** oContext) const;
    HRESULT SetStatsFlag(bool ibStats);
    HRESULT GetStatsFlag(bool& obStats) const;
    HRESULT SetIfKeepRunWhenSessionTimeout(bool ibKeepRunning);
    bool IsKeepRunWhenSessionTimeout() const;
    /// Both take null pointers.
    HRESULT SetTimeoutExtended(bool ibExtended, bool* obOld);
    HRESULT GetTimeoutExtended(bool* obExtended) const;
    /// Shared with the job's children; empty once the job ends.
    std::shared_ptr<JobMemGovernor> GetMemGovernor() const;
    /// Only for a job that has a governor.
    bool GetGovernorCancelFlag() const;
    /// The step that the kernel's statistics count the job under.
    HRESULT SetCurrentStepForStatistics(int iStepId);
    int GetCurrentStepForStatistics() const;

    // --- Step queue: QORJobQueue.cpp ---------------------------------------------------------------------------------
    // A step given to an add operation belongs to the job from then on, whether it is queued or not. A cancelled job
    // deletes it, leaves `oCount` or `oStatus` alone and returns 0. Both may be null.

    /// Appends, but before a closing step, and not when the current step has the same id.
    HRESULT AddStep(QORJobStep* iStep, int* oCount);
    /// Appends; gives the job's status, where the others give the number of steps.
    HRESULT AddStepToRun(QORJobStep* iStep, int* oStatus);
    HRESULT AddStepAtFront(QORJobStep* iStep, int* oCount);
    HRESULT AddStepAfterThis(QORJobStep* iStep, int* oCount);
    HRESULT AddStepAfterThis(int iStepId, int* oCount);
    /// Moves the front step to the finished ones; E_UNEXPECTED when there is none.
    HRESULT SetStepComplete();
    /// Moves the first step of that id to the finished ones; E_INVALIDARG when there is none.
    HRESULT SetStepComplete(int iStepId);
    HRESULT ClearTodoSteps();
    /// Deletes every queued step of that id.
    HRESULT RemoveStep(QORJobProcessingStep iStepId);
    /// Replaces the front step by a fresh one of the same id ("no op" keeps its chapter key). E_OUTOFMEMORY without
    /// memory for it: the front step is gone all the same.
    HRESULT RenewCurrentStep();
    HRESULT AddCommonStepsAtRebuild(EnumKDXDocumentManipulationType iType);
    /// True when a "Document Formatting" has finished.
    bool IsLastComponentExport() const;

    // --- Dispatch: QORJobDispatch.cpp --------------------------------------------------------------------------------

    /// The current step without any change to the job; 0 when there is none. `oRunningStepId` (may be null) gets -1, or
    /// the id of the last started step that a job on its way out has queued before its current one.
    HRESULT GetCurrentStepId(int* oStepId, int* oRunningStepId) const;
    /// Which step the calling thread is to run: 0 when there is none for it. May change lists, status and times. One
    /// thread at a time may drive a job: of two that ask before one has started the step in its unit, both may be given
    /// the same one.
    HRESULT GetCurrentStepIdToRun(int* oStepId, int* oRunningStepId);
    /// `iTask` is not owned and may be null.
    HRESULT SetStepStart(int iStepId, int iPUId, QORJobTask* iTask);
    /// S_FALSE when `iTask` is not the task of the last start; the step is finished all the same.
    HRESULT SetStepFinish(int iStepId, int iPUId, QORJobTask* iTask);

    // --- Status: QORJobStatus.cpp ------------------------------------------------------------------------------------

    /// The old status through `oOld` when it is not null. S_FALSE, with no effect, for 13 after anything but 8.
    /// JobReplied also sends the answer to the first pending channel request, without the lock.
    HRESULT SetStatus(int iStatus, int* oOld);
    HRESULT GetStatus(int* oStatus) const;
    HRESULT IsCanceled(bool* obCanceled) const;
    HRESULT IsStopped(bool* obStopped) const;
    bool IsStepPausing() const;
    /// Whether a dispatcher drives the job: one at a time, see GetCurrentStepIdToRun. The old value through
    /// `obWasRunning` when it is not null.
    HRESULT SetRunning(bool ibRunning, bool* obWasRunning);
    HRESULT IsRunning(bool* obRunning) const;
    /// The task of the last start and where it runs; all but `obExecuting` may be null. Without a task the ids are -1
    /// and the task is null. `oTask` is not to be used once the task may have ended.
    HRESULT IsExecuting(bool* obExecuting, int* oStepId, DWORD* oThreadId, int* oPUId, QORJobTask** oTask) const;
    /// Whether the thread that ran the current step was lost, and at which step.
    HRESULT SetIAmDead(bool ibDead, bool* obWasDead, QORJobProcessingStep iStepId);
    HRESULT GetIAmDead(bool* obDead, QORJobProcessingStep* oStepId) const;
    /// Whether the task of the finished query execution was aborted.
    bool IsQueryEngineServerAborted() const;
    HRESULT GetJobCreationTime(QDataType::DateTime* oTime) const;
    HRESULT GetJobFinishTime(QDataType::DateTime* oTime) const;
    HRESULT SetJobFinishTime(QDataType::DateTime& iTime);
    HRESULT GetTimeOutTime(QDataType::DateTime* oTime) const;
    /// Counted from the job's creation.
    HRESULT SetTimeOutPeriodInMilliseconds(unsigned iMilliseconds);

    // --- Cancel, pause, resume, hang: QORJobControl.cpp --------------------------------------------------------------
    // Cancel and PauseCurrentStep call the process context and its report instance under the job's lock.

    /// Leaves the current step and what reports and closes. The task that runs learns of it by the context's stop flag.
    /// A job that is completed, cancelled or stopped only tells its context. Fails, with lists and status as they were,
    /// when the report instance does.
    HRESULT Cancel();
    /// For documents only: the current step is asked to stop and stays queued until the job is resumed.
    void PauseCurrentStep();
    void ResetStatusBeforeResumeExecution();
    /// Detaches a task that a watchdog found hung; the next dispatch goes on without its step. S_FALSE, with no effect,
    /// when it isn't the executing task. The first two arguments are not used.
    HRESULT StopRunningIfHang(int iStepId, DWORD iThreadId, QORJobTask* iTask);

    // --- Parents and children: QORJobFamily.cpp ----------------------------------------------------------------------
    // By id only: a job never holds another one. -1 is no job. The old and new values and the ids that go out may be
    // null unless a line says otherwise.

    HRESULT SetParentId(QSynch::AtomicLong iId);
    /// Also shares the parent's governor and hands it to the process context, which must be set.
    HRESULT SetParentId(QSynch::AtomicLong iId, std::shared_ptr<JobMemGovernor> iGovernor);
    HRESULT GetParentId(QSynch::AtomicLong* oId) const;
    int GetParentId() const;
    /// The job that ran before this one.
    HRESULT SetPreJobId(QSynch::AtomicLong iId);
    HRESULT GetPreJobId(QSynch::AtomicLong* oId) const;
    HRESULT SetRunningChildCount(int iCount, int* oOld);
    /// E_POINTER for null.
    HRESULT GetRunningChildCount(int* oCount) const;
    /// Both give the new count; nothing keeps it from becoming negative.
    HRESULT IncrementRunningChildCount(int* oCount);
    HRESULT DecrementRunningChildCount(int* oCount);
    /// E_FAIL, with no effect, once the job is completed, has failed, or was cancelled or stopped.
    HRESULT AddChild(QSynch::AtomicLong iChildId);
    HRESULT RemoveExecutingChild(QSynch::AtomicLong iChildId);
    /// Also for a child that was never added.
    HRESULT MarkChildComplete(QSynch::AtomicLong iChildId);
    HRESULT GetExecutingChildrenList(QBase::list<QSynch::AtomicLong>& oChildren) const;
    HRESULT GetFinishedChildrenList(QBase::list<QSynch::AtomicLong>& oChildren) const;

    // --- Runaway tasks: QORJobRunaway.cpp ----------------------------------------------------------------------------
    // The task's thread and the job's clean-up end in either order; whoever comes second persists the message status.

    /// The server has given the task up: its thread may return later or never.
    void SetRunAwayStatus();
    /// True for the second of the two parties.
    bool NeedToPerisistMsgStatusForRunAway(EnumRunAwayCaller iCaller);
    bool NeedToKeepMsgInJobForRunAway() const;
    /// Without effect: callers switch it, and are told that it is off.
    static void StartJobLeakTrace();
    static void StopJobLeakTrace();
    static bool GetJobLeakTrace();

    // --- Processing units: QORJobUnits.cpp ---------------------------------------------------------------------------
    // Unit names and the reserved argument are not used.

    HRESULT SetPUEnter(int iPUId, const QBase::WCHAR* iPUName, int iReserved);
    HRESULT SetPUStart(int iPUId);
    /// Stamps the oldest visit to that unit.
    HRESULT SetPUExit(int iPUId, const QBase::WCHAR* iPUName);
    /// The unit that the job is in; E_FAIL when no step is queued.
    HRESULT GetPUId(int* oPUId) const;
    /// `oOld` must not be null.
    HRESULT SetPriority(int iPriority, int* oOld);
    HRESULT GetPriority(int* oPriority) const;
    HRESULT SetPUPriority(int iPriority);
    HRESULT GetPUPriority(int* oPriority) const;
    /// Never writes `oMilliseconds`; without finished steps the code is the low half of a time. Callers rely on both.
    /// The second is for callers under the job's lock.
    HRESULT GetWaitingTime(unsigned* oMilliseconds) const;
    HRESULT GetWaitingTimeInternal(unsigned* oMilliseconds) const;
    void EnqueuePulse();
    void DequeuePulse();

    // --- Data store: QORJobDataStore.cpp -----------------------------------------------------------------------------
    // Items of the ids 0 to 4, one each. Their operations are called under the job's lock.

    /// Takes a reference, in place of the item with the same id, which is released first; E_FAIL for an id past 4. The
    /// caller keeps its own reference.
    HRESULT SetJobData(QORJobData* iData);
    /// Adds a reference for the caller; null when there is no such item. An id outside 0 to 4 leaves `oData` alone and
    /// gives 0.
    HRESULT GetJobData(int iId, QORJobData** oData) const;
    HRESULT IsDataAvailable(int iId, bool* obAvailable) const;
    /// QORJobData::CreateJobDataObject for this job.
    HRESULT CreateJobDataObject(int iId, QORJobData** oData) const;

    // --- Errors: QORJobFailure.cpp -----------------------------------------------------------------------------------

    /// Makes the job an error job: status 4, its error code when it is the first, and only its current step, the one
    /// that reports and the closing one left. Of a job that has failed before only the status is set. Arguments of the
    /// error's text are streamed into the result, whose end writes the error. The job is locked until then. Empty
    /// without memory for it; exceptions pass. Written is into the context's output message: without a context, or
    /// where that has no input message, nothing is.
    QSynch::SmartPtr<QORJobError, QBase::DeleteC<QORJobError>> GetJobErrorBuilder(HRESULT iCode);
    /// The texts of all errors, parted by line feeds, in the language of the user's default locale. Without a context
    /// or a message `oText` stays as it is.
    HRESULT GetJobError(QBase::wstring& oText) const;
    /// The same on the general heap: the caller frees it. Always 0; null without memory.
    HRESULT GetJobError(QBase::WCHAR** oText) const;
    /// Adds an error to those of the message, without any other effect. E_POINTER without a context or a message.
    HRESULT UpdateJobError(const QBase::WCHAR* iSource, unsigned iCode, int iArgument);
    /// Only ever writes false: the caller sets `obError` to true before.
    HRESULT IsError(bool* obError) const;
    /// That of the first error; 0 for none.
    HRESULT GetErrCode(HRESULT* oCode) const;
    /// 0 clears.
    HRESULT SetComponentErrorCode(HRESULT iCode);
    HRESULT GetComponentErrorCode(HRESULT* oCode) const;
    /// The component's code, or the job's when that is 0.
    HRESULT GetComponentErrorCodeEx(HRESULT* oCode) const;

    // --- Messages and channel requests: QORJobMessages.cpp -----------------------------------------------------------
    // Setters of messages take a reference, getters add one for the caller; null clears, and is given when there is
    // none.

    /// The request at that place, without a reference; null for a job without requests. A negative index counts as 0,
    /// one that is too high is the caller's error.
    HRESULT GetChannelRequest(QORChannelRequest** oRequest, int iIndex) const;
    /// Appends, without looking for duplicates. The request stays the caller's; one that is listed when the job ends is
    /// deleted with it.
    HRESULT AddChannelRequest(QORChannelRequest* iRequest);
    /// Takes the first entry of that request off the list. E_INVALIDARG when it has none, E_UNEXPECTED when the job has
    /// no requests at all.
    HRESULT CompleteChannelRequest(QORChannelRequest* iRequest);
    HRESULT GetInMessage(ICKDXReadMessage** oMessage) const;
    HRESULT SetInMessage(ICKDXReadMessage* iMessage);
    HRESULT GetInBoxMsgPtr(CKDXServerMessage** oMessage);
    /// S_FALSE, with no effect, for a message when the job is stopped with an error or cancelled.
    HRESULT SetInBoxMsgPtr(CKDXServerMessage* iMessage);
    /// Both give what the process context has as its output message; its code is returned, 0 without a context. Not
    /// while the job is given another context.
    HRESULT GetOutMessage(ICKDXWriteMessage** oMessage) const;
    HRESULT GetErrMessage(ICKDXWriteMessage** oMessage) const;

    // --- Memory governor and close counters: QORJobGovernor.cpp ------------------------------------------------------

    /// Whether the job's requests of memory are put to its governor.
    bool ApplyGovernorOrNot() const;
    /// 1 switches governing off, any other value on.
    HRESULT SetGovernedControl(int iControl);
    /// Counts a report's or a document's end by its status and its age: the first call only. Always 0.
    HRESULT UpdateJobCloseCounters();

    // --- Description and trace flags: QORJobDescription.cpp ----------------------------------------------------------

    /// Describes the job by its request type, in the language of the session's locale, and by the name of the report or
    /// document that it runs; notes that object's id. The process context and its objects are called under the lock.
    HRESULT SetDescription();
    /// The message id, in the resource catalogue, of the request type's text for users.
    unsigned GetJobStringIDFromRequestType() const;
    /// Adds a flag. Those of the leak trace (4, 8, 16, 32) count only while flag 2 is set, and log the call stack.
    void MarkJobTraceFlags(unsigned iFlag);

    // --- Dumps: QORJobDump.cpp ---------------------------------------------------------------------------------------

    /// Appends all there is to say about the job, many lines. A line of more than 1,023 units is left out.
    void GetJobInfo(QBase::wstring& oText) const;
    /// Writes one line. The stream's address, or null where something throws: the line ends there.
    std::wostream* WriteJobInfo(std::wostream& ioStream) const;

    // --- Snapshots and saving: QORJobSnapshots.cpp -------------------------------------------------------------------

    /// Fills the whole record. Its data items are asked for their bytes under the lock.
    HRESULT GetJobInfo(QORJobInfo* oInfo) const;
    HRESULT GetJobBrowsingInfo(QORJobBrowsingInfo* oInfo) const;
    /// Fills what QORJobBrowsingInfo2 adds; its base stays as it is.
    HRESULT GetJobBrowsingInfo2(QORJobBrowsingInfo2* oInfo) const;

    // The save interface of the job's parts, empty: all give 0, look at nothing and change nothing, the size included.

    DWORD GetSaveObjSizeNoLock(unsigned* oSize) const;
    DWORD GetSaveObjSize(unsigned* oSize) const;
    DWORD SaveObj(unsigned iVersion, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const;
    DWORD LoadObj(unsigned iVersion, const signed char* iBuffer);

private:
    QORJob(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession, QBase::Buffer* iBuffer);
    ~QORJob();

    template <class T>
    void ReleaseAndLog(QBase::PtrI<T>& ioObject);
    void CountCreation() const;
    void LogCreation() const;
    void EndInBuffer();

    // --- Rows and the exception boundary: QORJobRows.h ---------------------------------------------------------------
    template <class Body>
    HRESULT Boundary(Body&& iBody, const char* iOperation = __builtin_FUNCTION()) const;
    template <class T, class Read>
    HRESULT GetBy(Read iRead, T* oValue, const char* iOperation) const;
    template <class T>
    HRESULT Get(const T& iField, T* oValue, const char* iOperation = __builtin_FUNCTION()) const;
    template <class Part, class T>
    HRESULT Get(const OnDemand<Part>& iPart, T Part::*iField, T* oValue,
                const char* iOperation = __builtin_FUNCTION()) const;
    template <class T>
    HRESULT GetUnlocked(const Unlocked<T>& iField, T* oValue) const;
    template <class T>
    T GetValue(const T& iField) const;
    template <class T>
    HRESULT Set(T& oField, T iValue, T* oOld = nullptr, const char* iOperation = __builtin_FUNCTION());
    template <class Part, class T, class Value>
    HRESULT Set(OnDemand<Part>& ioPart, T Part::*iField, const Value& iValue,
                const char* iOperation = __builtin_FUNCTION());
    HRESULT Is(int iStatus, bool* obIs, const char* iOperation = __builtin_FUNCTION()) const;
    template <class Part>
    HRESULT GetText(const OnDemand<Part>& iPart, QBase::wstring Part::*iField, QBase::wstring& oText,
                    const char* iOperation = __builtin_FUNCTION()) const;
    template <class Part>
    HRESULT SetText(OnDemand<Part>& ioPart, QBase::wstring Part::*iField, const QBase::WCHAR* iText,
                    const char* iOperation = __builtin_FUNCTION());
    template <class T>
    HRESULT GetPointer(const QBase::PtrI<T>& iField, T** oObject, const char* iOperation = __builtin_FUNCTION()) const;
    void TellContext(ICKDXProcessContext& ioContext) QORJOB_REQUIRES(mpLock);

    // --- Step queue --------------------------------------------------------------------------------------------------
    void GiveTodoSize(int* oCount) const QORJOB_REQUIRES(mpLock);

    // --- Dispatch ----------------------------------------------------------------------------------------------------
    int FindLastStep(bool (*iStops)(int iStepId, int iStatus), int* oRunningStepId) const QORJOB_REQUIRES(mpLock);
    HRESULT ReadFrontId(int* oStepId) const QORJOB_REQUIRES(mpLock);
    void DropDocumentResult() QORJOB_REQUIRES(mpLock);
    void LogFinishedSteps() const QORJOB_REQUIRES(mpLock);
    HRESULT ChooseCandidate(int* oCandidate, int* oRunningStepId) QORJOB_REQUIRES(mpLock);
    HRESULT RefillRequeuedJob() QORJOB_REQUIRES(mpLock);
    bool IsCloseStepBeingRun() const QORJOB_REQUIRES(mpLock);
    HRESULT HandOut(int iCandidate, int* oStepId) QORJOB_REQUIRES(mpLock);
    HRESULT HandOutOfDeadJob(int iLostStepId, int* oStepId) QORJOB_REQUIRES(mpLock);
    void StartStep(QORJobStep& ioStep, int iStepId, int iPUId, QORJobTask* iTask) QORJOB_REQUIRES(mpLock);
    void StartProfile(int iStepId) QORJOB_REQUIRES(mpLock);
    void EndProfile(int iStepId) QORJOB_REQUIRES(mpLock);
    void FinishStep(int iStepId) QORJOB_REQUIRES(mpLock);
    void FinishAgain(int iStepId) QORJOB_REQUIRES(mpLock);

    // --- Status ------------------------------------------------------------------------------------------------------
    void StoreStatus(int iStatus) QORJOB_REQUIRES(mpLock);
    void TakeBackActiveCount() QORJOB_REQUIRES(mpLock);
    void CountFailure() const;
    void AnswerChannelRequest();

    // --- Cancel, pause, resume, hang ---------------------------------------------------------------------------------
    HRESULT CancelSteps() QORJOB_REQUIRES(mpLock);
    HRESULT TellInstanceOfCancellation() QORJOB_REQUIRES(mpLock);
    bool IsClientWaiting() const QORJOB_REQUIRES(mpLock);
    static int FindReportingStep(ICKDXProcessContext* iContext);
    void TellContextToStop() QORJOB_REQUIRES(mpLock);
    bool IsReportRequest() const;

    // --- Parents and children ----------------------------------------------------------------------------------------
    HRESULT CopyId(const QSynch::AtomicLong& iField, QSynch::AtomicLong* oId,
                   const char* iOperation = __builtin_FUNCTION()) const;
    HRESULT CopyIds(const OnDemand<ChildList>& iIds, IdList& oIds, const char* iOperation = __builtin_FUNCTION()) const;
    HRESULT ChangeRunningChildCount(int iChange, int* oCount, const char* iOperation = __builtin_FUNCTION());

    // --- Units -------------------------------------------------------------------------------------------------------
    NewestFirst<QORJobPUInfo> GetVisits() const QORJOB_REQUIRES(mpLock);
    void CountFirstStart() QORJOB_REQUIRES(mpLock);

    // --- Errors ------------------------------------------------------------------------------------------------------
    friend class QORJobError;
    bool BecomeErrorJob(HRESULT iCode, int iReportingStepId) QORJOB_REQUIRES(mpLock);
    bool CanDeadJobReport(HRESULT iCode, int iReportingStepId) const QORJOB_REQUIRES(mpLock);

    // --- Messages ----------------------------------------------------------------------------------------------------
    HRESULT GetContextMessage(ICKDXWriteMessage** oMessage, const char* iOperation = __builtin_FUNCTION()) const;
    HRESULT FetchContextMessage(QBase::PtrI<ICKDXWriteMessage>& oMessage) const;

    // --- Close counters ----------------------------------------------------------------------------------------------
    int GetExecutionKind() const;

    // --- Description, dumps, snapshots -------------------------------------------------------------------------------
    void DescribeObject(ICKDXProcessContext& iContext) QORJOB_REQUIRES(mpLock);
    void AddIdentity(QBase::wstring& ioText) const QORJOB_REQUIRES(mpLock);
    void AddState(QBase::wstring& ioText) const QORJOB_REQUIRES(mpLock);
    void CopyItems(QORJobInfo& oInfo) const QORJOB_REQUIRES(mpLock);

    // --- The end: QORJobEnd.cpp --------------------------------------------------------------------------------------
    HRESULT PreDestruct();
    void ReleaseCollaborators();
    void ProfileJob() const;
    void ReleaseContext();
    bool HasData() const;
    void ReleaseData();
    void ReleaseLeftovers();
    void MarkDead();
};

/// Whether the user wants logged what happens in the job's process context: false for null, true for a job without a
/// context.
QORJOB_API bool GetPrsContextLogFlag(QORJob* iJob);
