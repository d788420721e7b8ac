// The enumerations of a job: request type, status, delivery type and others.
#pragma once

/// How the result of a subscription job is delivered; the delivery module defines the codes, 0 is none.
enum EnumSubscriptionDeliveryType : int
{
};

/// What is done with a document when it is rebuilt: bits that the document module defines.
enum EnumKDXDocumentManipulationType : int
{
    DocumentManipulationApply = 2,
    DocumentManipulationReexecute = 0x800,
};

/// The request types of a job, fixed at its construction.
enum EnumJobRequestType : int
{
    RequestMetaData = 0,
    RequestReport = 1,
    RequestDocument = 2,
    RequestElement = 3,
    RequestSQL = 4,
    RequestBatchChildReport = 5,
    RequestBatchExecution = 6,
    RequestDatamartReport = 7,
    RequestPlazabox = 8,
    RequestImport = 9,
    RequestExternalNotification = 10,
};

/// The states of a job. The kernel defines the meaning of the held states, 7 to 13, 18 and 19; no step is handed out in
/// them.
enum EnumJobStatus : int
{
    JobReady = 0,
    JobExecuting = 1,
    JobWaiting = 2,
    JobCompleted = 3,
    JobStoppedWithError = 4,
    JobCancelled = 5,
    JobStopped = 6,
    JobHeld7 = 7,
    JobHeld8 = 8,
    JobReplied = 9, ///< held; entering it answers the first pending channel request
    JobHeld10 = 10,
    JobHeld11 = 11,
    JobHeld12 = 12,
    JobHeld13 = 13, ///< follows 8 only
    JobRequeued = 17,
    JobHeld18 = 18,
    JobHeld19 = 19,
    JobPausing = 20,
};

/// Groups of states.
namespace QORJOB
{

/// No step is handed out.
constexpr bool IsHeld(int iStatus)
{
    return (iStatus >= JobHeld7 && iStatus <= JobHeld13) || iStatus == JobHeld18 || iStatus == JobHeld19;
}

/// Stopped with an error, cancelled or stopped: only what reports and closes is still run.
constexpr bool HasFailed(int iStatus) { return iStatus >= JobStoppedWithError && iStatus <= JobStopped; }

/// Failed or completed.
constexpr bool HasEnded(int iStatus) { return iStatus == JobCompleted || HasFailed(iStatus); }

} // namespace QORJOB

/// The callers that ask whether a runaway job's message status is to be persisted.
enum EnumRunAwayCaller : int
{
    RunAwayThread = 1,  ///< the runaway thread, when it returns after all
    RunAwayCleanUp = 2, ///< the job's clean-up
};
