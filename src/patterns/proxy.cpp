// The proxy thread: its start record, its body, and the records by which workers find it.
#include <core/log_line.hpp>
#include <patterns/proxy.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/mutex_ra.hpp>

#include <zmq.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

namespace tavrik {
namespace {

// The newest record; each leads to the one before.
std::atomic<ProxyRecord*> newestRecord{nullptr};

ProxyRecord* findRecord(std::string_view name) {
  ProxyRecord* record = newestRecord.load(std::memory_order_acquire);
  while (record != nullptr && record->name != name) record = record->next;
  return record;
}

}  // namespace

const ProxyRecord* findProxyRecord(std::string_view name) {
  return findRecord(name);
}

ProxyRecord& proxyRecord(std::string_view name) {
  if (ProxyRecord* const known = findRecord(name)) return *known;
  auto record = std::make_unique<ProxyRecord>();
  record->name = name;
  record->next = newestRecord.load(std::memory_order_relaxed);
  newestRecord.store(record.get(), std::memory_order_release);
  return *record.release();
}

OwnedProxyThreadArgs proxyThreadArgs(const std::string& name) {
  OwnedProxyThreadArgs args(static_cast<ProxyThreadArgs*>(std::calloc(1, sizeof(ProxyThreadArgs))));
  if (args == nullptr) throw std::bad_alloc();
  args->name = strdup(name.c_str());
  if (args->name == nullptr) throw std::bad_alloc();
  return args;
}

ProxySockets::~ProxySockets() {
  release(router);
  release(dealer);
}

void ProxySockets::release(void* socket) const {
  try {
    transport.deleteEndpt(socket);
  } catch (const std::exception& exception) {
    logLine(TAVRIK_LOG_ERROR, prefix, exception.what());
  }
}

int timeval_subtract(timeval* result, timeval* x, timeval* y) {
  constexpr long long microseconds = 1000000;
  const auto total = [](const timeval& time) { return time.tv_sec * microseconds + time.tv_usec; };
  const long long difference = total(*x) - total(*y);
  result->tv_sec = difference / microseconds;
  result->tv_usec = difference % microseconds;
  return difference < 0 ? 1 : 0;
}

void* proxythreadfun(void* arg) {
  if (arg == nullptr) return nullptr;
  const OwnedProxyThreadArgs args(static_cast<ProxyThreadArgs*>(arg));
  timeval start{};
  timeval end{};
  timeval elapsed{};
  int result = 0;
  int error = 0;
  do {
    gettimeofday(&start, nullptr);
    result = zmq_proxy(args->router, args->dealer, nullptr);
    error = errno;
    gettimeofday(&end, nullptr);
    timeval_subtract(&elapsed, &end, &start);
  } while (error == EINTR);

  // The lines are logged under the lock, so that a worker that starts the proxy again finds them
  // logged.
  const MutexRA lock(&AsyncRouterDealerMsgPattern::proxymutex);
  auto& proxythreads = AsyncRouterDealerMsgPattern::proxythreads;
  // Without making a key: a thread has nobody to tell that memory is short.
  const auto entry = std::find_if(proxythreads.begin(), proxythreads.end(),
                                  [&](const auto& proxy) { return proxy.first == args->name; });
  if (entry != proxythreads.end()) {
    findRecord(args->name)->running.store(false, std::memory_order_release);
    proxythreads.erase(entry);
  }
  constexpr long long microsecondsPerMillisecond = 1000;
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
