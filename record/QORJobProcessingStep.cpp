#include "record/QORJobProcessingStep.h"

#include <array>
#include <cstddef>

namespace
{

// The texts as logs and dumps show them, misspellings included: readers search for them.
constexpr std::array<const WCHAR*, StepNoOp + 1> cStepNames = {
    W("Done step"),
    W("MD object request"),
    W("Close job"),
    W("SQL Generation"),
    W("Query Execution"),
    W("Analytical Processing"),
    W("Load KDX Object Definition"),
    W("Sending Report Result"),
    W("Element Browsing"),
    W("Restoring Report Instance"),
    W("Sending Error Message"),
    W("Sending Output Message"),
    W("Searching Cache"),
    W("Executing Document"),
    W("Sending Document Result"),
    W("Update Cache"),
    W("Request Execution"),
    W("Datamart Report Execution"),
    W("Document Data Preparation"),
    W("Document Formatting"),
    W("Document Manipulation"),
    W("Sub Report of Document Apply View Context."),
    W("Exporting Report"),
    W("Find Cube Task"),
    W("Update Cube Task"),
    W("Postprocessing result"),
    W("Delivery to destinations"),
    W("Persist result"),
    W("Document Dataset Execution"),
    W("FB Crawl Member Task"),
    W("FB Crawl Member Friend Task"),
    W("Proces Report With Prompt after SQL Engine Step"),
    W("Remote Server Exec Task"),
    W("Import Dashboards Async Task"),
    W("REST General Task"),
    W("REST Reserved Task"),
    W("Document Update Cache Task"),
    W("Document Data Preparation Analysis Task"),
    W("Document Data Preparation Evaluation Task"),
    W("no op"),
};

} // namespace

const WCHAR* GetStepName(int iStepId)
{
    return iStepId >= 0 && iStepId <= StepNoOp ? cStepNames[static_cast<std::size_t>(iStepId)] : W("Unknown step");
}
