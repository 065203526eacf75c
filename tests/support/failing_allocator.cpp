#include <support/failing_allocator.hpp>

#include <cerrno>
#include <cstdlib>
#include <new>

namespace support {
namespace {

// Plain values, because memory is allocated before and after the life of every object.
thread_local int untilFailure = 0;  // 0: no failure is requested
thread_local bool failing = false;
thread_local bool failAll = false;
thread_local bool reached = false;
thread_local AllocationFailure::Maker failingMaker = AllocationFailure::Maker::library;
thread_local int truces = 0;
thread_local int zeromqCalls = 0;

}  // namespace

AllocationFailure::AllocationFailure(int nth, Span span, Maker maker) {
  failingMaker = maker;
  untilFailure = nth;
  failAll = span == Span::all;
  reached = false;
  failing = false;
}

AllocationFailure::~AllocationFailure() {
  untilFailure = 0;
  failing = false;
}

bool AllocationFailure::happened() const {
  return reached;
}

AllocationTruce::AllocationTruce() {
  ++truces;
}
AllocationTruce::~AllocationTruce() {
  --truces;
}

InsideZeromq::InsideZeromq() {
  ++zeromqCalls;
}
InsideZeromq::~InsideZeromq() {
  --zeromqCalls;
}

bool isOutsideZeromq() {
  return truces == 0 && zeromqCalls == 0;
}

// The thread sanitizer has to keep its own operators to see which library calls them. Tests that
// need an allocation failure do not run there.
#ifndef __SANITIZE_THREAD__
namespace {

thread_local bool insideNew = false;

bool failsNow() {
  const bool counts =
      failingMaker == AllocationFailure::Maker::zeromq ? zeromqCalls > 0 : isOutsideZeromq();
  if (!counts) return false;
  if (failing) {
    errno = ENOMEM;
    return true;
  }
  if (untilFailure == 0 || --untilFailure > 0) return false;
  reached = true;
  failing = failAll;
  errno = ENOMEM;
  return true;
}

void* allocate(std::size_t size) {
  if (failsNow()) return nullptr;
  insideNew = true;
  void* const block = std::malloc(size != 0 ? size : 1);
  insideNew = false;
  return block;
}

}  // namespace

bool mallocFails() {
  return !insideNew && failsNow();
}
#endif

}  // namespace support

#ifndef __SANITIZE_THREAD__

void* operator new(std::size_t size) {
  void* const block = support::allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return support::allocate(size);
}

void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}

#endif
