// An allocator for large pixel arrays that leaves new elements unset (a plain `new U`): whoever
// resizes fills them, on the threads, instead of the vector doing it in one serial pass.
#pragma once

#include <memory>
#include <new>
#include <utility>

namespace tv::standalone {

template <class T>
struct UnsetAllocator : std::allocator<T> {
    template <class U>
    struct rebind {
        using other = UnsetAllocator<U>;
    };
    UnsetAllocator() = default;
    template <class U>
    UnsetAllocator(const UnsetAllocator<U>&) noexcept {}
    template <class U, class... Args>
    void construct(U* p, Args&&... args) {
        if constexpr (sizeof...(Args) == 0)
            ::new (static_cast<void*>(p)) U;
        else
            ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};

}  // namespace tv::standalone
