#include "platform/QBase.h"

#include "platform/builtin/Faults.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <set>
#include <string>

#if defined(__linux__)
#include <unistd.h>
#endif

using Faults::EnumFault;

TEST(Heap, GivesAnEmptyBlockAnAddress)
{
    void* const block = QBase::HeapAllocate(0);
    EXPECT_NE(block, nullptr);
    QBase::HeapFree(block);
    QBase::HeapFree(nullptr);
}

TEST(Heap, AsMemoryResourceKeepsEveryAlignmentAndLosesNothing)
{
    Faults::StartCountingBlocks();
    for (std::size_t alignment = 1; alignment <= 4096; alignment *= 2)
    {
        void* const memory = QBase::DefaultHeap()->allocate(100, alignment);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignment, 0u);
        QBase::DefaultHeap()->deallocate(memory, 100, alignment);
    }
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST(Heap, AsMemoryResourceThrowsWithoutMemory)
{
    for (const std::size_t alignment : {8, 256})
    {
        Faults::FailNth(EnumFault::Allocation, 1);
        EXPECT_THROW(static_cast<void>(QBase::DefaultHeap()->allocate(8, alignment)), std::bad_alloc) << alignment;
    }
}

TEST(FaultsOnPurpose, FailTheNthCallOnce)
{
    Faults::FailNth(EnumFault::Allocation, 3);
    for (const bool bGiven : {true, true, false, true, true})
    {
        void* const block = QBase::HeapAllocate(8);
        EXPECT_EQ(block != nullptr, bGiven);
        QBase::HeapFree(block);
    }
}

TEST(FaultsOnPurpose, CanBeTakenBack)
{
    Faults::FailNth(EnumFault::Allocation, 1);
    Faults::FailNth(EnumFault::Allocation, 0);
    void* const block = QBase::HeapAllocate(8);
    EXPECT_NE(block, nullptr);
    QBase::HeapFree(block);
}

TEST(FaultsOnPurpose, HitOneThreadOnly)
{
    std::atomic<int> failures{0};
    Faults::FailNth(EnumFault::Allocation, 1000);
    RunOnThreads(4, [&](int) {
        for (int i = 0; i < 1000; ++i)
        {
            void* const block = QBase::HeapAllocate(8);
            failures += block == nullptr ? 1 : 0;
            QBase::HeapFree(block);
        }
    });
    EXPECT_EQ(failures, 1);
}

TEST(FaultsOnPurpose, CountOnlyTheBlocksTakenSinceTheStart)
{
    void* const old = QBase::HeapAllocate(8);
    Faults::StartCountingBlocks();
    void* const lost = QBase::HeapAllocate(8);
    QBase::HeapFree(QBase::HeapAllocate(8));
    QBase::HeapFree(old); // must not make up for the lost one
    EXPECT_EQ(Faults::StopCountingBlocks(), 1);
    QBase::HeapFree(lost);
}

TEST(CountedPointer, TakesTheNewReferenceBeforeItDropsTheOldOne)
{
    struct Object
    {
        int mReferences = 0;
        bool mbGone = false;
        void AddRef()
        {
            EXPECT_FALSE(mbGone);
            ++mReferences;
        }
        void Release() { mbGone = --mReferences == 0; }
    };

    Object object;
    QBase::PtrI<Object> pointer(&object);
    pointer = QBase::PtrI<Object>(pointer.Get());
    const QBase::PtrI<Object>& same = pointer;
    pointer = same;
    EXPECT_EQ(object.mReferences, 1);

    QBase::PtrI<Object> other = std::move(pointer);
    EXPECT_FALSE(pointer); // NOLINT(bugprone-use-after-move): that it is empty is the point
    QBase::PtrI<Object> adopted = QBase::PtrI<Object>::Adopt(other.Detach());
    EXPECT_EQ(object.mReferences, 1);
    adopted = {};
    EXPECT_TRUE(object.mbGone);
}

