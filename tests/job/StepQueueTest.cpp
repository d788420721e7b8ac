#include "job/StepQueue.h"

#include "record/QORJobProcessingStep.h"
#include "record/QORJobStep.h"
#include "tests/support/JobTest.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <vector>

namespace
{

using Ids = std::vector<int>;

template <class Steps>
Ids IdsOf(const Steps& iSteps)
{
    Ids ids;
    for (const QORJobStep* step : iSteps)
    {
        int id = -1; // stands for an entry without a step
        if (step != nullptr)
            step->GetId(&id);
        ids.push_back(id);
    }
    return ids;
}

class StepQueueTest : public ::testing::Test
{
protected:
    /// Queues steps at the end; 0 is an entry without a step.
    void Add(const Ids& iIds)
    {
        for (int id : iIds)
        {
            QORJobStepPtr step(id == 0 ? nullptr : new QORJobStep(id));
            mQueue.Insert(mQueue.GetTodo().end(), step);
        }
    }

    StepQueue::Position At(std::size_t iPlace) const
    {
        return std::next(mQueue.GetTodo().begin(), static_cast<std::ptrdiff_t>(iPlace));
    }

    void Expect(const Ids& iTodo, const Ids& iFinished) const
    {
        EXPECT_EQ(IdsOf(mQueue.GetTodo()), iTodo);
        EXPECT_EQ(IdsOf(mQueue.GetFinished()), iFinished);
    }

    StepQueue mQueue{QBase::DefaultHeap()};
};

TEST_F(StepQueueTest, PassesOverEntriesWithoutAStep)
{
    Add({0, 7, StepCloseJob, 7, 0});
    EXPECT_EQ(mQueue.GetCurrent(), nullptr);
    EXPECT_FALSE(mQueue.IsCurrent(0));
    EXPECT_EQ(mQueue.Find(7), At(1));
    EXPECT_EQ(mQueue.Find(8), mQueue.GetTodo().end());
    EXPECT_EQ(mQueue.FindPlaceToAdd(), mQueue.GetTodo().end()); // the closing step isn't the last entry
    mQueue.DeleteAllOf(7);
    mQueue.Delete(At(2));
    Expect({-1, StepCloseJob}, {});
    EXPECT_EQ(mQueue.FindPlaceToAdd(), At(1));
    mQueue.MoveToFinished(At(0));
    Expect({StepCloseJob}, {-1});
    EXPECT_FALSE(mQueue.HasFinished(StepCloseJob));
}

/// What the queue keeps beside its lists is held against a walk through them, after each of many random changes.
TEST_F(StepQueueTest, KnowsItsClosingStepsWithoutAWalk)
{
    std::mt19937 random(20);
    const auto pick = [&](std::size_t iCount) {
        return std::uniform_int_distribution<std::size_t>(0, iCount - 1)(random);
    };
    Ids todo;
    Ids finished;
    for (int round = 0; round < 5000; ++round)
    {
        const int id = std::array{StepCloseJob, StepSendingErrorMessage, StepQueryExecution}[pick(3)];
        const std::size_t place = pick(todo.size() + 1);
        const auto position = todo.begin() + static_cast<std::ptrdiff_t>(place);
        const std::size_t change = pick(8);
        switch (change)
        {
        case 0:
        case 1:
            ASSERT_EQ(mQueue.InsertNew(At(place), id, change == 0 ? StepNoMore : StepCloseJob), S_OK);
            if (change == 1)
                todo.insert(position, StepCloseJob);
            todo.insert(todo.begin() + static_cast<std::ptrdiff_t>(place), id);
            break;
        case 2:
            if (place < todo.size())
            {
                mQueue.MoveToFinished(At(place));
                finished.insert(finished.begin(), todo[place]);
                todo.erase(position);
            }
            break;
        case 3:
            if (place < todo.size())
            {
                mQueue.Delete(At(place));
                todo.erase(position);
            }
            break;
        case 4:
            mQueue.DeleteAllOf(id);
            std::erase(todo, id);
            break;
        case 5:
        {
            ASSERT_EQ(mQueue.ReduceToClosing(id), S_OK);
            Ids left(todo.begin(), todo.begin() + (todo.empty() ? 0 : 1));
            for (int next : {id, int{StepCloseJob}})
                if (todo.empty() || todo.front() != next)
                    left.push_back(next);
            todo = left;
            break;
        }
        case 6:
            if (round % 20 == 0)
            {
                mQueue.Clear();
                todo.clear();
            }
            break;
        default:
            if (place < todo.size())
                (*At(place))->SetPUId(static_cast<int>(pick(2)) - 1); // starts it, or takes that back
        }
        Expect(todo, finished);
        const auto started =
            std::find_if(mQueue.GetTodo().begin(), mQueue.GetTodo().end(), [](const QORJobStep* iStep) {
                int stepId = 0;
                int unitId = -1;
                iStep->GetId(&stepId);
                iStep->GetPUId(&unitId);
                return stepId == StepCloseJob && unitId != -1;
            });
        const bool bFinished = std::count(finished.begin(), finished.end(), int{StepCloseJob}) != 0;
        ASSERT_EQ(mQueue.FindStartedCloseStep(), started == mQueue.GetTodo().end() ? nullptr : *started);
        ASSERT_EQ(mQueue.HasFinishedClosing(), bFinished);
        ASSERT_EQ(mQueue.HasFinished(StepCloseJob), bFinished);
        ASSERT_FALSE(HasFailure()) << "in round " << round;
    }
}

} // namespace
