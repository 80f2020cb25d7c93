// tests/support/failing_alloc.cpp: memory that runs out when a test says so.
#include "tests/support/failing_alloc.h"
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local int t_untilFailure = 0;
thread_local bool t_failed = false;

void* allocate(std::size_t size) noexcept {
    if (t_untilFailure > 0 && --t_untilFailure == 0) {
        t_failed = true;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

FailingAlloc::FailingAlloc(int k) {
    t_untilFailure = k;
    t_failed = false;
}

FailingAlloc::~FailingAlloc() {
    t_untilFailure = 0;
}

bool FailingAlloc::failed() const {
    return t_failed;
}

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
