// A reply handle that counts how many of its kind are alive.
#ifndef TAVRIK_TESTS_SUPPORT_COUNTED_HANDLE_HPP
#define TAVRIK_TESTS_SUPPORT_COUNTED_HANDLE_HPP

#include <tavrik/message_handle.hpp>

namespace support {

class CountedHandle : public tavrik::MsgHandle {
 public:
  explicit CountedHandle(int& alive) : count(alive) { ++count; }
  ~CountedHandle() override { --count; }
  CountedHandle(const CountedHandle&) = delete;
  CountedHandle& operator=(const CountedHandle&) = delete;

  tavrik::MsgHandle* clone() const override { return new CountedHandle(count); }

 private:
  int& count;
};

}  // namespace support

#endif
