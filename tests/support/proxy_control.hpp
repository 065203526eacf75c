// Stands in front of what a proxy thread is made of: zmq_proxy, the making of the thread, and the
// clock.
#ifndef TAVRIK_TESTS_SUPPORT_PROXY_CONTROL_HPP
#define TAVRIK_TESTS_SUPPORT_PROXY_CONTROL_HPP

#include <functional>
#include <memory>

namespace support {

// The proxy threads that are made while it lives do not forward: a call of zmq_proxy waits to be
// told how it ends, and gettimeofday stands still but for what the calls are said to take. A call
// that is not told waits until the process ends.
class ProxyControl {
 public:
  ProxyControl();
  ~ProxyControl();
  ProxyControl(const ProxyControl&) = delete;
  ProxyControl& operator=(const ProxyControl&) = delete;

  // Waits until there have been so many such calls.
  void waitForCalls(int count);

  // Ends the oldest call that has not been told yet, or the next one, with the error. Its caller
  // finds the clock so many microseconds further on.
  void end(int error, long microseconds = 0, int result = -1);

  // The sockets of the latest call.
  void* router() const;
  void* dealer() const;

  struct State;

 private:
  std::shared_ptr<State> state;  // shared with the calls that wait
};

// While it lives, this thread cannot make threads.
class ThreadFailure {
 public:
  ThreadFailure();
  ~ThreadFailure();
  ThreadFailure(const ThreadFailure&) = delete;
  ThreadFailure& operator=(const ThreadFailure&) = delete;
};

// How often zmq_proxy has been called in this process.
int proxyCalls();

// Whether the latest proxy thread was made with attributes of its own.
bool proxyThreadHadAttributes();

// Called before a proxy thread is made, by the thread that makes it. Null: nothing.
extern std::function<void()> beforeProxyThread;

}  // namespace support

#endif
