// Bases of the platform's counted objects.
#pragma once

#include "platform/QBase.h"
#include "platform/Windows.h"

#include <atomic>
#include <cstddef>
#include <utility>

namespace Builtin
{

/// Objects of the general heap: `new` gives null when there is no memory.
class HeapObject
{
public:
    static void* operator new(std::size_t iBytes) noexcept { return QBase::HeapAllocate(iBytes); }
    static void operator delete(void* iMemory) noexcept { QBase::HeapFree(iMemory); }

protected:
    virtual ~HeapObject() = default;
};

/// A reference count that begins with the creator's reference.
class ReferenceCount
{
public:
    unsigned Add() noexcept { return mReferences.fetch_add(1, std::memory_order_relaxed) + 1; }
    /// 0: that was the last reference.
    unsigned Drop() noexcept { return mReferences.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<unsigned> mReferences{1};
};

/// The reference count of all its bases; the last Release deletes the object. It begins with the creator's reference.
template <class First, class... More>
class CountedBody : public First, public More..., public HeapObject
{
    using Count = decltype(std::declval<First&>().AddRef());

public:
    Count AddRef() noexcept override { return mReferences.Add(); }

    Count Release() noexcept override
    {
        const unsigned left = mReferences.Drop();
        if (left == 0)
            delete this;
        return left;
    }

protected:
    ~CountedBody() override = default;

private:
    ReferenceCount mReferences;
};

/// The same for a COM object of one interface, known by `cIds` and by IUnknown's.
template <class Interface, const GUID&... cIds>
class CountedObject : public Interface, public HeapObject
{
public:
    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (oInterface == nullptr)
            return E_POINTER;
        *oInterface = nullptr;
        if (iInterfaceId != IID_IUnknown && (... && (iInterfaceId != cIds)))
            return E_NOINTERFACE;
        *oInterface = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }

    DWORD QORJOB_STDCALL AddRef() noexcept override { return mReferences.Add(); }

    DWORD QORJOB_STDCALL Release() noexcept override
    {
        const unsigned left = mReferences.Drop();
        if (left == 0)
            delete this;
        return left;
    }

protected:
    ~CountedObject() override = default;

private:
    ReferenceCount mReferences;
};

} // namespace Builtin
