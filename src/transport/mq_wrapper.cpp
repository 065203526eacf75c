// The ZeroMQ context; creating, configuring and closing sockets.
#include <core/failure.hpp>
#include <core/number.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/mutex_ra.hpp>
#include <transport/socket_options.hpp>
#include <transport/transport_error.hpp>

#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

namespace tavrik {
namespace {

int setNumber(void* socket, int option, int value) {
  return zmq_setsockopt(socket, option, &value, sizeof value);
}

int setOptionValue(void* socket, const OptionRow& row, const std::string& value) {
  switch (row.form) {
    case ValueForm::number:
      return setNumber(socket, row.number, static_cast<int>(leadingNumber(value)));
    case ValueForm::number64: {
      const std::int64_t number = leadingNumber(value);
      return zmq_setsockopt(socket, row.number, &number, sizeof number);
    }
    default:
      return zmq_setsockopt(socket, row.number, value.data(), value.size());
  }
}

// Sets the linger period in milliseconds, then closes the socket.
void closeSocket(void* socket, int linger) {
  if (setNumber(socket, ZMQ_LINGER, linger) != 0) fail(sites::setLinger);
  if (zmq_close(socket) != 0) fail(sites::closeSocket);
}

// Watches a socket until ZeroMQ has destroyed it. ZeroMQ destroys a closed socket when its queued
// messages have been handed over or dropped.
class DestructionWatch {
 public:
  DestructionWatch(void* context, void* socket) : monitor(zmq_socket(context, ZMQ_PAIR)) {
    if (monitor == nullptr) fail(sites::monitorSocket);
    try {
      closeKept();
      start(socket);
    } catch (const std::exception&) {
      zmq_close(monitor);
      throw;
    }
  }
  ~DestructionWatch() {
    if (destroyed) {
      zmq_close(monitor);
    } else {
      keep(monitor);
    }
  }
  DestructionWatch(const DestructionWatch&) = delete;
  DestructionWatch& operator=(const DestructionWatch&) = delete;

  // Waits until the socket is destroyed or the time is over. Returns whether it is destroyed. A
  // signal does not shorten the wait.
  bool waitUntil(std::chrono::steady_clock::time_point end) {
    for (;;) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
      const int ready =
          reports(monitor, static_cast<long>(std::max<std::int64_t>(left.count(), 0)));
      if (ready == -1 && zmq_errno() == EINTR) continue;
      destroyed = ready > 0;
      return destroyed;
    }
  }

 private:
  void start(void* socket) const {
    // ZeroMQ releases the endpoint a moment after the monitor has been closed, so each needs
    // another.
    static std::atomic<unsigned long long> watches{0};
    char endpoint[64];
    std::snprintf(endpoint, sizeof endpoint, "inproc://tavrik.monitor.%llu", ++watches);
    // Connect first: a monitored socket that no monitor is connected to blocks when it is
    // destroyed.
    if (zmq_connect(monitor, endpoint) != 0 ||
        zmq_socket_monitor(socket, endpoint, ZMQ_EVENT_MONITOR_STOPPED) != 0) {
      fail(sites::monitorSocket);
    }
  }

  static int reports(void* watching, long timeout) {
    zmq_pollitem_t item = {watching, 0, ZMQ_POLLIN, 0};
    return zmq_poll(&item, 1, timeout);
  }

  // The monitors of sockets that still existed when their time was over. ZeroMQ's one thread that
  // destroys sockets would block at such a socket if its monitor had been closed. Never freed:
  // other threads may delete channels while the process exits.
  struct Kept {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::vector<void*> monitors;
  };
  static Kept& kept() {
    alignas(Kept) static std::byte storage[sizeof(Kept)];
    static auto* const list = new (storage) Kept;
    return *list;
  }

  static void keep(void* watching) {
    try {
      const MutexRA lock(&kept().mutex);
      kept().monitors.push_back(watching);
    } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): the monitor stays open
    }
  }

  // Closes the kept monitors whose socket has been destroyed since.
  static void closeKept() {
    const MutexRA lock(&kept().mutex);
    auto& monitors = kept().monitors;
    const auto isDone = [](void* watching) {
      if (reports(watching, 0) <= 0) return false;
      zmq_close(watching);
      return true;
    };
    monitors.erase(std::remove_if(monitors.begin(), monitors.end(), isDone), monitors.end());
  }

  void* monitor;
  bool destroyed = false;
};

}  // namespace

