// The tasks of the steps, a class each. Each takes its inputs of the job's data items (JobItems.h) and leaves its
// output there for the next one.
#pragma once

#include "Rows.h"
#include "StepTask.h"

#include <string>

/// SQL Generation: the request to SQL, which is the result already where only that was asked for.
class SqlTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// What has the database do something: rows are taken within the job's memory.
class DatabaseTask : public StepTask
{
public:
    using StepTask::StepTask;

protected:
    Rows Query(const std::string& iSql, const std::string& iTable, const RowGate& iGate);
};

/// Query Execution: the SQL to rows.
class QueryTask final : public DatabaseTask
{
public:
    using DatabaseTask::DatabaseTask;

private:
    void Work() override;
};

/// Element Browsing: the request to the result.
class ElementTask final : public DatabaseTask
{
public:
    using DatabaseTask::DatabaseTask;

private:
    void Work() override;
};

/// Analytical Processing: the rows to the result.
class AnalysisTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// Executing Document: its reports become jobs.
class ChildrenTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// Document Formatting: what these have answered to the result.
class DocumentTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// Sending the result of a report or a document to the client.
class ResultTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// Sending Error Message: what was packed when it happened.
class ErrorTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// Delivery to destinations: the result, or the error, of a job whose context has a delivery object.
class DeliveryTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};

/// Close job: the kernel says how the job ended; dispatch does so only for jobs without a closing step.
class CloseTask final : public StepTask
{
public:
    using StepTask::StepTask;

private:
    void Work() override;
};
