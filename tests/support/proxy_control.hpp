// Stands in front of the functions that a proxy thread uses: zmq_proxy, pthread_create and
// gettimeofday.
#ifndef TAVRIK_TESTS_SUPPORT_PROXY_CONTROL_HPP
#define TAVRIK_TESTS_SUPPORT_PROXY_CONTROL_HPP

#include <signal.h>

#include <functional>
#include <memory>

namespace support {

// Proxy threads that are created while it lives do not forward: each call of zmq_proxy blocks until
// end() tells how it ends, or until the process ends. In these threads gettimeofday advances only
// by the times given to end().
class ProxyControl {
 public:
  ProxyControl();
  ~ProxyControl();
  ProxyControl(const ProxyControl&) = delete;
  ProxyControl& operator=(const ProxyControl&) = delete;

  // Waits until there have been so many calls.
  void waitForCalls(int count);

  // Ends the oldest call that has not been ended, or the next one, with the error and the result.
  // The clock of its thread advances by the microseconds.
  void end(int error, long microseconds = 0, int result = -1);

  // The sockets of the latest call, and the signal mask of its thread.
  void* router() const;
  void* dealer() const;
  sigset_t signalMask() const;

  struct State;

 private:
  std::shared_ptr<State> state;  // shared with the calls that wait
};

// While it lives, this thread cannot create threads.
class ThreadFailure {
 public:
  ThreadFailure();
  ~ThreadFailure();
  ThreadFailure(const ThreadFailure&) = delete;
  ThreadFailure& operator=(const ThreadFailure&) = delete;
};

// How often zmq_proxy has been called in this process.
int proxyCalls();

// Whether the latest proxy thread was created with attributes.
bool proxyThreadHadAttributes();

// Called before a proxy thread is created, by the thread that creates it. Null: nothing.
extern std::function<void()> beforeProxyThread;

}  // namespace support

#endif