TEST(ThreadId, IsTheThreadsOwnAndStays)
{
    const DWORD own = QBase::GetCurrentThreadID();
    EXPECT_NE(own, 0u);
    EXPECT_EQ(QBase::GetCurrentThreadID(), own);
#if defined(__linux__)
    EXPECT_EQ(own, static_cast<DWORD>(gettid()));
#endif
    DWORD ids[4];
    RunOnThreads(4, [&](int iIndex) {
        ids[iIndex] = QBase::GetCurrentThreadID();
        EXPECT_EQ(QBase::GetCurrentThreadID(), ids[iIndex]);
    });
    EXPECT_EQ(std::set<DWORD>(std::begin(ids), std::end(ids)).count(own), 0u);
}

TEST(Conversion, KeepsWellFormedTextBothWays)
{
    const struct
    {
        const char* mpNarrow;
        const WCHAR* mpWide;
    } rows[] = {
        {"", W("")},
        {"plain", W("plain")},
        {"\x7F|\xC2\x80", W("\x7F|\x80")},
        {"\xDF\xBF|\xE0\xA0\x80", W("\u07FF|\u0800")},
        {"Gr\xC3\xB6\xC3\x9Fter", W("Gr\u00F6\u00DFter")},
        {"\xED\x9F\xBF|\xEE\x80\x80|\xEF\xBF\xBF", W("\uD7FF|\uE000|\uFFFF")},
        {"\xF0\x90\x80\x80|\xF4\x8F\xBF\xBF", W("\U00010000|\U0010FFFF")},
    };
    for (const auto& row : rows)
    {
        EXPECT_TRUE(QBase::UTF8ToWideChar(row.mpNarrow) == row.mpWide) << row.mpNarrow;
        EXPECT_EQ(QBase::WideCharToUTF8(row.mpWide), row.mpNarrow);
    }
    const std::string inner("a\0b", 3);
    EXPECT_EQ(QBase::WideCharToUTF8(QBase::UTF8ToWideChar(inner)), inner);
}

TEST(Conversion, ReplacesMalformedUTF8)
{
    const struct
    {
        const char* mpNarrow;
        const WCHAR* mpWide;
    } rows[] = {
        {"a\x80z", W("a\uFFFDz")},                              // a tail without a lead
        {"\xC3", W("\uFFFD")},                                  // cut off
        {"\xE2\x82", W("\uFFFD")},                              // cut off later: one character all the same
        {"\xE2\x82z", W("\uFFFDz")},                            // what follows survives
        {"\xC0\xAF", W("\uFFFD\uFFFD")},                        // overlong
        {"\xE0\x80\x80", W("\uFFFD\uFFFD\uFFFD")},              // overlong
        {"\xED\xA0\x80", W("\uFFFD\uFFFD\uFFFD")},              // a surrogate
        {"\xF4\x90\x80\x80", W("\uFFFD\uFFFD\uFFFD\uFFFD")},    // above U+10FFFF
        {"\xF5\xFF", W("\uFFFD\uFFFD")},                        // never a byte of UTF-8
        {"\xF0\x9F\x98\xF0\x9F\x98\x80", W("\uFFFD\U0001F600")} // a lead where a tail should be
    };
    for (const auto& row : rows)
        EXPECT_TRUE(QBase::UTF8ToWideChar(row.mpNarrow) == row.mpWide) << testing::PrintToString(row.mpNarrow);
}

TEST(Conversion, ReplacesLoneSurrogates)
{
    const WCHAR high = 0xD83D;
    const WCHAR low = 0xDE00;
    const char* const replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(QBase::WideCharToUTF8({&high, 1}), replacement);
    EXPECT_EQ(QBase::WideCharToUTF8({&low, 1}), replacement);
    const WCHAR twisted[] = {low, high, 'z'};
    EXPECT_EQ(QBase::WideCharToUTF8({twisted, 3}), std::string(replacement) + replacement + "z");
}

TEST(Conversion, WritesAGuidInItsUsualForm)
{
    const GUID guid{0x73BA6E85, 0x6A88, 0x11D1, {0xA7, 0x7F, 0x00, 0xA0, 0x24, 0xD1, 0xC4, 0x09}};
    EXPECT_EQ(QBase::ToString(guid), "{73BA6E85-6A88-11D1-A77F-00A024D1C409}");
    EXPECT_EQ(QBase::ToString(IID_IUnknown), "{00000000-0000-0000-C000-000000000046}");
}
