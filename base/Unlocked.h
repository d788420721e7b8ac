// A field that is read without a lock, and in some cases written without one.
#pragma once

#include <atomic>
#include <type_traits>
#include <utility>

/// The type marks a field that needs no lock, among fields that a lock guards. A value that fits a word is a relaxed
/// atomic: readers get one of the values that were stored, and no order with other fields. Any other value is plain:
/// its users must not read and write it at the same time, for instance because it is set before the object is shared.
template <class T, bool cbWord = std::is_trivially_copyable_v<T> && sizeof(T) <= 8>
class Unlocked
{
public:
    Unlocked(T iValue = T{}) noexcept : mValue(iValue) {}

    Unlocked& operator=(T iValue) noexcept
    {
        mValue.store(iValue, std::memory_order_relaxed);
        return *this;
    }

    T Get() const noexcept { return mValue.load(std::memory_order_relaxed); }
    operator T() const noexcept { return Get(); }

private:
    std::atomic<T> mValue;
};

template <class T>
class Unlocked<T, false>
{
public:
    Unlocked(T iValue = T{}) : mValue(std::move(iValue)) {}

    Unlocked& operator=(T iValue)
    {
        mValue = std::move(iValue);
        return *this;
    }

    T& Get() noexcept { return mValue; }
    const T& Get() const noexcept { return mValue; }
    operator const T&() const noexcept { return mValue; }

private:
    T mValue;
};
