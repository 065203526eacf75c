// Replaces functions of the library and of ZeroMQ when it is loaded before them. It makes them
// fail, counts reply handles and receives, and records whether the interpreter lock is held. The
// suites call it with ctypes.
#include "../points/expected.hpp"

#include <support/failing_allocator.hpp>
#include <support/next_function.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <dlfcn.h>
#include <zmq.h>

#include <atomic>
#include <ios>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <typeinfo>
#include <vector>

namespace {

std::atomic<int> handlesAlive{0};
std::atomic<int> handlesMade{0};
std::atomic<int> receives{0};
int failure = -1;
bool lockHeld = false;
std::unique_ptr<support::AllocationFailure> allocationFailure;
std::unique_ptr<support::TransportFaults> watch;
std::size_t firstCall = 0;

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

const bool closesAreChecked = [] {
  support::beforeClose = [] { lockHeld = holdsInterpreterLock(); };
  return true;
}();

// How many calls have worked since the given one.
int countWorked(std::size_t from, const std::string& start) {
  int count = 0;
  for (std::size_t index = from; index < watch->calls().size(); ++index) {
    const support::Call& call = watch->calls()[index];
    if (call.worked && call.text.compare(0, start.size(), start) == 0) ++count;
  }
  return count;
}

const std::string& textOf(int call) {
  return watch->calls().at(firstCall + static_cast<std::size_t>(call)).text;
}

// A plain socket. What it sends to router/dealer channels, and receives from them, has an identity
// in front, which the suites do not see.
struct Peer {
  void* socket;
  bool hasIdentity;
  std::string identity;
};

const tavrik::MQWrapper& transport() {
  return *tavrik::MQWrapper::getInstance();
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

// Watches the calls into ZeroMQ that this thread makes.
__attribute__((visibility("default"))) void watch_calls() {
  watch.reset();
  watch = std::make_unique<support::TransportFaults>();
}

// From now on calls are numbered from 0. Makes one of them fail, none if the error is 0.
__attribute__((visibility("default"))) void fail_call(int call, int error) {
  firstCall = watch->calls().size();
  if (error != 0) watch->fail("", error, call + 1);
}

// Ends that.
__attribute__((visibility("default"))) void end_watching() {
  watch.reset();
}

__attribute__((visibility("default"))) int calls_made() {
  return static_cast<int>(watch->calls().size() - firstCall);
}

__attribute__((visibility("default"))) const char* call_text(int call) {
  return textOf(call).c_str();
}

// How many of the numbered calls have worked whose text starts so.
__attribute__((visibility("default"))) int calls_worked(const char* start) {
  return countWorked(firstCall, start);
}

// What is open of all that was opened since the watch began.
__attribute__((visibility("default"))) int open_sockets() {
  return countWorked(0, "zmq_socket ") - countWorked(0, "zmq_close");
}
__attribute__((visibility("default"))) int open_frames() {
  return countWorked(0, "zmq_msg_init") - countWorked(0, "zmq_msg_close");
}

// Closes the socket that a call was made with.
__attribute__((visibility("default"))) void close_socket_of(int call) {
  const void* const object = watch->calls().at(firstCall + static_cast<std::size_t>(call)).object;
  transport().deleteEndpt(const_cast<void*>(object));
}

// The errors that a call may report, from 0 on. 0 after the last one.
__attribute__((visibility("default"))) int plausible_error(int call, int number) {
  const std::vector<int>& errors = points::plausibleErrors(textOf(call));
  const auto index = static_cast<std::size_t>(number);
  return index < errors.size() ? errors[index] : 0;
}

// The text of the library's exception when a call fails.
__attribute__((visibility("default"))) const char* expected_text(int call, int error) {
  static std::string text;
  const std::string before = call > 0 ? textOf(call - 1) : "";
  text = points::Expected(textOf(call), before, error).text;
  return text.c_str();
}

__attribute__((visibility("default"))) void* make_handle(const char* client) {
  const support::AllocationTruce truce;
  return new CountedHandle(client);
}

__attribute__((visibility("default"))) void* open_peer(int type, const char* endpoint, int binds) {
  const support::TransportFaults apart;
  auto peer = std::make_unique<Peer>();
  peer->hasIdentity = type == ZMQ_ROUTER || type == ZMQ_DEALER;
  peer->identity = "client";
  peer->socket = transport().createEndpt(type);
  if (type == ZMQ_SUB) transport().setOption(peer->socket, tavrik::OPT_SUBSCRIBE, "");
  if (binds != 0) {
    transport().registerSender(peer->socket, endpoint);
  } else {
    transport().registerReceiver(peer->socket, endpoint);
  }
  return peer.release();
}

__attribute__((visibility("default"))) void close_peer(void* opened) {
  const support::TransportFaults apart;
  const std::unique_ptr<Peer> peer(static_cast<Peer*>(opened));
  transport().deleteEndpt(peer->socket);
}

// Sends the lines of a text.
__attribute__((visibility("default"))) void peer_send(void* opened, const char* lines) {
  const support::TransportFaults apart;
  const auto* const peer = static_cast<Peer*>(opened);
  tavrik::Message message;
  if (peer->hasIdentity) message.insertPart(0, peer->identity);
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    message.insertPart(static_cast<unsigned int>(message.getnumParts()), line);
  }
  transport().send(peer->socket, &message);
}

// What is there to be received, as lines. Null if nothing is.
__attribute__((visibility("default"))) const char* peer_receive(void* opened) {
  static std::string lines;
  const support::TransportFaults apart;
  auto* const peer = static_cast<Peer*>(opened);
  tavrik::Message message;
  if (transport().receive(peer->socket, &message, 0) <= 0) return nullptr;
  if (peer->hasIdentity) {
    peer->identity = message.getPart(0);
    message.removePart(0);
  }
  lines.clear();
  for (int index = 0; index < message.getnumParts(); ++index) {
    lines += message.getPart(static_cast<unsigned int>(index)) + "\n";
  }
  return lines.c_str();
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
