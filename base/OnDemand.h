// A part of an object that few of its kind have.
#pragma once

#include "platform/QBase.h"

#include <memory>
#include <memory_resource>

/// Takes no memory until the part is written to. `T` is made of a memory resource.
template <class T>
class OnDemand
{
public:
    /// An empty one while there is none.
    const T& Read() const
    {
        // Never destroyed: objects of any kind may end after it.
        static const T* const empty = new T(QBase::DefaultHeap());
        return mpPart == nullptr ? *empty : mpPart->mValue;
    }

    /// Null while there is none.
    T* Get() { return mpPart == nullptr ? nullptr : &mpPart->mValue; }

    /// Makes the part when it isn't there; std::bad_alloc without memory for it.
    T& Write(std::pmr::memory_resource* iMemory)
    {
        if (mpPart == nullptr)
            mpPart.reset(std::pmr::polymorphic_allocator<>(iMemory).new_object<Part>(iMemory));
        return mpPart->mValue;
    }

private:
    struct Part
    {
        explicit Part(std::pmr::memory_resource* iMemory) : mpMemory(iMemory), mValue(iMemory) {}

        std::pmr::memory_resource* const mpMemory;
        T mValue;
    };

    struct Deleter
    {
        void operator()(Part* iPart) const noexcept
        {
            std::pmr::polymorphic_allocator<>(iPart->mpMemory).delete_object(iPart);
        }
    };

    std::unique_ptr<Part, Deleter> mpPart;
};
