// The codes of a job: what it is asked for, where it stands, and how its result goes out.
#pragma once

/// How the result of a subscription job is delivered; the codes are the delivery module's, 0 is none.
enum EnumSubscriptionDeliveryType : int
{
};

/// What is done with a document when it is rebuilt; bits of the document module.
enum EnumKDXDocumentManipulationType : int
{
    DocumentManipulationApply = 2,
    DocumentManipulationReexecute = 0x800,
};

/// The request types of a job; fixed when it is made.
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

/// Where a job is in its life. 7 to 13 and 17 to 19 are further waiting states.
enum EnumJobStatus : int
{
    JobReady = 0,
    JobExecuting = 1,
    JobWaiting = 2,
    JobCompleted = 3,
    JobStoppedWithError = 4,
    JobCancelled = 5,
    JobStopped = 6,
    JobReplied = 9, ///< a waiting state; entering it answers the first pending channel request
    JobRequeued = 17,
    JobPausing = 20,
};

/// Who asks whether a runaway job's message status is to be persisted.
enum EnumRunAwayCaller : int
{
    RunAwayThread = 1,  ///< the runaway thread, when it returns after all
    RunAwayCleanUp = 2, ///< the job's clean-up
};
