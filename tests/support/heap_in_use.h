// How much of the heap is in use; 0 under a sanitizer, which has a heap of its own.
#ifndef TESTS_SUPPORT_HEAP_IN_USE_H
#define TESTS_SUPPORT_HEAP_IN_USE_H

#include <malloc.h>

#include <cstddef>

// Before 2.33 the C library has the call with smaller numbers only.
inline std::size_t heap_in_use() {
#if __GLIBC_PREREQ(2, 33)
  return mallinfo2().uordblks;
#else
  return static_cast<std::size_t>(mallinfo().uordblks);
#endif
}

#endif
