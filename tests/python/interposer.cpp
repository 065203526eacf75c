// Stands in front of functions of the library when it is loaded before the interpreter: makes them
// fail or take their time, and counts reply handles and allocations. The suites call it with
// ctypes.
#include <support/failing_allocator.hpp>
#include <support/next_function.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <poll.h>

#include <atomic>
#include <ios>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <typeinfo>

namespace {

std::atomic<int> handlesAlive{0};
std::atomic<int> handlesMade{0};
std::atomic<int> receives{0};
int failure = -1;
int delay = 0;  // milliseconds
std::unique_ptr<support::AllocationFailure> exhaustion;

// What the library hands out instead of its own handles.
class CountedHandle : public tavrik::AsyncRouterDealerMsgHandle {
 public:
  explicit CountedHandle(const std::string& client) {
    setIdentity(client);
    ++handlesAlive;
    ++handlesMade;
  }
  ~CountedHandle() override { --handlesAlive; }
  CountedHandle(const CountedHandle&) = delete;
  CountedHandle& operator=(const CountedHandle&) = delete;
};

// Bases of the failures that have no constructor from a text.
struct BadAlloc : std::bad_alloc {
  const char* what() const noexcept override { return "bad_alloc"; }
};
struct BadCast : std::bad_cast {
  const char* what() const noexcept override { return "bad_cast"; }
};
struct BadTypeid : std::bad_typeid {
  const char* what() const noexcept override { return "bad_typeid"; }
};
struct OtherException : std::exception {
  const char* what() const noexcept override { return "exception"; }
};

void throwFailure(int kind) {
  switch (kind) {
    case 0:
      throw BadAlloc();
    case 1:
      throw BadCast();
    case 2:
      throw BadTypeid();
    case 3:
      throw std::domain_error("domain_error");
    case 4:
      throw std::invalid_argument("invalid_argument");
    case 5:
      throw std::ios_base::failure("ios_base::failure");
    case 6:
      throw std::out_of_range("out_of_range");
    case 7:
      throw std::overflow_error("overflow_error");
    case 8:
      throw std::range_error("range_error");
    case 9:
      throw std::underflow_error("underflow_error");
    case 10:
      throw std::logic_error("logic_error");
    case 11:
      throw std::runtime_error("runtime_error");
    case 12:
      throw OtherException();
    case 13:
      throw 13;
    case 14:
      throw std::runtime_error("not UTF-8: \xff");
    default:
      break;
  }
}

void interfere() {
  if (delay > 0) poll(nullptr, 0, delay);
  throwFailure(failure);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int handles_alive() {
  return handlesAlive;
}
__attribute__((visibility("default"))) int handles_made() {
  return handlesMade;
}

__attribute__((visibility("default"))) int receives_begun() {
  return receives;
}

// The kind of failure that the functions below throw; none for -1.
__attribute__((visibility("default"))) void throw_failure(int kind) {
  failure = kind;
}

// How long the functions below take.
__attribute__((visibility("default"))) void take_time(int milliseconds) {
  delay = milliseconds;
}

// Makes the nth allocation of C++ in this thread fail.
__attribute__((visibility("default"))) void fail_allocation(int nth) {
  exhaustion = std::make_unique<support::AllocationFailure>(nth);
}

// Ends that, and tells whether the allocation was reached.
__attribute__((visibility("default"))) int end_failing() {
  const bool happened = exhaustion->happened();
  exhaustion.reset();
  return happened ? 1 : 0;
}
}

namespace tavrik {

MsgHandle* AsyncRouterDealerMsgHandle::clone() const {
  return new CountedHandle(getIdentity());
}

MsgPattern* MsgPatternFactory::createMsgPattern(const std::string& name, pattern_t pattern,
                                                role_t role) const {
  interfere();
  return support::next(&MsgPatternFactory::createMsgPattern)(this, name, pattern, role);
}

int TavrikChannel::setProperty(channel_prop_t prop, std::string value) {
  interfere();
  return support::next(&TavrikChannel::setProperty)(this, prop, std::move(value));
}

std::string TavrikChannel::getProperty(channel_prop_t prop) {
  interfere();
  return support::next(&TavrikChannel::getProperty)(this, prop);
}

int TavrikChannel::send(const char* subject, Message* msg) {
  interfere();
  return support::next(&TavrikChannel::send)(this, subject, msg);
}

int TavrikChannel::receive(char* subject, Message* msg, long timeout) {
  ++receives;
  interfere();
  return support::next(&TavrikChannel::receive)(this, subject, msg, timeout);
}

}  // namespace tavrik
