#include <support/failing_allocator.hpp>
#include <support/next_function.hpp>
#include <support/proxy_control.hpp>
#include <tavrik/proxy_thread.hpp>

#include <pthread.h>
#include <sys/time.h>
#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
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
  sigset_t signalMask{};

  // Waits until the call is ended.
  End called(void* frontend, void* backend) {
    std::unique_lock<std::mutex> lock(mutex);
    const std::size_t own = calls++;
    router = frontend;
    dealer = backend;
    pthread_sigmask(SIG_BLOCK, nullptr, &signalMask);
    changed.notify_all();
    changed.wait(lock, [&] { return ends.size() > own; });
    return ends[own];
  }
};

// The control that is alive, if any. Never destroyed, because threads run until the process ends.
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
std::atomic<bool> hadAttributes{false};
thread_local bool threadsFail = false;

// A proxy thread belongs to the control that was alive when the thread was created, if there was
// one.
struct ProxyThread {
  void* argument = nullptr;
  std::shared_ptr<ProxyControl::State> control;
  long microsecondsPassed = 0;
};
thread_local std::unique_ptr<ProxyThread> thisThread;

void* runProxyThread(void* thread) {
  thisThread.reset(static_cast<ProxyThread*>(thread));
  return tavrik::proxythreadfun(thisThread->argument);
}

}  // namespace

std::function<void()> beforeProxyThread;

ProxyControl::ProxyControl() : state(std::make_shared<State>()) {
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
sigset_t ProxyControl::signalMask() const {
  return state->signalMask;
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
  using support::thisThread;
  ++support::allCalls;
  if (const auto control = thisThread ? thisThread->control : support::Controls::current()) {
    const auto end = control->called(frontend, backend);
    if (thisThread) thisThread->microsecondsPassed += end.microseconds;
    errno = end.error;
    return end.result;
  }
  static const auto real = support::next(&zmq_proxy);
  return real(frontend, backend, capture);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) {
  if (support::threadsFail) return EAGAIN;
  static const auto real = support::next(&pthread_create);
  if (body != tavrik::proxythreadfun) return real(thread, attributes, body, argument);
  const support::AllocationTruce truce;
  support::hadAttributes = attributes != nullptr;
  if (support::beforeProxyThread) support::beforeProxyThread();
  auto own = std::make_unique<support::ProxyThread>();
  own->argument = argument;
  own->control = support::Controls::current();
  const int error = real(thread, attributes, support::runProxyThread, own.get());
  if (error == 0) static_cast<void>(own.release());  // the thread owns it
  return error;
}

int gettimeofday(timeval* time, void* zone) noexcept {
  using support::thisThread;
  if (thisThread && thisThread->control != nullptr) {
    constexpr long microsecondsPerSecond = 1000000;
    constexpr long start = 1700000000;
    time->tv_sec = start + thisThread->microsecondsPassed / microsecondsPerSecond;
    time->tv_usec = thisThread->microsecondsPassed % microsecondsPerSecond;
    errno = 0;  // a successful call may change it
    return 0;
  }
  static const auto real = support::next(&gettimeofday);
  return real(time, zone);
}

}  // extern "C"
