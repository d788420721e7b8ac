// Jobs and hosts for tests of the host.
#pragma once

#include "platform/builtin/LogSinks.h"
#include "qorhost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace HostTest
{

using namespace std::chrono_literals;

/// A wait that a sound host never has to the end.
inline constexpr auto cLong = 30s;

/// The steps of most jobs here: two of work, and closing.
inline constexpr QORJobProcessingStep cFirst = StepSQLGeneration;
inline constexpr QORJobProcessingStep cSecond = StepQueryExecution;

/// With a process context and a request in it, so that its errors are kept.
inline QBase::PtrI<QORJob> MakeJob(int iId, std::initializer_list<QORJobProcessingStep> iSteps,
                                   int iRequestType = RequestDocument, int iPriority = 5)
{
    QBase::PtrI<CKDXProcessContext> context;
    EXPECT_EQ(CreateProcessContext(context), S_OK);
    EXPECT_EQ(context->SetRequestIn(0, QMessage::NewReadMessage(nullptr, 0).Get(), nullptr, nullptr, GUID_NULL), S_OK);
    QBase::PtrI<QORJob> job(QORJob::NewJob(iId, iRequestType, iPriority, nullptr, nullptr));
    EXPECT_EQ(job->SetProcessContext(context.Get()), S_OK);
    for (const QORJobProcessingStep step : iSteps)
        EXPECT_EQ(job->AddStep(new QORJobStep(step), nullptr), S_OK);
    return job;
}

template <class Condition>
void WaitWhile(Condition iCondition)
{
    const auto end = std::chrono::steady_clock::now() + cLong;
    while (iCondition())
    {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << "it took too long";
        std::this_thread::yield();
    }
}

/// Opened once; who comes before waits.
class Gate
{
public:
    void Open()
    {
        const std::lock_guard hold(mMutex); // until the end: who has waited may destroy the gate
        mbOpen = true;
        mOpened.notify_all();
    }

    bool IsOpen() const
    {
        const std::lock_guard hold(mMutex);
        return mbOpen;
    }

    /// False when that took too long.
    bool Wait()
    {
        std::unique_lock hold(mMutex);
        return mOpened.wait_for(hold, cLong, [this] { return mbOpen; });
    }

private:
    mutable std::mutex mMutex;
    std::condition_variable mOpened;
    bool mbOpen = false;
};

/// What happened, in its order.
class Journal
{
public:
    void Add(const std::string& iEvent)
    {
        const std::lock_guard hold(mMutex);
        mEvents.push_back(iEvent);
    }

    std::vector<std::string> Get() const
    {
        const std::lock_guard hold(mMutex);
        return mEvents;
    }

private:
    mutable std::mutex mMutex;
    std::vector<std::string> mEvents;
};

/// What the host logs while this lives.
class Logged
{
public:
    Logged() : mSink(Builtin::LogSinks::AddSink([this](const auto& iLine) { mLines.Add(iLine.mText); }))
    {
        Enable(true);
    }
    ~Logged()
    {
        Enable(false);
        Builtin::LogSinks::RemoveSink(mSink);
    }
    Logged(const Logged&) = delete;
    Logged& operator=(const Logged&) = delete;

    std::vector<std::string> Get() const { return mLines.Get(); }

private:
    static void Enable(bool ibOn)
    {
        for (const char* router : {"Error", "Warning", "Info"})
            Builtin::LogSinks::Enable("Host", router, ibOn);
    }

    Journal mLines;
    const int mSink;
};

} // namespace HostTest
