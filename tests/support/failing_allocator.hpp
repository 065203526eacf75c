// Makes `operator new` fail in the test program and in the library it is linked with.
#ifndef TAVRIK_TESTS_SUPPORT_FAILING_ALLOCATOR_HPP
#define TAVRIK_TESTS_SUPPORT_FAILING_ALLOCATOR_HPP

namespace support {

// While it lives, one allocation of this thread fails. Allocations that ZeroMQ makes do not count:
// it ends the process when it runs out of memory.
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

}  // namespace support

#endif
