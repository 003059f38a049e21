// SPDX-License-Identifier: Apache-2.0
#include "support/allocation_counter.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

extern "C" {
extern const char __executable_start;  // set by the linker to where the program is loaded
void* __real_malloc(size_t size);
void* __real_calloc(size_t number, size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);
int __real_posix_memalign(void** block, size_t alignment, size_t size);
}

namespace {

/// Where the calls return to whose allocation failed, counted from the program's start; written at
/// the end to the file that STEADYWARP_FAILED_ALLOCATIONS names, one a line.
class FailedSites {
  public:
    ~FailedSites() {
        const char* path = std::getenv("STEADYWARP_FAILED_ALLOCATIONS");
        std::FILE* file = path != nullptr ? std::fopen(path, "a") : nullptr;
        if (file != nullptr) {
            std::for_each(std::begin(_sites), std::begin(_sites) + _count.load(), [&](auto& site) {
                std::fprintf(file, "%jx\n", static_cast<uintmax_t>(site.load()));
            });
            std::fclose(file);
        }
    }
    void add(const void* return_address) {
        const uintptr_t site = reinterpret_cast<uintptr_t>(return_address) -
                               reinterpret_cast<uintptr_t>(&__executable_start);
        const auto end = std::begin(_sites) + _count.load();
        if (std::find(std::begin(_sites), end, site) == end && end != std::end(_sites)) {
            _sites[_count++] = site;
        }
    }

  private:
    std::atomic<uintptr_t> _sites[4096];
    std::atomic<size_t> _count{0};
};

FailedSites failed_sites;

std::atomic<size_t> count{0};
std::atomic<size_t> live{0};
std::atomic<size_t> fail_in{0};
std::atomic<size_t> fail_calloc_in{0};
std::atomic<size_t> fail_any_in{0};

bool must_fail(std::atomic<size_t>& countdown, const void* return_address) {
    size_t left = countdown.load();
    if (left == 0 || (countdown = left - 1) != 0) {
        return false;
    }
    failed_sites.add(return_address);
    return true;
}

bool must_fail_any(const void* return_address) {
    return must_fail(fail_any_in, return_address);
}

void* allocate(size_t size, const void* return_address) {
    ++count;
    if (must_fail(fail_in, return_address) || must_fail_any(return_address)) {
        return nullptr;
    }
    void* block = __real_malloc(size != 0 ? size : 1);
    live += block != nullptr ? 1 : 0;
    return block;
}

void* allocate_or_throw(size_t size, const void* return_address) {
    void* block = allocate(size, return_address);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void release(void* block) {
    live -= block != nullptr ? 1 : 0;
    std::free(block);
}

}  // namespace

extern "C" {
void* __wrap_malloc(size_t size) {
    ++count;
    return must_fail_any(__builtin_return_address(0)) ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t number, size_t size) {
    ++count;
    const void* return_address = __builtin_return_address(0);
    return must_fail(fail_calloc_in, return_address) || must_fail_any(return_address)
               ? nullptr
               : __real_calloc(number, size);
}
void* __wrap_realloc(void* block, size_t size) {
    ++count;
    return must_fail_any(__builtin_return_address(0)) ? nullptr : __real_realloc(block, size);
}
char* __wrap_strdup(const char* text) {
    ++count;
    return must_fail_any(__builtin_return_address(0)) ? nullptr : __real_strdup(text);
}
int __wrap_posix_memalign(void** block, size_t alignment, size_t size) {
    ++count;
    return must_fail_any(__builtin_return_address(0))
               ? ENOMEM
               : __real_posix_memalign(block, alignment, size);
}
}

void* operator new(size_t size) {
    return allocate_or_throw(size, __builtin_return_address(0));
}
void* operator new[](size_t size) {
    return allocate_or_throw(size, __builtin_return_address(0));
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, __builtin_return_address(0));
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, __builtin_return_address(0));
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, size_t) noexcept {
    release(block);
}
void operator delete[](void* block, size_t) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block);
}

namespace steadywarp::test {

size_t allocation_count() {
    return count;
}

void fail_allocation(size_t n) {
    fail_in = n;
}

void fail_c_allocation(size_t n) {
    fail_calloc_in = n;
}

size_t fail_any_allocation(size_t n) {
    return fail_any_in.exchange(n);
}

size_t live_blocks() {
    return live;
}

}  // namespace steadywarp::test
