#include "platform/builtin/EventTrace.h"

#include "platform/LogReference.h"
#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/QLog.h"
#include "platform/QPerfMon.h"
#include "platform/QSynch.h"
#include "platform/ThreadTimes.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

TEST(EventTraces, TellEachCallAcrossThePlatformInOrder)
{
    const unsigned profile = QPerfMon::GetProfileIndex("traced");
    const std::string index = std::to_string(profile);
    QORObjectInstanceCount* const count = QORObjectInstanceCount::GetObjectInstanceCount();
    PerfReadings::EnableProfiling(true);
    FILETIME kernel{};
    FILETIME user{};

    EventTrace::Start();
    QSynch::DestroyCriticalSection(QSynch::CreateCriticalSection(4));
    QSynch::DestroyRWLock(QSynch::CreateRWLock(5));
    QBase::Buffer* const buffer = QBase::CreateBuffer(100, 2, 64, true);
    buffer->Register();
    buffer->Destroy();
    buffer->Free();
    QPerfMon::GetPerformanceMonitor()->Add(7, -1);
    count->IncreaseObjectInstanceCount(1);
    count->CreateObjectInstance(2, &index);
    count->DeleteObjectInstance(2, &index);
    count->DecreaseObjectInstanceCount(1);
    QPerfMon::GetProfileIndex("traced");
    QORProfileAgent* const agent = QPerfMon::CreateQORProfileAgent(static_cast<int>(profile));
    QPerfMon::StartProfileAgent(agent);
    QPerfMon::EndProfileAgent(agent);
    QPerfMon::GetQORProfiler()->AddElapsedTime(profile, 250);
    QPerfMon::GetQORProfiler()->AddCount(profile, 3);
    LogReference(&index, 1, ReferenceKindProcessContext);
    QLog::CreateRouter("Kernel", "Traced", 6);
    PULSE_RecordPulseEvent(1, 2, PulseCategoryJobFirst, 0, 0);
    QDataType::DateTime::NowUTC();
    GetCurrentThreadTimes(&kernel, &user);
    const std::vector<std::string> calls = EventTrace::Stop();

    QBase::HeapFree(agent);
    PerfReadings::EnableProfiling(false);
    const std::vector<std::string> expected{
        "QSynch::CreateCriticalSection 4",
        "QSynch::DestroyCriticalSection 4",
        "QSynch::CreateRWLock 5",
        "QSynch::DestroyRWLock 5",
        "QBase::CreateBuffer 100 2 64 1",
        "QBase::Buffer::Register",
        "QBase::Buffer::Destroy",
        "QBase::Buffer::Free",
        "QPerfMon::PerformanceMonitor::Add 7 -1",
        "QORObjectInstanceCount::IncreaseObjectInstanceCount 1",
        "QORObjectInstanceCount::CreateObjectInstance 2",
        "QORObjectInstanceCount::DeleteObjectInstance 2",
        "QORObjectInstanceCount::DecreaseObjectInstanceCount 1",
        "QPerfMon::GetProfileIndex " + index,
        "QPerfMon::CreateQORProfileAgent " + index,
        "QPerfMon::StartProfileAgent " + index,
        "QPerfMon::EndProfileAgent " + index,
        "QPerfMon::QORProfiler::AddElapsedTime " + index + " 250",
        "QPerfMon::QORProfiler::AddCount " + index + " 3",
        "LogReference 1 4",
        "QLog::CreateRouter 6",
        "PULSE_RecordPulseEvent 1 2 406",
        "QDataType::DateTime::NowUTC",
        "GetCurrentThreadTimes",
    };
    EXPECT_EQ(calls, expected);
}

TEST(EventTraces, HoldNothingFromBeforeOrAfter)
{
    EventTrace::Note("before");
    EventTrace::Start();
    EventTrace::Note("dropped by the next start");
    EventTrace::Start();
    EventTrace::Note("kept", {1, -2});
    EXPECT_EQ(EventTrace::Stop(), std::vector<std::string>{"kept 1 -2"});
    EventTrace::Note("after");
    EXPECT_TRUE(EventTrace::Stop().empty());
}

TEST(EventTraces, TakeTheCallsOfAllThreads)
{
    EventTrace::Start();
    RunOnThreads(4, [](int iIndex) {
        for (int i = 0; i < 100; ++i)
            EventTrace::Note("call", {iIndex});
    });
    const std::vector<std::string> calls = EventTrace::Stop();
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "call " + std::to_string(i)), 100);
}
