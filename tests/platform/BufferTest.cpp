#include "platform/QBase.h"
#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

using Faults::EnumFault;

namespace
{

struct Request
{
    std::size_t mBytes;
    std::size_t mAlignment;
};

// Fills each piece with its own number and reads all back at the end: overlaps show, and the sanitizers see overruns.
void UseAll(QBase::Buffer& ioBuffer, const std::vector<Request>& iRequests)
{
    std::vector<unsigned char*> pieces;
    for (const Request& request : iRequests)
    {
        auto* const piece = static_cast<unsigned char*>(ioBuffer.TryAllocate(request.mBytes, request.mAlignment));
        ASSERT_NE(piece, nullptr);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(piece) % request.mAlignment, 0u);
        std::memset(piece, static_cast<unsigned char>(pieces.size()), request.mBytes);
        pieces.push_back(piece);
    }
    for (std::size_t i = 0; i < pieces.size(); ++i)
    {
        for (std::size_t byte = 0; byte < iRequests[i].mBytes; ++byte)
            ASSERT_EQ(pieces[i][byte], static_cast<unsigned char>(i)) << "piece " << i;
    }
}

std::vector<Request> MakeRequests(unsigned iSeed)
{
    std::mt19937 random(iSeed);
    std::vector<Request> requests(random() % 60 + 1);
    for (Request& request : requests)
    {
        const std::size_t limit = random() % 8 == 0 ? 3000 : 100;
        request = {random() % limit + 1, std::size_t{1} << (random() % 5)};
    }
    return requests;
}

} // namespace

TEST(Buffer, SharesOneHeapBlockWithItsReserve)
{
    Faults::StartCountingBlocks();
    QBase::Buffer* const buffer = QBase::CreateBuffer(1024, 2, 256, false);
    ASSERT_NE(buffer, nullptr);
    UseAll(*buffer, {{512, 16}, {512, 16}});
    EXPECT_EQ(Faults::StopCountingBlocks(), 1);
    buffer->Destroy();
}

TEST(Buffer, WithoutReserveTakesItsFirstChunkWithTheFirstAllocation)
{
    Faults::StartCountingBlocks();
    QBase::Buffer* const buffer = QBase::CreateBuffer(0, 2, 256, false);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(Faults::StopCountingBlocks(), 1);

    Faults::StartCountingBlocks();
    UseAll(*buffer, {{200, 8}, {56, 8}});
    EXPECT_EQ(Faults::StopCountingBlocks(), 1);
    buffer->Destroy();
}

TEST(Buffer, GrowsItsChunksByTheFactorAnewInEachUse)
{
    const auto use = [](QBase::Buffer& ioBuffer, std::size_t iBytes) {
        Faults::StartCountingBlocks();
        UseAll(ioBuffer, std::vector<Request>(iBytes / 32, {32, 16}));
        return Faults::StopCountingBlocks();
    };
    QBase::Buffer* const buffer = QBase::CreateBuffer(0, 2, 64, true);
    EXPECT_EQ(use(*buffer, 64 + 128 + 256 + 512), 4);
    buffer->Destroy();
    EXPECT_EQ(use(*buffer, 960 + 64 + 128), 2);
    buffer->Free();
}

