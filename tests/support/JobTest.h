// Helpers of the job tests: the log's lines, a check for leaks, and lists of steps as texts.
#pragma once

#include "job/QORJob.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/Settings.h"
#include "record/QORJobInfo.h"
#include "record/QORJobStep.h"
#include "tests/support/Fakes.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using JobPtr = QBase::PtrI<QORJob>;
using Texts = std::vector<std::string>;

inline constexpr int cJobId = 4711;
inline constexpr int cJobPriority = 5;
inline constexpr int cJobCategory = 4;
inline constexpr DWORD cSomeThread = 77;

/// "3 5 2" as {"3", "5", "2"}.
inline Texts Split(const std::string& iText)
{
    std::istringstream words(iText);
    return {std::istream_iterator<std::string>(words), {}};
}

template <class T>
std::vector<T> Join(std::vector<T> iFirst, const std::type_identity_t<std::vector<T>>& iSecond)
{
    iFirst.insert(iFirst.end(), iSecond.begin(), iSecond.end());
    return iFirst;
}

inline QBase::Buffer* NewBuffer(std::size_t iReserve = 1 << 16)
{
    return QBase::CreateBuffer(iReserve, 2, 4096, false);
}

inline QDataType::DateTime TimeOf(int iMilliseconds)
{
    return QDataType::DateTime(45000.0) + QDataType::TimeSpan(static_cast<unsigned>(iMilliseconds));
}

/// A moment that differs from the others in all its parts: a day, two hours, three minutes and 4.005 seconds apart.
inline constexpr unsigned cApart = 93'784'005;
inline QDataType::DateTime Moment(int iNumber)
{
    return TimeOf(0) + QDataType::TimeSpan::FromTicks(iNumber * std::int64_t{cApart} * 10'000);
}

constexpr GUID GuidOf(BYTE iNumber) { return {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, iNumber}}; }

/// What a getter gives that has to succeed.
template <class T, class Object>
T Read(const Object& iObject, HRESULT (Object::*iGetter)(T*) const)
{
    auto value = T(0);
    EXPECT_EQ((iObject.*iGetter)(&value), S_OK);
    return value;
}

using Counters = std::map<int, std::int64_t>;

/// Those that aren't 0.
inline Counters ReadCounters()
{
    Counters counters;
    for (int id = 0; id < 64; ++id)
        if (const auto value = Builtin::PerfReadings::GetCounter(id); value != 0)
            counters[id] = value;
    return counters;
}

/// Begins with all settings at rest. At its end no job is left, and no block that was taken of the heap.
class JobTest : public testing::Test
{
protected:
    JobTest()
        : mSinkId(Builtin::LogSinks::AddSink([this](const Builtin::LogSinks::Line& iLine) {
              char code[16] = "";
              if (iLine.mCode != 0)
                  std::snprintf(code, sizeof(code), "%08X ", static_cast<unsigned>(iLine.mCode));
              mLines.push_back(iLine.mRouter + ": " + code +
                               (iLine.mCode == 0 ? "" : iLine.mTemplateName + " (" + iLine.mOrigin + "): ") +
                               iLine.mText);
          }))
    {
        Builtin::LogSinks::Enable("Kernel", "*", true);
        Builtin::PerfReadings::Reset();
        Builtin::Faults::StartCountingBlocks();
    }

    ~JobTest() override
    {
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0);
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::LockCreation, 0);
        Builtin::Settings::ReleaseClock();
        Builtin::Settings::ReleaseThreadTimes();
        Builtin::LogSinks::Enable("Kernel", "*", false);
        Builtin::LogSinks::RemoveSink(mSinkId);
        EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0) << "blocks are left behind";
        EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cJobCategory), 0) << "jobs are left behind";
    }

    static JobPtr NewJob(int iRequestType = RequestDocument, QorUserSession* iSession = nullptr,
                         QBase::Buffer* iBuffer = nullptr)
    {
        return JobPtr(QORJob::NewJob(cJobId, iRequestType, cJobPriority, iSession, iBuffer));
    }

    /// A job with the steps of `iTodo`, in the status given; what that logged is taken.
    JobPtr NewJobWith(const std::string& iTodo, int iStatus = JobReady)
    {
        JobPtr job = NewJob();
        Queue(*job.Get(), iTodo);
        SetStatus(*job.Get(), iStatus);
        TakeLog();
        return job;
    }

    /// "3 5@7 39!7 2": ids; with `@` the unit in which cSomeThread has started the step, with `!` a unit without a
    /// thread; `-` is an entry without a step.
    static void Queue(QORJob& ioJob, const std::string& iTodo)
    {
        for (const std::string& text : Split(iTodo))
        {
            QORJobStep* step = text == "-" ? nullptr : new QORJobStep(std::stoi(text));
            const std::size_t mark = text.find_first_of("@!");
            if (mark != std::string::npos)
            {
                step->SetThreadId(text[mark] == '@' ? cSomeThread : 0);
                step->SetPUId(std::stoi(text.substr(mark + 1)));
            }
            EXPECT_EQ(ioJob.AddStepToRun(step, nullptr), S_OK);
        }
    }

    static void SetStatus(QORJob& ioJob, int iStatus)
    {
        if (iStatus == 13)
            ioJob.SetStatus(8, nullptr); // from nowhere else
        EXPECT_EQ(ioJob.SetStatus(iStatus, nullptr), S_OK);
    }

    /// The queued ids in their order.
    static Texts TodoOf(const QORJob& iJob)
    {
        QORJobInfo info;
        EXPECT_EQ(iJob.GetJobInfo(&info), S_OK);
        Texts ids;
        for (int i = 0; i < info.mTodoCount; ++i)
            ids.push_back(std::to_string(Read(info.mTodoSteps[static_cast<std::size_t>(i)], &QORJobStep::GetId)));
        return ids;
    }

    /// The line that tells what an operation has caught: a message with its text, or anything else.
    static std::string Caught(const std::string& iName, const char* iMessage)
    {
        const std::string place = " (" + iName + "): " + iName + ", 4711";
        return iMessage == nullptr ? "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION" + place
                                   : "Error: 8004308E QOR_JOB_EXCEPTION" + place + ", " + iMessage;
    }

    /// What was logged since the last call; a line as "Job Trace: text", a coded entry as
    /// "Error: 8004308E TEMPLATE (origin): arguments".
    Texts TakeLog() { return std::exchange(mLines, {}); }

private:
    Texts mLines;
    int mSinkId;
};
