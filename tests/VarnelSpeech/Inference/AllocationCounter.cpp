#include "VarnelSpeech/Inference/AllocationCounter.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<bool> isCounting = false;
std::atomic<int> own = 0;
std::atomic<int> runtime = 0;

// The runtime's own allocations come through here too; whose they are shows in where the call came from.
void count(const void* caller) {
    if (!isCounting)
        return;
    Dl_info info{};
    const bool isRuntime =
        dladdr(caller, &info) != 0 && info.dli_fname != nullptr && std::strstr(info.dli_fname, "onnxruntime");
    ++(isRuntime ? runtime : own);
}

void* allocateOrNull(std::size_t size, const void* caller) {
    count(caller);
    return std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size, const void* caller) {
    void* memory = allocateOrNull(size, caller);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* allocateAligned(std::size_t size, std::align_val_t alignment, const void* caller) {
    count(caller);
    const auto unit = static_cast<std::size_t>(alignment);
    void* memory = std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size, __builtin_return_address(0));
}

void* operator new[](std::size_t size) {
    return allocate(size, __builtin_return_address(0));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateAligned(size, alignment, __builtin_return_address(0));
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateAligned(size, alignment, __builtin_return_address(0));
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, __builtin_return_address(0));
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, __builtin_return_address(0));
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

namespace VarnelSpeech::Testing {

AllocationCounter::AllocationCounter() {
    own = 0;
    runtime = 0;
    isCounting = true;
}

AllocationCounter::~AllocationCounter() {
    isCounting = false;
}

int AllocationCounter::ownAllocations() const {
    return own;
}

int AllocationCounter::runtimeAllocations() const {
    return runtime;
}

} // namespace VarnelSpeech::Testing
