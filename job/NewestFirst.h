// A view of records that are kept in the order in which they came: the last one first.
#pragma once

#include <cstddef>
#include <iterator>

template <class Record>
class NewestFirst
{
public:
    using Iterator = std::reverse_iterator<Record* const*>;

    NewestFirst(Record* const* iOldest, std::size_t iCount) : mpOldest(iOldest), mCount(iCount) {}

    // NOLINTBEGIN(readability-identifier-naming): the names that a loop and the standard's algorithms ask for

    Iterator begin() const { return Iterator(mpOldest + mCount); }
    Iterator end() const { return Iterator(mpOldest); }
    bool empty() const { return mCount == 0; }
    Record* front() const { return mpOldest[mCount - 1]; }

    // NOLINTEND(readability-identifier-naming)

private:
    Record* const* mpOldest;
    std::size_t mCount;
};
