#include <support/failing_allocator.hpp>
#include <support/transport_faults.hpp>

#include <dlfcn.h>
#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace support {
namespace {

thread_local TransportFaults* active = nullptr;
thread_local int depth = 0;  // of calls into ZeroMQ; those within another are its own
std::atomic<int> contexts{0};
std::atomic<int> polls{0};

bool matches(const std::string& text, const std::string& function) {
  return text == function || text.compare(0, function.size() + 1, function + " ") == 0;
}

// Records the call and makes it, unless it has to fail. The caller holds an AllocationTruce.
template <class Result, class Real>
Result intercept(const std::string& text, const void* object, Result failure, Real real) {
  TransportFaults::Fault fault{};
  if (active != nullptr && depth == 0) fault = active->enter(text, object);
  if (fault.error != 0 && !fault.works) {
    errno = fault.error;
    return failure;
  }
  ++depth;
  const Result result = real();
  --depth;
  if (fault.error != 0) errno = fault.error;
  return result;
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::string number(int value) {
  return std::to_string(value);
}

}  // namespace

TransportFaults::TransportFaults() {
  active = this;
}
TransportFaults::~TransportFaults() {
  active = nullptr;
}

void TransportFaults::fail(const std::string& function, int error, int nth) {
  faults.push_back({function, error, nth, false});
}

void TransportFaults::disturb(const std::string& function, int error, int nth) {
  faults.push_back({function, error, nth, true});
}

std::vector<std::string> TransportFaults::texts() const {
  std::vector<std::string> result;
  result.reserve(recorded.size());
  for (const Call& call : recorded) result.push_back(call.text);
  return result;
}

TransportFaults::Fault TransportFaults::enter(const std::string& text, const void* object) {
  recorded.push_back({text, object});
  Fault happening{};
  for (Fault& fault : faults) {
    if (matches(text, fault.function) && --fault.left == 0) happening = fault;
  }
  return happening;
}

void (*beforeContext)() = nullptr;
void (*onFrameSent)() = nullptr;

int contextsMade() {
  return contexts;
}
int pollsEntered() {
  return polls;
}

}  // namespace support

using support::intercept;
using support::next;
using support::number;

extern "C" {

void* zmq_ctx_new() {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_ctx_new)>("zmq_ctx_new");
  ++support::contexts;
  if (support::beforeContext != nullptr) support::beforeContext();
  return intercept<void*>("zmq_ctx_new", nullptr, nullptr, [&] { return real(); });
}

int zmq_ctx_set(void* context, int option, int value) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_ctx_set)>("zmq_ctx_set");
  return intercept("zmq_ctx_set " + number(option) + " " + number(value), context, -1,
                   [&] { return real(context, option, value); });
}

int zmq_ctx_term(void* context) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_ctx_term)>("zmq_ctx_term");
  return intercept("zmq_ctx_term", context, -1, [&] { return real(context); });
}

void* zmq_socket(void* context, int type) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_socket)>("zmq_socket");
  return intercept<void*>("zmq_socket " + number(type), context, nullptr,
                          [&] { return real(context, type); });
}

int zmq_close(void* socket) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_close)>("zmq_close");
  return intercept("zmq_close", socket, -1, [&] { return real(socket); });
}

int zmq_setsockopt(void* socket, int option, const void* value, size_t size) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_setsockopt)>("zmq_setsockopt");
  std::string text = "zmq_setsockopt " + number(option);
  const bool isText =
      option == ZMQ_SUBSCRIBE || option == ZMQ_UNSUBSCRIBE || option == ZMQ_IDENTITY;
  if (option == 0) {
    text += " of " + number(static_cast<int>(size));
  } else if (isText) {
    text += " \"" + std::string(static_cast<const char*>(value), size) + "\"";
  } else if (size == sizeof(int)) {
    int integer = 0;
    std::memcpy(&integer, value, size);
    text += " " + number(integer);
  }
  return intercept(text, socket, -1, [&] { return real(socket, option, value, size); });
}

int zmq_getsockopt(void* socket, int option, void* value, size_t* size) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_getsockopt)>("zmq_getsockopt");
  return intercept("zmq_getsockopt " + number(option) + " of " + number(static_cast<int>(*size)),
                   socket, -1, [&] { return real(socket, option, value, size); });
}

int zmq_bind(void* socket, const char* endpoint) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_bind)>("zmq_bind");
  return intercept(std::string("zmq_bind ") + endpoint, socket, -1,
                   [&] { return real(socket, endpoint); });
}

int zmq_connect(void* socket, const char* endpoint) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_connect)>("zmq_connect");
  return intercept(std::string("zmq_connect ") + endpoint, socket, -1,
                   [&] { return real(socket, endpoint); });
}

int zmq_msg_init(zmq_msg_t* frame) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_msg_init)>("zmq_msg_init");
  return intercept("zmq_msg_init", frame, -1, [&] { return real(frame); });
}

int zmq_msg_init_size(zmq_msg_t* frame, size_t size) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_msg_init_size)>("zmq_msg_init_size");
  return intercept("zmq_msg_init_size " + number(static_cast<int>(size)), frame, -1,
                   [&] { return real(frame, size); });
}

int zmq_msg_send(zmq_msg_t* frame, void* socket, int flags) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_msg_send)>("zmq_msg_send");
  const int sent = intercept("zmq_msg_send " + number(flags), frame, -1,
                             [&] { return real(frame, socket, flags); });
  if (sent != -1 && support::onFrameSent != nullptr) support::onFrameSent();
  return sent;
}

int zmq_msg_recv(zmq_msg_t* frame, void* socket, int flags) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_msg_recv)>("zmq_msg_recv");
  return intercept("zmq_msg_recv " + number(flags), frame, -1,
                   [&] { return real(frame, socket, flags); });
}

int zmq_msg_close(zmq_msg_t* frame) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_msg_close)>("zmq_msg_close");
  return intercept("zmq_msg_close", frame, -1, [&] { return real(frame); });
}

int zmq_poll(zmq_pollitem_t* items, int count, long timeout) {
  const support::AllocationTruce truce;
  static const auto real = next<decltype(&zmq_poll)>("zmq_poll");
  return intercept("zmq_poll " + number(count) + " " + std::to_string(timeout), items, -1, [&] {
    ++support::polls;
    return real(items, count, timeout);
  });
}

}  // extern "C"
