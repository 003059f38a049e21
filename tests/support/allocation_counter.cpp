// SPDX-License-Identifier: Apache-2.0
#include "support/allocation_counter.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<size_t> count{0};
std::atomic<size_t> live{0};
std::atomic<size_t> fail_in{0};
std::atomic<size_t> fail_calloc_in{0};
std::atomic<size_t> fail_any_in{0};

bool must_fail(std::atomic<size_t>& countdown) {
    size_t left = countdown.load();
    return left != 0 && (countdown = left - 1) == 0;
}

void* allocate(size_t size) {
    ++count;
    if (must_fail(fail_in)) {
        return nullptr;
    }
    void* block = std::malloc(size != 0 ? size : 1);
    live += block != nullptr ? 1 : 0;
    return block;
}

void* allocate_or_throw(size_t size) {
    void* block = allocate(size);
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
void* __real_malloc(size_t size);
void* __real_calloc(size_t number, size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);

void* __wrap_malloc(size_t size) {
    ++count;
    return must_fail(fail_any_in) ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t number, size_t size) {
    ++count;
    return must_fail(fail_calloc_in) || must_fail(fail_any_in) ? nullptr
                                                               : __real_calloc(number, size);
}
void* __wrap_realloc(void* block, size_t size) {
    ++count;
    return must_fail(fail_any_in) ? nullptr : __real_realloc(block, size);
}
char* __wrap_strdup(const char* text) {
    ++count;
    return must_fail(fail_any_in) ? nullptr : __real_strdup(text);
}
}

void* operator new(size_t size) {
    return allocate_or_throw(size);
}
void* operator new[](size_t size) {
    return allocate_or_throw(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
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
