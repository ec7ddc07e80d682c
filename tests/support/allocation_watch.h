// Notices every memory allocation of a thread while it is watched: the program that links this has
// malloc and its relatives, and with them operator new, replaced in all its libraries.
#ifndef TESTS_SUPPORT_ALLOCATION_WATCH_H
#define TESTS_SUPPORT_ALLOCATION_WATCH_H

#include <string>

namespace test {

// From now on allocations of the calling thread count, or no longer.
void watch_allocations(bool on);

int watched_allocations();
void forget_allocations();

// Call stacks of the first of them, outermost caller last; empty without any.
std::string allocation_stacks();

}  // namespace test

#endif
