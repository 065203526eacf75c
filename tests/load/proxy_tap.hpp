// Records which requests and replies pass a proxy.
#ifndef TAVRIK_TESTS_LOAD_PROXY_TAP_HPP
#define TAVRIK_TESTS_LOAD_PROXY_TAP_HPP

#include "request.hpp"

#include <support/next_function.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>

#include <zmq.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace load {

// What has passed with one identification.
struct Passed {
  int times = 0;
  std::int64_t sentAt = 0;  // the first time
};

// A proxy that starts while this object exists sends it a copy of each message that it forwards.
class ProxyTap {
 public:
  using All = std::map<RequestId, Passed>;

  ProxyTap() : socket(ZMQ_PULL) {
    const std::string own = dir.ipcEndpoint();
    removeLimit(socket, ZMQ_RCVHWM);
    socket.bind(own);
    setEndpoint(own);
    listener = std::thread([this] { listen(); });
  }

  ~ProxyTap() {
    setEndpoint("");
    done = true;
    listener.join();
  }

  ProxyTap(const ProxyTap&) = delete;
  ProxyTap& operator=(const ProxyTap&) = delete;

  // Waits until this many requests and replies have passed. Returns whether they did in time.
  bool waitFor(int requestCount, int replyCount) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(support::patience), [&] {
      return requestTotal >= requestCount && replyTotal >= replyCount;
    });
  }

  All requests() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return allRequests;
  }

  All replies() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return allReplies;
  }

  // What the load tests define in place of zmq_proxy().
  static int runProxy(void* frontend, void* backend, void* capture) {
    static const auto real = support::next(&zmq_proxy);
    std::unique_lock<std::mutex> lock(endpointMutex);
    const std::string tapped = endpoint;
    lock.unlock();
    if (tapped.empty()) return real(frontend, backend, capture);
    support::PlainSocket tap(ZMQ_PUSH);
    removeLimit(tap, ZMQ_SNDHWM);
    tap.connect(tapped);
    return real(frontend, backend, tap.raw());
  }

 private:
  static void setEndpoint(const std::string& value) {
    const std::lock_guard<std::mutex> lock(endpointMutex);
    endpoint = value;
  }

  // Without a high-water mark, the tap does not slow the proxy down.
  static void removeLimit(support::PlainSocket& limited, int option) {
    limited.setOption(option, std::string(sizeof(int), '\0'));
  }

  void listen() {
    while (!done) {
      constexpr long untilNextCheck = 20;  // milliseconds
      if (!socket.hasMessage(untilNextCheck)) continue;
      const support::Frames frames = socket.receive();
      // The identity, the subject, the header.
      const auto header = frames.size() > 2 ? Header::parse(frames[2]) : std::nullopt;
      if (!header) continue;
      const std::lock_guard<std::mutex> lock(mutex);
      const bool isRequest = frames[1] == requestSubject;
      Passed& passed = (isRequest ? allRequests : allReplies)[header->id()];
      if (++passed.times == 1) passed.sentAt = header->sentAt;
      ++(isRequest ? requestTotal : replyTotal);
      changed.notify_all();
    }
  }

  static inline std::mutex endpointMutex;
  static inline std::string endpoint;  // of the tap that exists

  support::TempDir dir;
  support::PlainSocket socket;
  mutable std::mutex mutex;
  std::condition_variable changed;
  All allRequests;
  All allReplies;
  int requestTotal = 0;
  int replyTotal = 0;
  std::atomic<bool> done{false};
  std::thread listener;
};

}  // namespace load

#endif
