// Makes malloc() and its relatives fail as `operator new` does, and watches for blocks that are not
// released. A program under the thread sanitizer cannot define them.
#ifndef TAVRIK_TESTS_SUPPORT_FAILING_MALLOC_HPP
#define TAVRIK_TESTS_SUPPORT_FAILING_MALLOC_HPP

#include <cstddef>

namespace support {

// While it lives, remembers the blocks that this thread allocates outside ZeroMQ, until any thread
// releases them. One at a time in a process.
class Blocks {
 public:
  Blocks();
  ~Blocks();
  Blocks(const Blocks&) = delete;
  Blocks& operator=(const Blocks&) = delete;

  // How many of them have not been released.
  static std::size_t left();
};

}  // namespace support

#endif
