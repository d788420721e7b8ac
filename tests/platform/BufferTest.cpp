#include "platform/QBase.h"
#include "platform/builtin/Faults.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

using Builtin::Faults::EnumFault;

namespace
{

using Requests = std::vector<std::pair<std::size_t, std::size_t>>; // bytes, alignment

// Fills each piece with its own number and reads all back at the end: overlaps show, and the sanitizers see overruns.
void UseAll(QBase::Buffer& ioBuffer, const Requests& iRequests)
{
    std::vector<unsigned char*> pieces;
    for (const auto& [bytes, alignment] : iRequests)
    {
        pieces.push_back(static_cast<unsigned char*>(ioBuffer.TryAllocate(bytes, alignment)));
        ASSERT_NE(pieces.back(), nullptr);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(pieces.back()) % alignment, 0u);
        std::memset(pieces.back(), static_cast<unsigned char>(pieces.size()), bytes);
    }
    for (std::size_t i = 0; i < pieces.size(); ++i)
        for (std::size_t byte = 0; byte < iRequests[i].first; ++byte)
            ASSERT_EQ(pieces[i][byte], static_cast<unsigned char>(i + 1)) << "piece " << i;
}

Requests MakeRequests(unsigned iSeed)
{
    std::mt19937 random(iSeed);
    Requests requests(random() % 60 + 1);
    for (auto& [bytes, alignment] : requests)
    {
        bytes = random() % (random() % 8 == 0 ? 3000 : 100) + 1;
        alignment = std::size_t{1} << (random() % 5);
    }
    return requests;
}

} // namespace

TEST(Buffer, HandsOutAlignedPiecesThatDoNotOverlap)
{
    const Requests wide{{1, 1}, {8, 64}, {1, 1}, {200, 256}, {3, 2}, {5000, 4096}, {1, 128}, {64, 64}};
    for (unsigned seed = 0; seed < 50; ++seed)
    {
        QBase::Buffer* const buffer = QBase::CreateBuffer(seed * 10, seed % 4, seed * 7, false);
        UseAll(*buffer, wide);
        UseAll(*buffer, MakeRequests(seed));
        buffer->Destroy();
    }
}

TEST(Buffer, ReusedForTheSameUseNeedsNoNewHeapBlock)
{
    for (unsigned seed = 0; seed < 200; ++seed)
    {
        SCOPED_TRACE(seed);
        QBase::Buffer* const buffer = QBase::CreateBuffer(seed % 3 == 0 ? 0 : seed * 8, 2, 128, true);
        // The second use is another one, so that the third meets chunks that were kept and merged.
        UseAll(*buffer, MakeRequests(seed));
        buffer->Destroy();
        UseAll(*buffer, MakeRequests(seed + 1000));
        buffer->Destroy();

        Builtin::Faults::StartCountingBlocks();
        UseAll(*buffer, MakeRequests(seed + 1000));
        EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
        buffer->Free();
    }
}

TEST(Buffer, TakesLargerChunksFromTheHeapTheMoreItIsUsed)
{
    QBase::Buffer* const buffer = QBase::CreateBuffer(0, 2, 64, true);
    buffer->Destroy(); // unused so far
    Builtin::Faults::StartCountingBlocks();
    UseAll(*buffer, {{64, 1}, {100, 1}, {20, 1}, {250, 1}, {6, 1}});
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 3) << "of 64, 128 and 256 bytes";
    buffer->Free();
}

TEST(Buffer, ServesThreadsThatTakeOfItAtOnce)
{
    for (unsigned round = 0; round < 60; ++round)
    {
        // Chunks of all sizes, and in every other round those that the round before has left.
        QBase::Buffer* const buffer = QBase::CreateBuffer(round * 50, 1 + round % 2, 64 << round % 8, true);
        for (int use = 0; use < 2; ++use)
        {
            RunOnThreads(4, [&](int iIndex) {
                buffer->Register();
                for (unsigned set = 0; set < 4; ++set)
                    UseAll(*buffer, MakeRequests(round * 16 + set * 4 + static_cast<unsigned>(iIndex)));
            });
            void* const last = buffer->TryAllocate(1);
            RunOnThreads(4, [&](int) { buffer->Destroy(); });
            EXPECT_NE(buffer->TryAllocate(1), last) << "not rewound";
        }
        buffer->Free();
    }
}

TEST(Buffer, StaysUntilTheLastRegistrationEnds)
{
    Builtin::Faults::StartCountingBlocks();
    QBase::Buffer* const buffer = QBase::CreateBuffer(64, 2, 64, true); // counts anew in each use
    void* const first = buffer->TryAllocate(1);
    for (int use = 0; use < 3; ++use)
    {
        buffer->Register();
        buffer->Register();
        buffer->Destroy();
        EXPECT_NE(buffer->TryAllocate(1), first) << "rewound too early";
        buffer->Destroy();
        EXPECT_EQ(buffer->TryAllocate(1), first);
    }
    buffer->Free();
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
}

TEST(Buffer, WithoutMemoryGivesNullOrThrowsAndGoesOnAfterwards)
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(QBase::CreateBuffer(most, 2, 64, false), nullptr);
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(QBase::CreateBuffer(64, 2, 64, false), nullptr);

    QBase::Buffer* buffer = QBase::CreateBuffer(64, 2, 64, false);
    for (const std::size_t bytes : {most, most - 8, most - 64, most / 2 + 1})
        EXPECT_EQ(buffer->TryAllocate(bytes, 16), nullptr) << bytes;
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(buffer->TryAllocate(8), nullptr);
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_THROW(static_cast<void>(buffer->allocate(8)), std::bad_alloc);
    Builtin::Faults::FailNth(EnumFault::Allocation, 2); // the arena's own turn is the first, its chunk's the second
    EXPECT_EQ(buffer->TryAllocate(100), nullptr);
    UseAll(*buffer, {{40, 1}, {100, 8}, {20, 1}});
    buffer->Destroy();

    buffer = QBase::CreateBuffer(64, 2, 64, true);
    UseAll(*buffer, {{64, 1}, {64, 1}, {128, 1}});
    Builtin::Faults::FailNth(EnumFault::Allocation, 1); // the chunk that the others are merged into
    buffer->Destroy();
    UseAll(*buffer, {{64, 1}, {64, 1}, {128, 1}});
    buffer->Free();
}
