// Makes `operator new` fail in the test program and in the library that it is linked with.
#ifndef TAVRIK_TESTS_SUPPORT_FAILING_ALLOCATOR_HPP
#define TAVRIK_TESTS_SUPPORT_FAILING_ALLOCATOR_HPP

#include <new>

namespace support {

// While it lives, one allocation of this thread fails. Allocations that ZeroMQ makes do not count,
// because ZeroMQ aborts the process when it runs out of memory.
class AllocationFailure {
 public:
  enum class Span { one, all };

  // @p nth counts from 1. With Span::all every allocation from then on fails too.
  explicit AllocationFailure(int nth, Span span = Span::one);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;

  // Whether the allocation to fail was reached.
  bool happened() const;
};

// While it lives, allocations of this thread neither fail nor count.
class AllocationTruce {
 public:
  AllocationTruce();
  ~AllocationTruce();
  AllocationTruce(const AllocationTruce&) = delete;
  AllocationTruce& operator=(const AllocationTruce&) = delete;
};

// Runs the body with its first allocation failing, then with its second, and so on until none
// fails. After each run the check is told whether an allocation failed. Returns how many failed.
template <class Body, class Check>
int failEachAllocation(Body body, Check check) {
  for (int nth = 1;; ++nth) {
    bool failed = false;
    {
      const AllocationFailure failure(nth);
      try {
        body();
      } catch (const std::bad_alloc&) {
        if (!failure.happened()) throw;
      }
      failed = failure.happened();
    }
    check(failed);
    if (!failed) return nth - 1;
  }
}

}  // namespace support

#endif
