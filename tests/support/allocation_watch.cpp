#include "tests/support/allocation_watch.h"

#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

// The C library's own functions behind the replaced ones.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {

constexpr int kStacks = 40;
constexpr int kDepth = 12;

struct Stack {
    void* frames[kDepth];
    int depth;
    int count;

    bool same_as(const Stack& other) const {
        return depth == other.depth && std::equal(frames, frames + depth, other.frames);
    }
};

struct Watch {
    int allocations = 0;
    int stacks = 0;
    Stack stack[kStacks] = {};
};

thread_local bool watching = false;
Watch watch;

void note() {
    if (!watching) return;
    watching = false;
    ++watch.allocations;
    Stack here{};
    here.depth = backtrace(here.frames, kDepth);
    Stack* const end = watch.stack + watch.stacks;
    Stack* const known =
        std::find_if(watch.stack, end, [&](const Stack& s) { return s.same_as(here); });
    if (known != end) {
        ++known->count;
    } else if (watch.stacks < kStacks) {
        here.count = 1;
        watch.stack[watch.stacks++] = here;
    }
    watching = true;
}

std::string name_of(void* address) {
    Dl_info info{};
    std::ostringstream text;
    if (dladdr(address, &info) == 0) {
        text << address;
        return text.str();
    }
    const auto offset = static_cast<char*>(address) - static_cast<char*>(info.dli_fbase);
    text << info.dli_fname << "+0x" << std::hex << offset;
    if (info.dli_sname != nullptr) text << " " << info.dli_sname;
    return text.str();
}

}  // namespace

void test::watch_allocations(bool on) {
    if (on) {
        void* unused[1];
        backtrace(unused, 1);  // loads its library on the first call
    }
    watching = on;
}

int test::watched_allocations() {
    return watch.allocations;
}

void test::forget_allocations() {
    watch = {};
}

std::string test::allocation_stacks() {
    std::string text;
    for (const Stack& stack : watch.stack) {
        if (stack.count == 0) break;
        text += std::to_string(stack.count) + " times:\n";
        for (int i = 0; i < stack.depth; ++i)
            text += "    " + name_of(stack.frames[i]) + "\n";
    }
    return text;
}

extern "C" {

void* malloc(size_t size) {
    note();
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    note();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
    note();
    return __libc_realloc(memory, size);
}

void* memalign(size_t alignment, size_t size) {
    note();
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    note();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
    note();
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}
}
