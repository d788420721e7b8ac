// Tests of the records of steps and of visits to processing units, above all of their saved form.
#include "record/QORJobPUInfo.h"
#include "record/QORJobProcessingStep.h"
#include "tests/support/JobTest.h"

#include <string_view>
#include <tuple>

namespace
{

using JobRecord = JobTest;
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

/// Saves into a buffer of the required size, and checks that a shorter one is refused.
template <class Record>
Bytes Save(const Record& iRecord)
{
    unsigned size = 0;
    EXPECT_EQ(iRecord.GetSaveObjSize(nullptr), static_cast<DWORD>(E_POINTER));
    EXPECT_EQ(iRecord.GetSaveObjSize(&size), 0u);
    Bytes bytes(size, 0x55);
    unsigned needed = 0;
    EXPECT_EQ(iRecord.SaveObj(1, size, bytes.data(), nullptr), static_cast<DWORD>(E_POINTER));
    EXPECT_EQ(iRecord.SaveObj(1, size - 1, bytes.data(), &needed), 1u);
    EXPECT_EQ(iRecord.SaveObj(1, size, nullptr, &needed), static_cast<DWORD>(E_POINTER));
    EXPECT_EQ(needed, size);
    EXPECT_EQ(bytes, Bytes(size, 0x55)) << "a short buffer was written to";
    EXPECT_EQ(iRecord.SaveObj(99, size, bytes.data(), &needed), 0u);
    return bytes;
}

/// A step with a value in every field.
QORJobStep FullStep()
{
    QORJobStep step(StepNoOp);
    step.SetStartTime(TimeOf(1));
    step.SetFinishTime(TimeOf(2));
    step.SetPUId(-3);
    step.SetPUPriority(6);
    step.SetThreadId(0xFEDCBA98);
    step.SetChapterKey(QORJOB_W("K1"));
    Builtin::Settings::SetThreadTimes(1000, 2000);
    step.SetTaskCPUTime({400, 0}, {300, 0});
    Builtin::Settings::ReleaseThreadTimes();
    return step;
}

} // namespace

// People search logs for these names, and programs read them: one that changes is noticed here.
TEST(StepNames, AreThoseOnRecord)
{
    std::uint32_t digest = 0x811C9DC5; // FNV-1a
    for (int step = -1; step <= StepNoOp + 1; ++step)
        for (const char character : QBase::WideCharToUTF8(GetStepName(step)) + '\n')
            digest = (digest ^ static_cast<unsigned char>(character)) * 0x01000193;
    EXPECT_EQ(digest, 0x11C5B6DEu);
}

TEST_F(JobRecord, OfAStepIsCopiedWithoutItsProcessorTime)
{
    const QORJobStep step = FullStep();
    EXPECT_EQ(Read(step, &QORJobStep::GetTaskCPUTime), 2300);
    QORJobStep other(step);
    EXPECT_EQ(Save(other), Save(step));
    EXPECT_EQ(Read(other, &QORJobStep::GetPUPriority), 6); // isn't saved
    EXPECT_EQ(Read(other, &QORJobStep::GetTaskCPUTime), 0);
    other = step;
    EXPECT_EQ(Read(other, &QORJobStep::GetTaskCPUTime), 2300) << "assignment takes the processor time along";
    const QORJobStep& itself = other;
    other = itself;
    EXPECT_EQ(Save(other), Save(step));

    const QORJobStepPtr onHeap(QORJobStep::NewStep(StepNoOp, nullptr));
    EXPECT_EQ(Save(*onHeap), Save(QORJobStep(StepNoOp)));
    EXPECT_EQ(step.Clone(nullptr), E_POINTER);
    QORJobStep* clone = nullptr;
    EXPECT_EQ(step.Clone(&clone), S_OK);
    EXPECT_EQ(Save(*clone), Save(QORJobStep(StepNoOp)));
    delete clone;
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(step.Clone(&clone), S_OK);
    EXPECT_EQ(clone, nullptr);
    QBase::Buffer* const buffer = NewBuffer(0);
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(QORJobStep::NewStep(StepNoOp, buffer), nullptr);
    buffer->Destroy();
}

