// A wrapper for objects that outlive every static one: static jobs and initialisers may log or allocate at exit.
#pragma once

#include <cstddef>
#include <new>

namespace Builtin
{

/// Makes an object within itself and never destroys it. Meant for function-local statics.
template <class T>
class NeverDestroyed
{
public:
    NeverDestroyed() { ::new (static_cast<void*>(mStorage)) T; }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& Get() noexcept { return *std::launder(reinterpret_cast<T*>(mStorage)); }

private:
    alignas(T) std::byte mStorage[sizeof(T)];
};

} // namespace Builtin
