// The records of steps and of visits to processing units, above all what is saved of them.
#include "job/QORJobStep.h"

#include "job/QORJobPUInfo.h"
#include "job/QORJobProcessingStep.h"
#include "platform/QBase.h"
#include "tests/support/JobTest.h"

#include <cstring>
#include <memory>
#include <string_view>

namespace
{

class StepRecord : public JobTest
{
};

class VisitRecord : public JobTest
{
};

using Bytes = std::vector<signed char>;

/// The low bytes of a number, little-endian.
void Append(Bytes& ioBytes, std::uint64_t iNumber, int iCount)
{
    for (int i = 0; i < iCount; ++i)
        ioBytes.push_back(static_cast<signed char>(iNumber >> (8 * i) & 0xFF));
}

void Append(Bytes& ioBytes, QDataType::DateTime iTime)
{
    Append(ioBytes, static_cast<std::uint64_t>(iTime.GetTicks()), 8);
}

/// Saves into a buffer of just the size that is asked for, and sees a shorter one refused.
template <class Record>
Bytes Save(const Record& iRecord)
{
    unsigned size = 0;
    EXPECT_EQ(iRecord.GetSaveObjSize(nullptr), static_cast<ULONG>(E_POINTER));
    EXPECT_EQ(iRecord.GetSaveObjSize(&size), 0u);
    Bytes bytes(size, 0x55);
    unsigned needed = 0;
    EXPECT_EQ(iRecord.SaveObj(1, size, bytes.data(), nullptr), static_cast<ULONG>(E_POINTER));
    EXPECT_EQ(iRecord.SaveObj(1, size - 1, bytes.data(), &needed), 1u);
    EXPECT_EQ(needed, size);
    EXPECT_EQ(bytes, Bytes(size, 0x55)) << "a short buffer was written to";
    needed = 0;
    EXPECT_EQ(iRecord.SaveObj(99, size, bytes.data(), &needed), 0u);
    EXPECT_EQ(needed, size);
    return bytes;
}

/// A step with something in every field.
QORJobStep FullStep()
{
    QORJobStep step(StepNoOp);
    step.SetStartTime(TimeOf(1));
    step.SetFinishTime(TimeOf(2));
    step.SetPUId(-3);
    step.SetPUPriority(6);
    step.SetThreadId(0xFEDCBA98);
    step.SetChapterKey(W("K1"));
    Settings::SetThreadTimes(1000, 2000);
    step.SetTaskCPUTime({400, 0}, {300, 0});
    Settings::ReleaseThreadTimes();
    return step;
}

double CPUTimeOf(const QORJobStep& iStep)
{
    double time = -1;
    EXPECT_EQ(iStep.GetTaskCPUTime(&time), S_OK);
    return time;
}

/// All that can be read, as a text.
std::string Show(const QORJobStep& iStep)
{
    int id = 0;
    int unit = 0;
    int priority = 0;
    DWORD thread = 0;
    EXPECT_EQ(iStep.GetId(&id), S_OK);
    EXPECT_EQ(iStep.GetPUId(&unit), S_OK);
    EXPECT_EQ(iStep.GetPUPriority(&priority), S_OK);
    EXPECT_EQ(iStep.GetThreadId(&thread), S_OK);
    const auto ticks = [](QDataType::DateTime iTime) {
        return std::to_string(iTime == QDataType::DateTime(0.0) ? 0 : (iTime - TimeOf(0)).GetTotalMilliseconds());
    };
    return std::to_string(id) + " " + ticks(StartTimeOf(iStep)) + "-" + ticks(FinishTimeOf(iStep)) + " pu " +
           std::to_string(unit) + "/" + std::to_string(priority) + " thread " + std::to_string(thread) + " cpu " +
           std::to_string(static_cast<int>(CPUTimeOf(iStep))) + " '" + QBase::WideCharToUTF8(iStep.GetChapterKey()) +
           "'";
}

} // namespace

TEST_F(StepRecord, CopiesAllButItsProcessorTime)
{
    const QORJobStep step = FullStep();
    EXPECT_EQ(Show(step), "39 1-2 pu -3/6 thread 4275878552 cpu 2300 'K1'");
    QORJobStep other(step);
    EXPECT_EQ(Show(other), "39 1-2 pu -3/6 thread 4275878552 cpu 0 'K1'");
    other = step;
    EXPECT_EQ(Show(other), Show(step)) << "assignment takes the processor time along";

    QORJobStep* clone = nullptr;
    EXPECT_EQ(step.Clone(&clone), S_OK);
    EXPECT_EQ(Show(*clone), "39 0-0 pu -1/0 thread 0 cpu 0 ''");
    delete clone;
    EXPECT_EQ(step.Clone(nullptr), E_POINTER);
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(step.Clone(&clone), S_OK);
    EXPECT_EQ(clone, nullptr);
}