TEST(Buffer, GivesALargeRequestItsOwnChunkAndGoesOnWithTheOldOne)
{
    QBase::Buffer* const buffer = QBase::CreateBuffer(256, 2, 64, false);
    auto* const before = static_cast<std::byte*>(buffer->TryAllocate(16));
    EXPECT_NE(buffer->TryAllocate(100'000), nullptr);
    EXPECT_EQ(buffer->TryAllocate(16), before + 16);
    buffer->Destroy();
}

TEST(Buffer, HandsOutAlignedPiecesThatDoNotOverlap)
{
    const std::vector<Request> wide{{1, 1}, {8, 64}, {1, 1}, {200, 256}, {3, 2}, {5000, 4096}, {1, 128}, {64, 64}};
    for (const std::size_t reserve : {0, 1, 100, 4096})
    {
        QBase::Buffer* const buffer = QBase::CreateBuffer(reserve, 3, 50, false);
        UseAll(*buffer, wide);
        buffer->Destroy();
    }
    for (unsigned seed = 0; seed < 50; ++seed)
    {
        QBase::Buffer* const buffer = QBase::CreateBuffer(seed * 10, seed % 4, seed * 7, false);
        UseAll(*buffer, MakeRequests(seed));
        buffer->Destroy();
    }
}

TEST(Buffer, GivesDifferentAddressesForEmptyRequests)
{
    QBase::Buffer* const buffer = QBase::CreateBuffer(0, 2, 64, false);
    void* const first = buffer->TryAllocate(0, 1);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, buffer->TryAllocate(0, 1));
    buffer->Destroy();
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

        Faults::StartCountingBlocks();
        UseAll(*buffer, MakeRequests(seed + 1000));
        EXPECT_EQ(Faults::StopCountingBlocks(), 0);
        buffer->Free();
    }
}

TEST(Buffer, StaysUntilTheLastRegistrationEnds)
{
    Faults::StartCountingBlocks();
    QBase::Buffer* const buffer = QBase::CreateBuffer(64, 2, 64, false);
    buffer->Register();
    buffer->Register();
    buffer->Destroy();
    UseAll(*buffer, {{64, 1}, {500, 8}});
    buffer->Destroy();
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST(Buffer, ReusableCountsRegistrationsAnewAfterEachUse)
{
    Faults::StartCountingBlocks();
    QBase::Buffer* const buffer = QBase::CreateBuffer(64, 2, 64, true);
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
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST(Buffer, MayHoldTheObjectThatDestroysIt)
{
    struct Tenant
    {
        QBase::Buffer* mpHome;
        void MoveOut() { mpHome->Destroy(); }
    };

    Faults::StartCountingBlocks();
    for (const std::size_t reserve : {std::size_t{0}, std::size_t{256}})
    {
        QBase::Buffer* const buffer = QBase::CreateBuffer(reserve, 2, 64, false);
        auto* const tenant = ::new (buffer->TryAllocate(sizeof(Tenant))) Tenant{buffer};
        EXPECT_NE(buffer->TryAllocate(1000), nullptr);
        tenant->MoveOut();
    }
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST(Buffer, RefusesWhatNoMemoryCouldHold)
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(QBase::CreateBuffer(most, 2, 64, false), nullptr);
    QBase::Buffer* const buffer = QBase::CreateBuffer(64, 2, 64, false);
    for (const std::size_t bytes : {most, most - 8, most - 64, most / 2 + 1})
        EXPECT_EQ(buffer->TryAllocate(bytes, 16), nullptr) << bytes;
    UseAll(*buffer, {{64, 1}});
    buffer->Destroy();
}

TEST(Buffer, WithoutMemoryGivesNullOrThrowsAndGoesOnAfterwards)
{
    Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(QBase::CreateBuffer(64, 2, 64, false), nullptr);

    QBase::Buffer* const buffer = QBase::CreateBuffer(64, 2, 64, false);
    Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(buffer->TryAllocate(8), nullptr);
    Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_THROW(static_cast<void>(buffer->allocate(8)), std::bad_alloc);
    Faults::FailNth(EnumFault::Allocation, 2); // the arena's own turn is the first, its chunk's the second
    EXPECT_EQ(buffer->TryAllocate(100), nullptr);
    UseAll(*buffer, {{40, 1}, {100, 8}, {20, 1}});
    buffer->Destroy();
}

TEST(Buffer, ReusableDoesWithoutTheMergedChunkWhenThereIsNoMemoryForIt)
{
    QBase::Buffer* const buffer = QBase::CreateBuffer(64, 2, 64, true);
    UseAll(*buffer, {{64, 1}, {64, 1}, {128, 1}});
    Faults::FailNth(EnumFault::Allocation, 1);
    buffer->Destroy();
    UseAll(*buffer, {{64, 1}, {64, 1}, {128, 1}});
    buffer->Free();
}
