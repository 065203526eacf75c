#include <support/proxy_control.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>
#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

namespace support {

struct ProxyControl::State {
  struct End {
    int error;
    long microseconds;
    int result;
  };

  std::mutex mutex;
  std::condition_variable changed;
  std::size_t calls = 0;
  std::vector<End> ends;  // of the calls, in their order
  void* router = nullptr;
  void* dealer = nullptr;

  // Waits to be told how a call ends.
  End called(void* frontend, void* backend) {
    std::unique_lock<std::mutex> lock(mutex);
    const std::size_t own = calls++;
    router = frontend;
    dealer = backend;
    changed.notify_all();
    changed.wait(lock, [&] { return ends.size() > own; });
    return ends[own];
  }
};

// The control that is alive, if any. Never destroyed: calls may come until the process ends.
struct Controls {
  using State = ProxyControl::State;

  static std::shared_ptr<State> current() {
    const std::lock_guard<std::mutex> lock(only().mutex);
    return only().state;
  }
  static void set(const std::shared_ptr<State>& state) {
    const std::lock_guard<std::mutex> lock(only().mutex);
    only().state = state;
  }

 private:
  static Controls& only() {
    static auto& controls = *new Controls;
    return controls;
  }

  std::mutex mutex;
  std::shared_ptr<State> state;
};

namespace {

std::atomic<int> allCalls{0};
std::atomic<int> threadsMade{0};
std::atomic<int> threadsThatCalled{0};
std::atomic<bool> hadAttributes{false};
thread_local bool threadsFail = false;
thread_local long microsecondsPassed = 0;

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

std::function<void()> beforeProxyThread;

// The calls that are on their way are not this one's.
ProxyControl::ProxyControl() : state(std::make_shared<State>()) {
  while (threadsThatCalled < threadsMade) std::this_thread::yield();
  Controls::set(state);
}

ProxyControl::~ProxyControl() {
  Controls::set(nullptr);
}

void ProxyControl::waitForCalls(int count) {
  std::unique_lock<std::mutex> lock(state->mutex);
  state->changed.wait(lock, [&] { return state->calls >= static_cast<std::size_t>(count); });
}

void ProxyControl::end(int error, long microseconds, int result) {
  const std::lock_guard<std::mutex> lock(state->mutex);
  state->ends.push_back({error, microseconds, result});
  state->changed.notify_all();
}

void* ProxyControl::router() const {
  return state->router;
}
void* ProxyControl::dealer() const {
  return state->dealer;
}

ThreadFailure::ThreadFailure() {
  threadsFail = true;
}
ThreadFailure::~ThreadFailure() {
  threadsFail = false;
}

int proxyCalls() {
  return allCalls;
}
bool proxyThreadHadAttributes() {
  return hadAttributes;
}

}  // namespace support

extern "C" {

int zmq_proxy(void* frontend, void* backend, void* capture) {
  ++support::allCalls;
  const auto control = support::Controls::current();
  thread_local bool called = false;
  if (!called) ++support::threadsThatCalled;
  called = true;
  if (control != nullptr) {
    const auto end = control->called(frontend, backend);
    support::microsecondsPassed += end.microseconds;
    errno = end.error;
    return end.result;
  }
  static const auto real = support::next<decltype(&zmq_proxy)>("zmq_proxy");
  return real(frontend, backend, capture);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) {
  if (support::threadsFail) return EAGAIN;
  if (body == tavrik::proxythreadfun) {
    support::hadAttributes = attributes != nullptr;
    if (support::beforeProxyThread) support::beforeProxyThread();
  }
  static const auto real = support::next<decltype(&pthread_create)>("pthread_create");
  const int error = real(thread, attributes, body, argument);
  if (error == 0 && body == tavrik::proxythreadfun) ++support::threadsMade;
  return error;
}

int gettimeofday(timeval* time, void* zone) noexcept {
  if (support::Controls::current() != nullptr) {
    constexpr long microsecondsPerSecond = 1000000;
    constexpr long start = 1700000000;
    time->tv_sec = start + support::microsecondsPassed / microsecondsPerSecond;
    time->tv_usec = support::microsecondsPassed % microsecondsPerSecond;
    errno = 0;  // as a call may that succeeds
    return 0;
  }
  static const auto real = support::next<decltype(&gettimeofday)>("gettimeofday");
  return real(time, zone);
}

}  // extern "C"
