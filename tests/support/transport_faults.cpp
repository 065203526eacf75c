#include <support/failing_allocator.hpp>
#include <support/next_function.hpp>
#include <support/transport_faults.hpp>

#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace support {
namespace {

thread_local TransportFaults* active = nullptr;
thread_local int depth = 0;  // of calls into ZeroMQ; ZeroMQ makes the nested ones itself
std::atomic<int> contexts{0};
std::atomic<int> polls{0};

bool matches(const std::string& text, const std::string& function) {
  return function.empty() || text == function ||
         text.compare(0, function.size() + 1, function + " ") == 0;
}

// ZeroMQ may throw std::bad_alloc.
struct Nesting {
  Nesting() { ++depth; }
  ~Nesting() { --depth; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
};

// Records the call and makes it, unless it has to fail. The caller holds an AllocationTruce.
template <auto function, class Result, class... Arguments>
Result intercept(const std::string& text, const void* object, Result failure,
                 Arguments... arguments) {
  static const auto real = next(function);
  TransportFaults::Fault fault{};
  if (active != nullptr && depth == 0) fault = active->enter(text, object);
  if (fault.error != 0 && !fault.works) {
    errno = fault.error;
    return failure;
  }
  const auto call = [&] {
    const Nesting nesting;
    const InsideZeromq inside;
    return real(arguments...);
  };
  const Result result = call();
  if (active != nullptr && depth == 0) active->leave(result != failure);
  if (fault.error != 0) errno = fault.error;
  return result;
}

std::string number(long value) {
  return std::to_string(value);
}

}  // namespace

TransportFaults::TransportFaults() : outer(active) {
  active = this;
}
TransportFaults::~TransportFaults() {
  active = outer;
}

void TransportFaults::fail(const std::string& function, int error, int nth) {
  faults.push_back({function, error, nth, false});
}

void TransportFaults::disturb(const std::string& function, int error, int nth) {
  faults.push_back({function, error, nth, true});
}

Calls TransportFaults::texts() const {
  Calls result;
  result.reserve(recorded.size());
  for (const Call& call : recorded) result.push_back(call.text);
  return result;
}

TransportFaults::Fault TransportFaults::enter(const std::string& text, const void* object) {
  recorded.push_back({text, object, false});
  Fault happening{};
  for (Fault& fault : faults) {
    if (matches(text, fault.function) && --fault.left == 0) happening = fault;
  }
  return happening;
}

void TransportFaults::leave(bool worked) {
  recorded.back().worked = worked;
}

void (*beforeContext)() = nullptr;
void (*beforeClose)() = nullptr;
void (*onFrameSent)() = nullptr;

int contextsMade() {
  return contexts;
}
int pollsEntered() {
  return polls;
}

}  // namespace support

using support::AllocationTruce;
using support::intercept;
using support::number;

extern "C" {

void* zmq_ctx_new() {
  const AllocationTruce truce;
  ++support::contexts;
  if (support::beforeContext != nullptr) support::beforeContext();
  return intercept<&zmq_ctx_new, void*>("zmq_ctx_new", nullptr, nullptr);
}

int zmq_ctx_set(void* context, int option, int value) {
  const AllocationTruce truce;
  return intercept<&zmq_ctx_set>("zmq_ctx_set " + number(option) + " " + number(value), context, -1,
                                 context, option, value);
}

int zmq_ctx_term(void* context) {
  const AllocationTruce truce;
  return intercept<&zmq_ctx_term>("zmq_ctx_term", context, -1, context);
}

void* zmq_socket(void* context, int type) {
  const AllocationTruce truce;
  return intercept<&zmq_socket, void*>("zmq_socket " + number(type), context, nullptr, context,
                                       type);
}

int zmq_close(void* socket) {
  const AllocationTruce truce;
  if (support::beforeClose != nullptr) support::beforeClose();
  return intercept<&zmq_close>("zmq_close", socket, -1, socket);
}

int zmq_setsockopt(void* socket, int option, const void* value, size_t size) {
  const AllocationTruce truce;
  std::string text = "zmq_setsockopt " + number(option);
  const bool isText =
      option == ZMQ_SUBSCRIBE || option == ZMQ_UNSUBSCRIBE || option == ZMQ_IDENTITY;
  if (option == 0) {
    text += " of " + number(static_cast<long>(size));
  } else if (isText) {
    text += " \"" + std::string(static_cast<const char*>(value), size) + "\"";
  } else if (size == sizeof(int)) {
    int integer = 0;
    std::memcpy(&integer, value, size);
    text += " " + number(integer);
  } else if (size == sizeof(std::int64_t)) {
    std::int64_t integer = 0;
    std::memcpy(&integer, value, size);
    text += " " + number(static_cast<long>(integer));
  }
  return intercept<&zmq_setsockopt>(text, socket, -1, socket, option, value, size);
}

int zmq_getsockopt(void* socket, int option, void* value, size_t* size) {
  const AllocationTruce truce;
  const std::string text =
      "zmq_getsockopt " + number(option) + " of " + number(static_cast<long>(*size));
  return intercept<&zmq_getsockopt>(text, socket, -1, socket, option, value, size);
}

int zmq_bind(void* socket, const char* endpoint) {
  const AllocationTruce truce;
  return intercept<&zmq_bind>(std::string("zmq_bind ") + endpoint, socket, -1, socket, endpoint);
}

int zmq_connect(void* socket, const char* endpoint) {
  const AllocationTruce truce;
  return intercept<&zmq_connect>(std::string("zmq_connect ") + endpoint, socket, -1, socket,
                                 endpoint);
}

int zmq_socket_monitor(void* socket, const char* endpoint, int events) {
  const AllocationTruce truce;
  return intercept<&zmq_socket_monitor>("zmq_socket_monitor " + number(events), socket, -1, socket,
                                        endpoint, events);
}

int zmq_msg_init(zmq_msg_t* frame) {
  const AllocationTruce truce;
  return intercept<&zmq_msg_init>("zmq_msg_init", frame, -1, frame);
}

int zmq_msg_init_size(zmq_msg_t* frame, size_t size) {
  const AllocationTruce truce;
  return intercept<&zmq_msg_init_size>("zmq_msg_init_size " + number(static_cast<long>(size)),
                                       frame, -1, frame, size);
}

int zmq_msg_send(zmq_msg_t* frame, void* socket, int flags) {
  const AllocationTruce truce;
  const int sent =
      intercept<&zmq_msg_send>("zmq_msg_send " + number(flags), frame, -1, frame, socket, flags);
  if (sent != -1 && support::onFrameSent != nullptr) support::onFrameSent();
  return sent;
}

int zmq_msg_recv(zmq_msg_t* frame, void* socket, int flags) {
  const AllocationTruce truce;
  return intercept<&zmq_msg_recv>("zmq_msg_recv " + number(flags), frame, -1, frame, socket, flags);
}

int zmq_msg_close(zmq_msg_t* frame) {
  const AllocationTruce truce;
  return intercept<&zmq_msg_close>("zmq_msg_close", frame, -1, frame);
}

int zmq_poll(zmq_pollitem_t* items, int count, long timeout) {
  const AllocationTruce truce;
  ++support::polls;
  return intercept<&zmq_poll>("zmq_poll " + number(count) + " " + number(timeout), items, -1, items,
                              count, timeout);
}

}  // extern "C"