pthread_mutex_t MQWrapper::MQWrapperMutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<MQWrapper*> MQWrapper::instance{nullptr};
std::atomic<std::uint32_t> MQWrapper::created{0};

MQWrapper* MQWrapper::getInstance() {
  if (MQWrapper* const existing = instance.load(std::memory_order_acquire)) {
    // The wait is short: only a few instructions separate the two stores below.
    while (created.load(std::memory_order_acquire) == 0) {
    }
    return existing;
  }
  // Log the constructor's failure here, after the lock has been released: the application's log
  // function may call this function again.
  return logged("Error : Tavrik::MQWrapper::MQWrapper() : ", [] {
    const MutexRA lock(&MQWrapperMutex);
    if (created.load(std::memory_order_relaxed) == 0 && instance.load() == nullptr) {
      instance.store(new MQWrapper, std::memory_order_release);
      created.store(1, std::memory_order_release);
    }
    return instance.load(std::memory_order_relaxed);
  });
}

// The library never terminates a context, not even one that could not be configured. The next
// getInstance() creates another.
MQWrapper::MQWrapper() : context(zmq_ctx_new()) {
  if (context == nullptr) {
    const int code = constructErrorCode(sites::createContext.code);
    throw std::runtime_error(transportErrorText(sites::createContext.description, {}, {}, code));
  }
  if (zmq_ctx_set(context, ZMQ_IO_THREADS, 1) != 0) fail(sites::setIoThreads);
}

MQWrapper::~MQWrapper() = default;

int MQWrapper::constructErrorCode(int site) const {
  return compositeCode(site, zmq_errno());
}

void* MQWrapper::createEndpt(int socketType) const {
  return logged("Error : Tavrik::MQWrapper::createEndpt() : ", [&] {
    void* const socket = zmq_socket(context, socketType);
    if (socket == nullptr) fail(sites::createSocket);
    for (const KeepAliveRow& row : keepAliveRows) {
      if (setNumber(socket, row.option, row.value) == 0) continue;
      const LastError refused;
      if (zmq_close(socket) == 0) fail(row.refused, refused);
      const LastError notClosed;
      // The text names both failures, the code the second one.
      fail({row.andNotClosedCode, row.refused.description}, {refused.system, notClosed.transport},
           "\nFailed to close ZMQ socket : ", notClosed.text());
    }
    return socket;
  });
}

int MQWrapper::registerSender(void* socket, const std::string& endpoint) const {
  return logged("Error : Tavrik::MQWrapper::registerSender() : ", [&] {
    if (zmq_bind(socket, endpoint.c_str()) != 0) fail(sites::bind, " : End Point : ", endpoint);
    return 0;
  });
}

int MQWrapper::registerReceiver(void* socket, const std::string& endpoint) const {
  return logged("Error : Tavrik::MQWrapper::registerReceiver() : ", [&] {
    if (zmq_connect(socket, endpoint.c_str()) != 0) {
      fail(sites::connect, " : End Point : ", endpoint);
    }
    return 0;
  });
}

int MQWrapper::setOption(void* socket, option_t option, const std::string& value) const {
  return logged("Error : Tavrik::MQWrapper::setOption() : ", [&] {
    if (setOptionValue(socket, rowOf(option), value) != 0) fail(sites::setOption);
    return 0;
  });
}

void MQWrapper::deleteEndpt(void* socket) const {
  if (socket == nullptr) return;
  closeSocket(socket, 0);
}

bool MQWrapper::deleteEndptAfter(void* socket, int linger) const {
  std::optional<DestructionWatch> watch;
  try {
    watch.emplace(context, socket);
  } catch (const std::exception&) {
    closeSocket(socket, linger);
    throw;
  }
  // ZeroMQ's clock counts whole milliseconds and may end the linger early, and this thread may see
  // the end late. So ZeroMQ gets more time: a socket whose destruction is seen before that begins
  // to run out has not dropped anything.
  constexpr std::chrono::milliseconds more{50};
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(linger);
  closeSocket(socket, linger + static_cast<int>(more.count()));
  return watch->waitUntil(end) && std::chrono::steady_clock::now() < end + more / 2;
}

}  // namespace tavrik
