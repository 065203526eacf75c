// The proxy thread: its sockets, its start record and its body.
#include <core/log_line.hpp>
#include <patterns/proxy_registry.hpp>
#include <patterns/proxy_thread.hpp>

#include <zmq.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

namespace tavrik {

ProxySockets::~ProxySockets() {
  close(router);
  close(dealer);
}

void ProxySockets::close(void* socket) const {
  try {
    transport.deleteEndpt(socket);
  } catch (const std::exception& exception) {
    logLine(TAVRIK_LOG_ERROR, prefix, exception.what());
  }
}

OwnedProxyThreadArgs proxyThreadArgs(const std::string& name) {
  OwnedProxyThreadArgs args(static_cast<ProxyThreadArgs*>(std::calloc(1, sizeof(ProxyThreadArgs))));
  if (args == nullptr) throw std::bad_alloc();
  args->name = strdup(name.c_str());
  if (args->name == nullptr) throw std::bad_alloc();
  return args;
}

int timeval_subtract(timeval* result, timeval* x, timeval* y) {
  constexpr std::int64_t microseconds = 1000000;
  // time_t may have 32 bits, so widen it before multiplying.
  const auto total = [](const timeval& time) {
    return std::int64_t{time.tv_sec} * microseconds + time.tv_usec;
  };
  const std::int64_t difference = total(*x) - total(*y);
  result->tv_sec = static_cast<decltype(result->tv_sec)>(difference / microseconds);
  result->tv_usec = static_cast<decltype(result->tv_usec)>(difference % microseconds);
  return difference < 0 ? 1 : 0;
}

void* proxythreadfun(void* arg) {
  if (arg == nullptr) return nullptr;
  ProxyRegistry& registry = ProxyRegistry::instance();
  OwnedProxyThreadArgs args(static_cast<ProxyThreadArgs*>(arg));
  void* const router = args->router;
  void* const dealer = args->dealer;
  ProxyRegistry::Record* const record = registry.find(args->name);
  args.reset();

  timeval start{};
  timeval end{};
  timeval elapsed{};
  int result = 0;
  int error = 0;
  do {
    gettimeofday(&start, nullptr);
    result = zmq_proxy(router, dealer, nullptr);
    error = errno;
    gettimeofday(&end, nullptr);
    timeval_subtract(&elapsed, &end, &start);
  } while (error == EINTR);

  // Log both lines under the lock: a worker that starts the proxy again finds them logged.
  const MutexRA lock = registry.lock();
  registry.remove(record);
  constexpr int microsecondsPerMillisecond = 1000;
  char line[255];
  std::snprintf(line, sizeof line, "Error : proxythreadfun : %llu %llu",
                static_cast<unsigned long long>(elapsed.tv_sec),
                static_cast<unsigned long long>(elapsed.tv_usec / microsecondsPerMillisecond));
  logLine(TAVRIK_LOG_DEBUG, line);
  std::snprintf(line, sizeof line,
                "Error : proxythreadfun should not come here  ret : %d error %s !!!!", result,
                zmq_strerror(error));
  logLine(TAVRIK_LOG_DEBUG, line);
  return nullptr;
}

}  // namespace tavrik
