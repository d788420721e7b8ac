// What the tests of jobs share: a log capture, watch over what is left behind, and lists of steps as texts.
#pragma once

#include "job/QORJob.h"
#include "job/QORJobStep.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/Settings.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using JobPtr = QBase::PtrI<QORJob>;
using Texts = std::vector<std::string>;

inline constexpr int cJobId = 4711;
inline constexpr int cJobPriority = 5;
inline constexpr int cJobCategory = 4;
inline constexpr DWORD cSomeThread = 77;

/// Begins with all settings at rest. At its end no job is left, and no block that was taken of the heap.
class JobTest : public testing::Test
{
protected:
    JobTest();
    ~JobTest() override;

    static JobPtr NewJob(int iRequestType = RequestDocument, QorUserSession* iSession = nullptr,
                         QBase::Buffer* iBuffer = nullptr);
    /// A job with the steps of `iTodo`, in the status given; what that logged is taken.
    JobPtr NewJobWith(const std::string& iTodo, int iStatus = JobReady);

    /// "3 5@7 39!7 2": ids; with `@` the unit in which cSomeThread has started the step, with `!` a unit without a
    /// thread; `-` is an entry without a step.
    static void Queue(QORJob& ioJob, const std::string& iTodo);
    static void SetStatus(QORJob& ioJob, int iStatus);
    /// The queued ids in their order. They are finished ones afterwards.
    Texts DrainTodo(QORJob& ioJob);
    /// The finished ids, newest first, up to a closing step. The job waits afterwards.
    Texts ReadFinished(QORJob& ioJob);

    LogCapture mLog;
};

/// "3 5 2" as {"3", "5", "2"}.
Texts Split(const std::string& iText);
QDataType::DateTime TimeOf(int iMilliseconds);
QDataType::DateTime StartTimeOf(const QORJobStep& iStep);
QDataType::DateTime FinishTimeOf(const QORJobStep& iStep);
