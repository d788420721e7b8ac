#include "qorjob.h"

#include <gtest/gtest.h>

#include <chrono>

namespace
{

constexpr std::uint64_t cMillisecond = 10'000; // in the units of the thread's times
constexpr std::uint64_t cTick = 16 * cMillisecond;

/// The system's word, not the platform's.
std::uint64_t GetUsedTime()
{
    FILETIME created, ended, kernel, user;
    EXPECT_NE(::GetThreadTimes(::GetCurrentThread(), &created, &ended, &kernel, &user), 0);
    return ToUint64(kernel) + ToUint64(user);
}

} // namespace

TEST(Step, HasTheProcessorTimeThatItsThreadUsed)
{
    const QBase::PtrI<QORJob> job(QORJob::NewJob(7, RequestReport, 5, nullptr, nullptr));
    job->AddStep(new QORJobStep(StepSQLGeneration), nullptr);
    job->SetRunning(true, nullptr);

    const auto wallStart = std::chrono::steady_clock::now();
    const std::uint64_t before = GetUsedTime();
    job->SetStepStart(StepSQLGeneration, 3, nullptr);
    const std::uint64_t start = GetUsedTime();
    while (GetUsedTime() < start + 60 * cMillisecond)
        ASSERT_LT(std::chrono::steady_clock::now() - wallStart, std::chrono::seconds(30));
    const std::uint64_t end = GetUsedTime();
    job->SetStepFinish(StepSQLGeneration, 3, nullptr);
    const std::uint64_t after = GetUsedTime();
    const auto wall = std::chrono::steady_clock::now() - wallStart;

    QORJobInfo info;
    ASSERT_EQ(job->GetJobInfo(&info), S_OK);
    ASSERT_EQ(info.mFinishedCount, 1);
    double used = 0;
    EXPECT_EQ(info.mFinishedSteps[0].GetTaskCPUTime(&used), S_OK);
    EXPECT_GE(used, static_cast<double>(end - start));
    EXPECT_LE(used, static_cast<double>(after - before));
    EXPECT_LE(used, std::chrono::duration<double>(wall).count() * 1000 * cMillisecond + cTick);
}
