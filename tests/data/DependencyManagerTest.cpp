#include "data/DependencyManager.h"

#include "tests/support/DataTest.h"

#include <memory>
#include <optional>

namespace
{

using Dependencies = JobTest;

/// Takes a list that the manager gave.
std::string Take(std::list<int>* iIds)
{
    const std::unique_ptr<std::list<int>> ids(iIds);
    std::string shown;
    for (const int id : *ids)
        shown += std::to_string(id) + " ";
    return shown;
}

} // namespace

TEST_F(Dependencies, KeepWhatTheyAreToldInItsOrder)
{
    Builtin::EventTrace::Start();
    std::optional<DependencyManager> manager(std::in_place);
    const std::list<int> data = {3, 3};
    const std::list<int> steps = {9, 8};
    const std::list<int> output = {7};
    manager->AddRequiredInputData(5, 2);
    manager->AddStep(5, &data, &steps, &output);
    manager->AddStep(6, nullptr, nullptr, nullptr);
    manager->AddPrerequisiteStep(6, 5);
    manager->AddOutputData(4, 7);
    EXPECT_EQ(Take(manager->GetRequiredInputData(5)), "2 3 3 ");
    EXPECT_EQ(Take(manager->GetPrerequisiteSteps(5)), "9 8 ");
    EXPECT_EQ(Take(manager->GetPrerequisiteSteps(6)), "5 ");
    EXPECT_EQ(Take(manager->GetPrerequisiteSteps(1)), "") << "never mentioned";
    EXPECT_EQ(manager->GetStepForData(7), -1) << "no producer is named";
    manager.reset();
    const std::string of = "Job Trace: DependencyManager::";
    EXPECT_EQ(TakeLog(),
              (Texts{of + "AddRequiredInputData: Adding data:2 as required input data for step:5.",
                     of + "AddStep: Adding step 5.", of + "AddStep: Adding data:3 as required input data for step:5.",
                     of + "AddStep: Adding data:3 as required input data for step:5.",
                     of + "AddStep: Adding step:9 as prerequisite step for step:5.",
                     of + "AddStep: Adding step:8 as prerequisite step for step:5.",
                     of + "AddStep: Adding data:7 as output data for step:5.", of + "AddStep: Adding step 6.",
                     of + "AddPrerequisiteStep: Adding step:5 as prerequisite step for step:6.",
                     of + "AddOutputData: Adding data:7 as output data for step:4.",
                     of + "~DependencyManager: Destroying the dependency manager."}));
    EXPECT_EQ(Builtin::EventTrace::Stop(), (Texts{"QSynch::CreateRWLock 26", "QSynch::DestroyRWLock 26"}));
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::LockCreation, 1);
    EXPECT_THROW(DependencyManager(), std::bad_alloc);
}
