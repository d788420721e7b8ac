// The ids and names of processing steps.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

/// A step id is an index into the table of step names. Ids 1 to 39 are the runnable steps.
enum QORJobProcessingStep : int
{
    StepNoMore = 0,
    StepMDObjectRequest = 1,
    StepCloseJob = 2,
    StepSQLGeneration = 3,
    StepQueryExecution = 4,
    StepAnalyticalProcessing = 5,
    StepLoadObjectDefinition = 6,
    StepSendingReportResult = 7,
    StepElementBrowsing = 8,
    StepRestoringReportInstance = 9,
    StepSendingErrorMessage = 10,
    StepSendingOutputMessage = 11,
    StepSearchingCache = 12,
    StepExecutingDocument = 13,
    StepSendingDocumentResult = 14,
    StepUpdateCache = 15,
    StepRequestExecution = 16,
    StepDatamartReportExecution = 17,
    StepDocumentDataPreparation = 18,
    StepDocumentFormatting = 19,
    StepDocumentManipulation = 20,
    StepSubReportApplyViewContext = 21,
    StepExportingReport = 22,
    StepFindCube = 23,
    StepUpdateCube = 24,
    StepPostprocessingResult = 25,
    StepDelivery = 26,
    StepPersistResult = 27,
    StepDocumentDatasetExecution = 28,
    StepCrawlMember = 29,
    StepCrawlMemberFriend = 30,
    StepProcessReportWithPrompt = 31,
    StepRemoteServerExec = 32,
    StepImportDashboards = 33,
    StepRESTGeneral = 34,
    StepRESTReserved = 35,
    StepDocumentUpdateCache = 36,
    StepDocumentDataPreparationAnalysis = 37,
    StepDocumentDataPreparationEvaluation = 38,
    StepNoOp = 39,
};

constexpr bool IsRunnableStep(int iStepId) { return iStepId >= StepMDObjectRequest && iStepId <= StepNoOp; }

/// The step's name in diagnostics; "Unknown step" for an id outside the table. Never null.
QORJOB_API const QBase::WCHAR* GetStepName(int iStepId);
