#include "job/ChildList.h"

#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <memory_resource>
#include <new>
#include <random>
#include <vector>

namespace
{

/// Takes nothing back until its end, like a job's arena.
class CountedArena final : public std::pmr::memory_resource
{
public:
    std::size_t GetBytes() const { return mBytes; }

private:
    void* do_allocate(std::size_t iBytes, std::size_t iAlignment) override
    {
        mBytes += iBytes;
        return mArena.allocate(iBytes, iAlignment);
    }
    void do_deallocate(void*, std::size_t, std::size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& iOther) const noexcept override { return this == &iOther; }

    std::pmr::monotonic_buffer_resource mArena;
    std::size_t mBytes = 0;
};

std::vector<int> IdsIn(const ChildList& iChildren)
{
    QBase::list<QSynch::AtomicLong> ids{1, 2};
    iChildren.CopyTo(ids);
    return {ids.begin(), ids.end()};
}

/// Few ids at first and many later, most of them counted up; some of the calls find no memory.
TEST(ChildListTest, KeepsTheOrderOfAList)
{
    std::mt19937 random(20);
    const auto pick = [&](int iCount) { return std::uniform_int_distribution(0, iCount - 1)(random); };
    Builtin::Faults::StartCountingBlocks();
    {
        ChildList children(QBase::DefaultHeap());
        std::list<int> model;
        std::size_t longest = 0;
        int failed = 0;
        for (int round = 0; round < 6000; ++round)
        {
            const bool bGrows = round / 500 % 2 == 0;
            int id = pick(1 + round / 20) - 5;
            if (pick(10) == 0)
                id *= 0x10000;
            if (pick(10) < (bGrows ? 8 : 2))
            {
                Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, pick(3));
                try
                {
                    children.Add(id);
                    model.push_back(id);
                }
                catch (const std::bad_alloc&)
                {
                    ++failed;
                }
                Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0);
            }
            else
            {
                if (!model.empty() && pick(4) != 0)
                    id = pick(2) == 0 ? model.front() : model.back();
                children.Remove(id);
                model.remove(id);
            }
            longest = std::max(longest, model.size());
            ASSERT_EQ(IdsIn(children), std::vector<int>(model.begin(), model.end())) << "in round " << round;
        }
        EXPECT_GT(longest, 200U);
        EXPECT_GT(failed, 5);
    }
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
}

TEST(ChildListTest, LeavesTheCopyAloneWithoutMemory)
{
    ChildList children(QBase::DefaultHeap());
    for (int id = 0; id < 3; ++id)
        children.Add(id);
    QBase::list<QSynch::AtomicLong> ids{7};
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 3);
    EXPECT_THROW(children.CopyTo(ids), std::bad_alloc);
    EXPECT_EQ(std::vector<int>(ids.begin(), ids.end()), std::vector<int>{7});
}

TEST(ChildListTest, TakesMemoryForThoseThatItHasAtATime)
{
    CountedArena arena;
    ChildList children(&arena);
    children.Remove(1);
    EXPECT_TRUE(IdsIn(children).empty());
    EXPECT_EQ(arena.GetBytes(), 0U);
    for (int id = 0; id < 10000; ++id)
    {
        children.Add(id);
        for (int gone = id - 7; id % 4 == 3 && gone <= id - 4; ++gone)
            children.Remove(gone);
    }
    EXPECT_EQ(IdsIn(children), (std::vector<int>{9996, 9997, 9998, 9999}));
    EXPECT_LT(arena.GetBytes(), 1000U);
    for (int id = 0; id < 10000; ++id)
        children.Add(id);
    EXPECT_LT(arena.GetBytes(), 10000 * 100U);
}

} // namespace