TEST_F(JobRecord, OfAStepCountsProcessorTimeInTheLowHalvesOnly)
{
    // Kernel and user time now, then at the start.
    const std::tuple<std::uint64_t, std::uint64_t, FILETIME, FILETIME, double> cCases[] = {
        {70, 900, {20, 0}, {400, 0}, 550},
        {0x100000005, 3, {0xFFFFFFFF, 0}, {1, 7}, 8},
        {0x200000000, 0x500000000, {0, 0}, {0, 0}, 0},
        {5, 5, {6, 0}, {5, 0}, 4294967295.0}};
    for (const auto& [kernel, user, kernelAtStart, userAtStart, expected] : cCases)
    {
        QORJobStep step(4);
        Builtin::Settings::SetThreadTimes(kernel, user);
        EXPECT_EQ(step.SetTaskCPUTime(kernelAtStart, userAtStart), S_OK);
        Builtin::Settings::FailThreadTimes();
        EXPECT_EQ(step.SetTaskCPUTime({0, 0}, {0, 0}), E_FAIL);
        EXPECT_EQ(Read(step, &QORJobStep::GetTaskCPUTime), expected);
    }
}

TEST_F(JobRecord, OfAStepIsSavedByteByByte)
{
    QORJobStep step = FullStep();
    step.SetChapterKey(QORJOB_W("a long key"));
    step.SetChapterKey(QORJOB_W("K\x1234")); // the record has the units behind the end of the text, too
    Bytes expected;
    Append(expected, TimeOf(1));
    Append(expected, TimeOf(2));
    Append(expected, 39, 4);
    Append(expected, 0xFFFFFFFD, 4);
    Append(expected, 0xFEDCBA98, 4);
    for (const QBase::WCHAR unit : std::basic_string_view<QBase::WCHAR>(QORJOB_W("K\x1234\0ong key"), 10))
        Append(expected, unit, 2);
    expected.resize(2 * 8 + 94, 0);
    const Bytes saved = Save(step);
    EXPECT_EQ(saved, expected);

    QORJobStep loaded(7);
    loaded.SetPUPriority(8);
    EXPECT_EQ(loaded.LoadObj(5, saved.data()), 0u);
    EXPECT_EQ(Read(loaded, &QORJobStep::GetPUPriority), 8) << "isn't saved";
    EXPECT_EQ(Save(loaded), saved);
    Bytes damaged = saved;
    std::fill(damaged.end() - 82, damaged.end(), static_cast<signed char>('k')); // a key without a terminating zero
    EXPECT_EQ(loaded.LoadObj(5, damaged.data()), 0u);
    EXPECT_EQ(std::basic_string_view<QBase::WCHAR>(loaded.GetChapterKey()).size(), 40u);
    loaded.SetChapterKey(nullptr);
    EXPECT_EQ(loaded.GetChapterKey()[0], 0);
    EXPECT_EQ(loaded.GetChapterKey()[1], 0x6B6B) << "behind the zero the key stays";
    loaded.InitChapterKey();
    EXPECT_EQ(loaded.GetChapterKey()[1], 0);
    loaded.SetChapterKey(QBase::wstring(60, QORJOB_W('k')).c_str());
    EXPECT_EQ(std::basic_string_view<QBase::WCHAR>(loaded.GetChapterKey()).size(), 40u) << "a long key is cut";
}

TEST_F(JobRecord, OfAVisitHasTheExitBeforeTheStart)
{
    QORJobPUInfo visit(0x01020304);
    visit.SetEnterTime(TimeOf(1));
    visit.SetStartTime(TimeOf(2));
    Builtin::Settings::SetClock(TimeOf(3));
    visit.SetExitTime();
    Bytes expected;
    for (const int time : {1, 3, 2})
        Append(expected, TimeOf(time));
    Append(expected, 0x01020304, 4);
    EXPECT_EQ(Save(visit), expected);
    EXPECT_EQ(Save(QORJobPUInfo(visit)), expected);
    QORJobPUInfo loaded(9);
    EXPECT_EQ(loaded.LoadObj(0, expected.data()), 0u);
    EXPECT_EQ(Save(loaded), expected);
}
