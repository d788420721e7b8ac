// The counters of the performance monitor that the job feeds, and the execution kinds that decide on some of them.
#pragma once

/// The performance monitor's counters. Reports are the jobs of the request types 1, 5 and 7.
enum EnumKernelCounter : int
{
    CounterReportQueueMilliseconds = 0, ///< from a report's creation to its first start in a processing unit
    CounterReportsExecuting = 1,
    CounterReportsCompleted = 2,
    CounterReportsFailed = 4,
    CounterReportsOpen = 5,
    CounterReportsCreated = 6,
    CounterJobsCreated = 7,
    CounterReportMilliseconds = 8, ///< from a report's creation to its close
    CounterMetaDataRequests = 10,
    CounterMetaDataFailures = 11,
    CounterElementRequests = 12,
    CounterElementFailures = 13,
    CounterDocumentsCreated = 17,
    CounterDocumentsCompleted = 18,
    CounterDocumentsFailed = 19,
    CounterKind7Completed = 38, ///< reports of the execution kinds 7 and 8 are also counted on their own
    CounterKind8Completed = 39,
    CounterKind7Milliseconds = 42,
    CounterKind8Milliseconds = 43,
    CounterDocumentMilliseconds = 50,
};

namespace QORJOB
{

struct CounterName
{
    EnumKernelCounter mId;
    const char* mName;
};

/// What people call the counters, by number. The performance monitor itself knows their numbers only.
inline constexpr CounterName cCounterNames[] = {
    {CounterReportQueueMilliseconds, "report queue milliseconds"},
    {CounterReportsExecuting, "reports active"},
    {CounterReportsCompleted, "reports completed"},
    {CounterReportsFailed, "reports failed"},
    {CounterReportsOpen, "report jobs alive"},
    {CounterReportsCreated, "reports created"},
    {CounterJobsCreated, "requests created"},
    {CounterReportMilliseconds, "report milliseconds"},
    {CounterMetaDataRequests, "metadata requests created"},
    {CounterMetaDataFailures, "metadata requests failed"},
    {CounterElementRequests, "element requests created"},
    {CounterElementFailures, "element requests failed"},
    {CounterDocumentsCreated, "documents created"},
    {CounterDocumentsCompleted, "documents completed"},
    {CounterDocumentsFailed, "documents failed"},
    {CounterKind7Completed, "reports of kind 7 completed"},
    {CounterKind8Completed, "reports of kind 8 completed"},
    {CounterKind7Milliseconds, "milliseconds of kind 7"},
    {CounterKind8Milliseconds, "milliseconds of kind 8"},
    {CounterDocumentMilliseconds, "document milliseconds"},
};

} // namespace QORJOB

/// What a report instance answers as its execution kind. The report module gives the kinds their meaning; the job knows
/// them by what it does.
enum EnumExecutionKind : int
{
    ExecutionKindNone = 0,
    ExecutionKind7 = 7, ///< with counters of its own, and exempt from the memory governor
    ExecutionKind8 = 8, ///< with counters of its own
    ExecutionKind9 = 9, ///< exempt from the memory governor
};
