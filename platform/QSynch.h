// The synchronisation library: re-entrant critical sections, readers/writer locks, atomic counters, smart pointers.
#pragma once

#include "platform/Export.h"
#include "platform/ThreadSafety.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace QSynch
{

/// A re-entrant lock of one category (the category orders locks in diagnostics).
class QORJOB_API QORJOB_CAPABILITY("critical section") CriticalSection
{
public:
    class SmartLock;

    void Enter() QORJOB_ACQUIRE();
    void Leave() QORJOB_RELEASE();

    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

protected:
    // Made and destroyed by the functions below only; the platform derives the implementation.
    CriticalSection() = default;
    ~CriticalSection() = default;
};

/// The memory of a critical section that lies in another object.
inline constexpr std::size_t cCriticalSectionBytes = 24;
inline constexpr std::size_t cCriticalSectionAlignment = alignof(void*);

/// In `iPlace`, cCriticalSectionBytes that stay the caller's, or on the heap for null. Null when the lock can't be
/// made.
QORJOB_API CriticalSection* CreateCriticalSection(int iCategory, void* iPlace = nullptr) noexcept;
QORJOB_API void DestroyCriticalSection(CriticalSection* iLock) noexcept;

/// Holds a critical section for a scope.
class QORJOB_SCOPED_CAPABILITY CriticalSection::SmartLock
{
public:
    explicit SmartLock(CriticalSection* iLock) QORJOB_ACQUIRE(iLock) : mpLock(iLock) { mpLock->Enter(); }
    ~SmartLock() QORJOB_RELEASE() { mpLock->Leave(); }

    SmartLock(const SmartLock&) = delete;
    SmartLock& operator=(const SmartLock&) = delete;

private:
    CriticalSection* mpLock;
};

/// A readers/writer lock of one category; not re-entrant.
class QORJOB_API QORJOB_CAPABILITY("readers/writer lock") RWLock
{
public:
    class ReadHold;
    class WriteHold;

    void EnterRead() QORJOB_ACQUIRE_SHARED();
    void LeaveRead() QORJOB_RELEASE_SHARED();
    void EnterWrite() QORJOB_ACQUIRE();
    void LeaveWrite() QORJOB_RELEASE();

    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

protected:
    RWLock() = default;
    ~RWLock() = default;
};

/// Null when the lock can't be made.
QORJOB_API RWLock* CreateRWLock(int iCategory) noexcept;
QORJOB_API void DestroyRWLock(RWLock* iLock) noexcept;

class QORJOB_SCOPED_CAPABILITY RWLock::ReadHold
{
public:
    explicit ReadHold(RWLock* iLock) QORJOB_ACQUIRE_SHARED(iLock) : mpLock(iLock) { mpLock->EnterRead(); }
    ~ReadHold() QORJOB_RELEASE_GENERIC() { mpLock->LeaveRead(); }

    ReadHold(const ReadHold&) = delete;
    ReadHold& operator=(const ReadHold&) = delete;

private:
    RWLock* mpLock;
};

class QORJOB_SCOPED_CAPABILITY RWLock::WriteHold
{
public:
    explicit WriteHold(RWLock* iLock) QORJOB_ACQUIRE(iLock) : mpLock(iLock) { mpLock->EnterWrite(); }
    ~WriteHold() QORJOB_RELEASE() { mpLock->LeaveWrite(); }

    WriteHold(const WriteHold&) = delete;
    WriteHold& operator=(const WriteHold&) = delete;

private:
    RWLock* mpLock;
};

/// The owner of a lock.
struct LockDeleter
{
    void operator()(CriticalSection* iLock) const noexcept { DestroyCriticalSection(iLock); }
    void operator()(RWLock* iLock) const noexcept { DestroyRWLock(iLock); }
};

using CriticalSectionPtr = std::unique_ptr<CriticalSection, LockDeleter>;
using RWLockPtr = std::unique_ptr<RWLock, LockDeleter>;

/// A new lock with its owner; std::bad_alloc when it can't be made.
inline CriticalSectionPtr MakeCriticalSection(int iCategory)
{
    CriticalSectionPtr lock(CreateCriticalSection(iCategory));
    if (lock == nullptr)
        throw std::bad_alloc();
    return lock;
}

inline RWLockPtr MakeRWLock(int iCategory)
{
    RWLockPtr lock(CreateRWLock(iCategory));
    if (lock == nullptr)
        throw std::bad_alloc();
    return lock;
}

/// An atomic 32-bit counter. Copies and comparisons read its present value; it carries job ids, too.
class AtomicLong
{
public:
    AtomicLong(int iValue = 0) noexcept : mValue(iValue) {}
    AtomicLong(const AtomicLong& iOther) noexcept : mValue(iOther.Get()) {}

    AtomicLong& operator=(const AtomicLong& iOther) noexcept
    {
        mValue.store(iOther.Get());
        return *this;
    }

    int Get() const noexcept { return mValue.load(std::memory_order_acquire); }
    operator int() const noexcept { return Get(); }

    /// Both return the new value.
    int Increment() noexcept { return mValue.fetch_add(1) + 1; }
    int Decrement() noexcept { return mValue.fetch_sub(1) - 1; }

private:
    std::atomic<int> mValue;
};

/// Owns one object and releases it through its deleter policy. Can be empty; moves, never copies.
template <class T, class Deleter>
class SmartPtr
{
public:
    SmartPtr() = default;
    explicit SmartPtr(T* iObject) : mpObject(iObject) {}
    SmartPtr(SmartPtr&& iOther) noexcept : mpObject(std::exchange(iOther.mpObject, nullptr)) {}

    ~SmartPtr()
    {
        if (mpObject != nullptr)
            Deleter::Dispose(mpObject);
    }

    SmartPtr& operator=(SmartPtr&& iOther) noexcept
    {
        std::swap(mpObject, iOther.mpObject);
        return *this;
    }

    T* Get() const { return mpObject; }
    T* operator->() const { return mpObject; }
    T& operator*() const { return *mpObject; }
    explicit operator bool() const { return mpObject != nullptr; }

private:
    T* mpObject = nullptr;
};

} // namespace QSynch
