// Replaces functions of the library when it is loaded before the library. It makes them fail,
// counts reply handles and receives, and records whether the interpreter lock is held. The suites
// call it with ctypes.
#include <support/failing_allocator.hpp>
#include <support/next_function.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <dlfcn.h>
#include <zmq.h>

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
bool lockHeld = false;
std::unique_ptr<support::AllocationFailure> allocationFailure;

// What the library creates instead of its own handles.
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

// Exceptions whose standard classes have no constructor from a text.
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

// Whether this thread holds the interpreter lock. Python 2 has only the second pair of symbols.
bool holdsInterpreterLock() {
  if (void* const check = dlsym(RTLD_DEFAULT, "PyGILState_Check"); check != nullptr) {
    return reinterpret_cast<int (*)()>(check)() == 1;
  }
  const auto own =
      reinterpret_cast<void* (*)()>(dlsym(RTLD_DEFAULT, "PyGILState_GetThisThreadState"));
  auto* const current = static_cast<void**>(dlsym(RTLD_DEFAULT, "_PyThreadState_Current"));
  return *current != nullptr && *current == own();
}

void interfere() {
  lockHeld = holdsInterpreterLock();
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

// Sets the exception that the functions below throw, -1 for none.
__attribute__((visibility("default"))) void throw_failure(int kind) {
  failure = kind;
}

// Whether the last call of the functions below held the interpreter lock.
__attribute__((visibility("default"))) int lock_was_held() {
  return lockHeld ? 1 : 0;
}

// Makes the nth allocation of C++ in this thread fail.
__attribute__((visibility("default"))) void fail_allocation(int nth) {
  allocationFailure = std::make_unique<support::AllocationFailure>(nth);
}

// Ends that. Returns whether the allocation has failed.
__attribute__((visibility("default"))) int end_failing() {
  const bool happened = allocationFailure->happened();
  allocationFailure.reset();
  return happened ? 1 : 0;
}
}

extern "C" __attribute__((visibility("default"))) int zmq_close(void* socket) {
  lockHeld = holdsInterpreterLock();
  return support::next(&zmq_close)(socket);
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
