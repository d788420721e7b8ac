// The base support library: heap, arenas, counted objects, messages, thread ids.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <memory_resource>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QBase
{

/// The general heap. Allocate returns null when there is no memory; Free takes null.
/// Threads: any. One module may free what another has allocated here.
QORJOB_API void* HeapAllocate(std::size_t iBytes) noexcept;
QORJOB_API void HeapFree(void* iMemory) noexcept;

/// Deleter of std::unique_ptr for plain memory of the general heap.
struct HeapDeleter
{
    void operator()(void* iMemory) const noexcept { HeapFree(iMemory); }
};

/// Owns a text of the general heap.
using HeapText = std::unique_ptr<WCHAR, HeapDeleter>;

/// The alignment of what HeapAllocate gives. (std::max_align_t asks for more in programs of 32 bits on Windows.)
inline constexpr std::size_t cHeapAlignment = 2 * sizeof(void*);

/// The general heap as a memory resource, for any alignment. It throws std::bad_alloc where HeapAllocate gives null.
QORJOB_API std::pmr::memory_resource* DefaultHeap() noexcept;

/// The allocator of texts and containers: of the arena that it is given, else of the general heap. The standard's own
/// takes whatever default resource the program has set at that moment, and copies may then free in another one.
template <class T>
class Allocator
{
public:
    using value_type = T;

    Allocator() noexcept : Allocator(DefaultHeap()) {}
    // Both implicit, as with std::pmr: a container is made with a memory resource, or with another one's allocator.
    Allocator(std::pmr::memory_resource* iMemory) noexcept : mpMemory(iMemory) {}
    template <class U>
    Allocator(const Allocator<U>& iOther) noexcept : mpMemory(iOther.GetMemory())
    {
    }

    // NOLINTBEGIN(readability-identifier-naming): the names that std::allocator_traits asks for

    T* allocate(std::size_t iCount)
    {
        if (iCount > static_cast<std::size_t>(-1) / sizeof(T))
            throw std::bad_array_new_length();
        return static_cast<T*>(mpMemory->allocate(iCount * sizeof(T), alignof(T)));
    }

    void deallocate(T* iMemory, std::size_t iCount) noexcept
    {
        mpMemory->deallocate(iMemory, iCount * sizeof(T), alignof(T));
    }

    /// A copy may outlive the arena that its original lies in.
    Allocator select_on_container_copy_construction() const noexcept { return {}; }

    // NOLINTEND(readability-identifier-naming)

    std::pmr::memory_resource* GetMemory() const noexcept { return mpMemory; }

    friend bool operator==(const Allocator& iLeft, const Allocator& iRight) noexcept
    {
        return *iLeft.mpMemory == *iRight.mpMemory;
    }

private:
    std::pmr::memory_resource* mpMemory;
};

using string = std::basic_string<char, std::char_traits<char>, Allocator<char>>;
using wstring = std::basic_string<WCHAR, std::char_traits<WCHAR>, Allocator<WCHAR>>;
template <class T>
using list = std::list<T, Allocator<T>>;
template <class T>
using vector = std::vector<T, Allocator<T>>;
template <class Key, class Value, class Order = std::less<Key>>
using map = std::map<Key, Value, Order, Allocator<std::pair<const Key, Value>>>;

/// A memory arena: its allocations are freed all at once, with the arena.
///
/// Threads: any may allocate, register and end a registration; it is not used any more when the last one ends.
/// Owns:    its memory. Objects in it are not destroyed, their memory is freed.
/// Errors:  TryAllocate gives null, the std::pmr side throws std::bad_alloc.
/// Locks:   one of its own, only while it takes more memory from the heap.
class QORJOB_API Buffer : public std::pmr::memory_resource
{
public:
    virtual void* TryAllocate(std::size_t iBytes, std::size_t iAlignment = cHeapAlignment) noexcept = 0;

    /// Counts one more user that will call Destroy.
    virtual void Register() noexcept = 0;

    /// Ends one registration; the last one (or the call on a buffer without registrations) frees all memory and the
    /// arena itself. A reusable buffer is rewound instead: it keeps its memory for the next user.
    virtual void Destroy() noexcept = 0;

    /// Frees a reusable buffer, which Destroy only rewinds. Nothing may live in it any more.
    virtual void Free() noexcept = 0;

protected:
    ~Buffer() override = default;
};

/// Makes an arena. `iReserveBytes` are taken from the heap at once (0: with the first allocation); each further chunk
/// is `iGrowth` times the last one, and the first has `iChunkBytes`; for `ibReusable` see Destroy. The arena itself and
/// its reserve lie in `iPlace`, cBufferBytes and the reserve that stay the caller's, or on the heap for null: an arena
/// in a place ends with that memory, whoever is registered. Null when there is no memory.
QORJOB_API Buffer* CreateBuffer(std::size_t iReserveBytes, unsigned iGrowth, std::size_t iChunkBytes, bool ibReusable,
                                void* iPlace = nullptr) noexcept;

/// The memory of an arena that lies in another object, aligned as the heap's.
inline constexpr std::size_t cBufferBytes = 96;

/// The base of counted objects other than COM objects. Derive virtually.
class QORJOB_API Counted
{
public:
    virtual unsigned AddRef() = 0;
    virtual unsigned Release() = 0;

protected:
    virtual ~Counted() = default;
};

/// A counted pointer: holds one reference while it points at an object. Its destructor can't report a Release that
/// throws, and takes it as done; call `Detach()->Release()` to see the exception.
template <class T>
class PtrI
{
public:
    PtrI() = default;

    explicit PtrI(T* iObject) : mpObject(iObject)
    {
        if (mpObject != nullptr)
            mpObject->AddRef();
    }

    PtrI(const PtrI& iOther) : PtrI(iOther.mpObject) {}
    PtrI(PtrI&& iOther) noexcept : mpObject(std::exchange(iOther.mpObject, nullptr)) {}

    ~PtrI()
    {
        try
        {
            if (mpObject != nullptr)
                mpObject->Release();
        }
        catch (...)
        {
            // A failing collaborator must not end the process.
        }
    }

    // By value: the new reference is taken before the old one is released.
    PtrI& operator=(PtrI iOther) noexcept
    {
        std::swap(mpObject, iOther.mpObject);
        return *this;
    }

    /// Takes over a reference that the caller holds.
    static PtrI Adopt(T* iObject)
    {
        PtrI pointer;
        pointer.mpObject = iObject;
        return pointer;
    }

    T* Get() const { return mpObject; }

    /// The out-pointer for a getter that hands out an object with a reference; what was held is released.
    T** Receive()
    {
        *this = {};
        return &mpObject;
    }

    /// Gives the reference to the caller.
    T* Detach() { return std::exchange(mpObject, nullptr); }

    T* operator->() const { return mpObject; }
    explicit operator bool() const { return mpObject != nullptr; }

private:
    T* mpObject = nullptr;
};

/// The result of a function that hands out a counted object: it carries one reference.
template <class T>
using ReturnPtrI = PtrI<T>;

/// Deleter policy of QSynch::SmartPtr: `delete`.
template <class T>
struct DeleteC
{
    static void Dispose(T* iObject) { delete iObject; }
};

/// Stands for one module's memory governors in the base library's register, which knows it by its address.
class QORJOB_API MemGovernorProxy
{
public:
    constexpr MemGovernorProxy() noexcept = default;
    MemGovernorProxy(const MemGovernorProxy&) = delete;
    MemGovernorProxy& operator=(const MemGovernorProxy&) = delete;
};

/// The caller keeps the proxy, and unregisters it before its end. Registering throws std::bad_alloc; unregistering
/// ignores a proxy that isn't registered.
/// Threads: any.
QORJOB_API void RegisterMemGovernor(MemGovernorProxy& iProxy);
QORJOB_API void UnregisterMemGovernor(MemGovernorProxy& iProxy) noexcept;

/// The exception of the kernel libraries, with a text (UTF-8) for the log.
class QORJOB_API Message : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The calling thread's id as the system shows it; never 0.
QORJOB_API DWORD GetCurrentThreadID() noexcept;

/// The calling thread's call stack, the innermost call first, a line each: by name as far as the system knows it, else
/// by address.
QORJOB_API std::string GetCallStackText();

/// Conversions between UTF-8 and 16-bit text; what is malformed becomes U+FFFD.
QORJOB_API wstring UTF8ToWideChar(std::string_view iText);
QORJOB_API std::string WideCharToUTF8(std::basic_string_view<WCHAR> iText);

/// "{73BA6E85-6A88-11D1-A77F-00A024D1C490}"
QORJOB_API std::string ToString(const GUID& iGuid);

} // namespace QBase
