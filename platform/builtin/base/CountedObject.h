// Counted objects of the platform's own.
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

/// A count that begins with its maker's reference.
class ReferenceCount
{
public:
    unsigned Add() noexcept { return mReferences.fetch_add(1, std::memory_order_relaxed) + 1; }
    /// 0: nobody refers to the object any more.
    unsigned Drop() noexcept { return mReferences.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<unsigned> mReferences{1};
};

/// Counts for all its bases; the object goes with its last reference. It begins with its maker's.
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

/// A COM object of one interface, known by `cIds` and by IUnknown's.
template <class Interface, const GUID&... cIds>
class CountedObject : public CountedBody<Interface>
{
public:
    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (oInterface == nullptr)
            return E_POINTER;
        *oInterface = nullptr;
        if (iInterfaceId != IID_IUnknown && (... && (iInterfaceId != cIds)))
            return E_NOINTERFACE;
        *oInterface = static_cast<Interface*>(this);
        this->AddRef();
        return S_OK;
    }
};

} // namespace Builtin
