#include "record/QORJobProcessingStep.h"

#include <array>
#include <cstddef>

namespace
{

// As logs and dumps show them. Misspellings stay: people search for these texts.
constexpr std::array<const QBase::WCHAR*, StepNoOp + 1> cStepNames = {
    QORJOB_W("Done step"),
    QORJOB_W("MD object request"),
    QORJOB_W("Close job"),
    QORJOB_W("SQL Generation"),
    QORJOB_W("Query Execution"),
    QORJOB_W("Analytical Processing"),
    QORJOB_W("Load KDX Object Definition"),
    QORJOB_W("Sending Report Result"),
    QORJOB_W("Element Browsing"),
    QORJOB_W("Restoring Report Instance"),
    QORJOB_W("Sending Error Message"),
    QORJOB_W("Sending Output Message"),
    QORJOB_W("Searching Cache"),
    QORJOB_W("Executing Document"),
    QORJOB_W("Sending Document Result"),
    QORJOB_W("Update Cache"),
    QORJOB_W("Request Execution"),
    QORJOB_W("Datamart Report Execution"),
    QORJOB_W("Document Data Preparation"),
    QORJOB_W("Document Formatting"),
    QORJOB_W("Document Manipulation"),
    QORJOB_W("Sub Report of Document Apply View Context."),
    QORJOB_W("Exporting Report"),
    QORJOB_W("Find Cube Task"),
    QORJOB_W("Update Cube Task"),
    QORJOB_W("Postprocessing result"),
    QORJOB_W("Delivery to destinations"),
    QORJOB_W("Persist result"),
    QORJOB_W("Document Dataset Execution"),
    QORJOB_W("FB Crawl Member Task"),
    QORJOB_W("FB Crawl Member Friend Task"),
    QORJOB_W("Proces Report With Prompt after SQL Engine Step"),
    QORJOB_W("Remote Server Exec Task"),
    QORJOB_W("Import Dashboards Async Task"),
    QORJOB_W("REST General Task"),
    QORJOB_W("REST Reserved Task"),
    QORJOB_W("Document Update Cache Task"),
    QORJOB_W("Document Data Preparation Analysis Task"),
    QORJOB_W("Document Data Preparation Evaluation Task"),
    QORJOB_W("no op"),
};

} // namespace

const QBase::WCHAR* GetStepName(int iStepId)
{
    return iStepId >= 0 && iStepId <= StepNoOp ? cStepNames[static_cast<std::size_t>(iStepId)]
                                               : QORJOB_W("Unknown step");
}
