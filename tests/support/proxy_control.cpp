#include <support/proxy_control.hpp>

#include <dlfcn.h>
#include <pthread.h>
#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace support {
namespace {

// Never destroyed: calls may wait until the process ends.
struct State {
  std::mutex mutex;
  std::condition_variable changed;
  bool controlled = false;
  int calls = 0;
  std::deque<int> ends;
  void* router = nullptr;
  void* dealer = nullptr;
};

State& state() {
  static auto& only = *new State;
  return only;
}

std::atomic<int> allCalls{0};
thread_local bool threadsFail = false;

}  // namespace

ProxyControl::ProxyControl() {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().controlled = true;
  state().calls = 0;
  state().ends.clear();
}

ProxyControl::~ProxyControl() {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().controlled = false;
}

void ProxyControl::waitForCalls(int count) {
  std::unique_lock<std::mutex> lock(state().mutex);
  state().changed.wait(lock, [&] { return state().calls >= count; });
}

void ProxyControl::end(int error) {
  const std::lock_guard<std::mutex> lock(state().mutex);
  state().ends.push_back(error);
  state().changed.notify_all();
}

void* ProxyControl::router() const {
  return state().router;
}
void* ProxyControl::dealer() const {
  return state().dealer;
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

}  // namespace support

extern "C" int zmq_proxy(void* frontend, void* backend, void* capture) {
  using support::state;
  ++support::allCalls;
  int error = 0;
  {
    std::unique_lock<std::mutex> lock(state().mutex);
    if (state().controlled) {
      ++state().calls;
      state().router = frontend;
      state().dealer = backend;
      state().changed.notify_all();
      state().changed.wait(lock, [] { return !state().ends.empty(); });
      error = state().ends.front();
      state().ends.pop_front();
    }
  }
  if (error != 0) {
    errno = error;
    return -1;
  }
  static const auto real = reinterpret_cast<decltype(&zmq_proxy)>(dlsym(RTLD_NEXT, "zmq_proxy"));
  return real(frontend, backend, capture);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
  if (support::threadsFail) return EAGAIN;
  static const auto real =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return real(thread, attributes, body, argument);
}
