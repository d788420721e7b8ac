// The steps that this server runs: where, and what each does.
#pragma once

#include "client/Request.h"
#include "qorhost.h"
#include "warehouse/Warehouse.h"

#include <string>
#include <vector>

class Server;
struct ServerJob;

/// The processing units by the ids that jobs know them under.
enum EnumUnit : int
{
    UnitSqlGeneration = 1,
    UnitQueryExecution = 2,
    UnitAnalytics = 3,
    UnitDelivery = 4,
};

std::string UnitNameOf(int iUnit);
std::string StepNameOf(int iStepId);

/// What a step has to work with. One that is given up works on, beside the threads that close its job: what it leaves
/// in the job nobody reads.
struct Workplace
{
    QORHostRun& mRun;
    ServerJob& mJob;
    Server& mServer;
    const Warehouse& mWarehouse;
};

struct Step
{
    QORJobProcessingStep mId;
    EnumUnit mUnit;
    /// Takes its inputs of the job's data items, and leaves its output there for the next one. Throws RequestError for
    /// what the client should know.
    void (*mpWork)(Workplace& ioPlace);

    /// An answer that has begun isn't called back.
    bool IsAnswer() const { return mUnit == UnitDelivery; }
    /// One that waits for others isn't limited in time.
    bool HasLimit() const { return !IsAnswer() && mId != StepExecutingDocument; }
};

/// All but the closing step, which has no work.
const std::vector<Step>& GetSteps();

/// Gives steps and data items the names that the library shows. Once, before the first job.
void NameSteps();

/// The steps that the request is made of. The closing step is the last one.
std::vector<int> StepsOf(const Request& iRequest);
