// Makes `operator new` fail in the test program and in the library that it is linked with.
#ifndef TAVRIK_TESTS_SUPPORT_FAILING_ALLOCATOR_HPP
#define TAVRIK_TESTS_SUPPORT_FAILING_ALLOCATOR_HPP

#include <new>

namespace support {

// While it lives, one allocation of this thread fails.
class AllocationFailure {
 public:
  enum class Span { one, all };

  // Whose allocations count. ZeroMQ aborts the process on most of its own failures. Its allocations
  // are known as such in programs that watch the calls into ZeroMQ.
  enum class Maker { library, zeromq };

  // @p nth counts from 1. With Span::all every allocation from then on fails too.
  explicit AllocationFailure(int nth, Span span = Span::one, Maker maker = Maker::library);
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

// While it lives, this thread is inside a call into ZeroMQ.
class InsideZeromq {
 public:
  InsideZeromq();
  ~InsideZeromq();
  InsideZeromq(const InsideZeromq&) = delete;
  InsideZeromq& operator=(const InsideZeromq&) = delete;
};

// For a program that defines malloc(), which then also serves `operator new`. Whether an allocation
// that this thread makes now has to fail, apart from those of `operator new`.
bool mallocFails();

// Whether an allocation that this thread makes now is made by the library or the test itself.
bool isOutsideZeromq();

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