TEST_F(StepRecord, CountsProcessorTimeInTheLowHalvesOnly)
{
    struct Case
    {
        std::uint64_t mKernelNow;
        std::uint64_t mUserNow;
        FILETIME mKernelAtStart;
        FILETIME mUserAtStart;
        double mExpected;
    };
    for (const Case& each :
         {Case{70, 900, {20, 0}, {400, 0}, 550}, Case{0x100000005, 3, {0xFFFFFFFF, 0}, {1, 7}, 8},
          Case{0x200000000, 0x500000000, {0, 0}, {0, 0}, 0}, Case{0xFFFFFFFF, 0, {0, 0}, {0, 0}, 4294967295.0},
          Case{5, 5, {6, 0}, {5, 0}, 4294967295.0}})
    {
        QORJobStep step(4);
        Settings::SetThreadTimes(each.mKernelNow, each.mUserNow);
        EXPECT_EQ(step.SetTaskCPUTime(each.mKernelAtStart, each.mUserAtStart), S_OK);
        EXPECT_EQ(CPUTimeOf(step), each.mExpected);
        Settings::FailThreadTimes();
        EXPECT_EQ(step.SetTaskCPUTime({0, 0}, {0, 0}), E_FAIL);
        EXPECT_EQ(CPUTimeOf(step), each.mExpected);
    }
}

TEST_F(StepRecord, IsSavedByteByByte)
{
    QORJobStep step = FullStep();
    step.SetChapterKey(W("a long key"));
    step.SetChapterKey(W("K\x1234")); // the record carries what stands behind the end of the text too
    Bytes expected;
    Append(expected, TimeOf(1));
    Append(expected, TimeOf(2));
    Append(expected, 39, 4);
    Append(expected, 0xFFFFFFFD, 4);
    Append(expected, 0xFEDCBA98, 4);
    for (const WCHAR unit : std::basic_string_view<WCHAR>(W("K\x1234\0ong key"), 10))
        Append(expected, unit, 2);
    expected.resize(2 * 8 + 94, 0);
    const Bytes saved = Save(step);
    EXPECT_EQ(saved, expected);

    QORJobStep loaded(7);
    loaded.SetPUPriority(8);
    Settings::SetThreadTimes(0, 5);
    loaded.SetTaskCPUTime({0, 0}, {0, 0});
    EXPECT_EQ(loaded.LoadObj(5, saved.data()), 0u);
    EXPECT_EQ(Show(loaded), "39 1-2 pu -3/8 thread 4275878552 cpu 5 'K\xE1\x88\xB4'");
    EXPECT_EQ(Save(loaded), saved);
    loaded.SetChapterKey(QBase::wstring(60, W('k')).c_str());
    EXPECT_EQ(std::basic_string_view<WCHAR>(loaded.GetChapterKey()).size(), 40u) << "a long key is cut";
    loaded.InitChapterKey();
    expected.resize(28);
    expected.resize(110, 0);
    EXPECT_EQ(Save(loaded), expected);
}

TEST_F(StepRecord, KnowsTheNamesOfTheTable)
{
    const auto nameOf = [](int iId) { return QBase::WideCharToUTF8(GetStepName(iId)); };
    EXPECT_EQ(nameOf(0), "Done step");
    EXPECT_EQ(nameOf(31), "Proces Report With Prompt after SQL Engine Step");
    EXPECT_EQ(nameOf(39), "no op");
    EXPECT_EQ(nameOf(40), nameOf(-1));
}

TEST_F(VisitRecord, IsSavedWithTheExitBeforeTheStart)
{
    QORJobPUInfo visit(0x01020304);
    Settings::SetClock(TimeOf(1));
    visit.SetEnterTime();
    Settings::SetClock(TimeOf(2));
    visit.SetStartTime();
    Settings::SetClock(TimeOf(3));
    visit.SetExitTime();
    Bytes expected;
    Append(expected, TimeOf(1));
    Append(expected, TimeOf(3));
    Append(expected, TimeOf(2));
    Append(expected, 0x01020304, 4);
    EXPECT_EQ(Save(visit), expected);
    EXPECT_EQ(Save(QORJobPUInfo(visit)), expected);

    QORJobPUInfo loaded(9);
    EXPECT_EQ(loaded.LoadObj(0, expected.data()), 0u);
    EXPECT_EQ(Save(loaded), expected);
    loaded.SetEnterTime(TimeOf(7));
    loaded.SetStartTime(TimeOf(8));
    loaded.SetExitTime(TimeOf(9));
    EXPECT_NE(Save(loaded), expected);
}
