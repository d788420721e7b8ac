// A field that is read and written without its object's lock.
#pragma once

#include <atomic>

/// One word that any thread reads and changes at any time: it is always a whole value, and says nothing of what other
/// fields hold.
template <class T>
class Unlocked
{
public:
    Unlocked(T iValue = {}) noexcept : mValue(iValue) {}

    Unlocked& operator=(T iValue) noexcept
    {
        mValue.store(iValue, std::memory_order_relaxed);
        return *this;
    }

    T Get() const noexcept { return mValue.load(std::memory_order_relaxed); }
    operator T() const noexcept { return Get(); }

private:
    std::atomic<T> mValue;
    static_assert(std::atomic<T>::is_always_lock_free);
};
