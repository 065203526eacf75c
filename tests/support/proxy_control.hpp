// Stands in front of what a proxy thread is made of: zmq_proxy, and the making of the thread.
#ifndef TAVRIK_TESTS_SUPPORT_PROXY_CONTROL_HPP
#define TAVRIK_TESTS_SUPPORT_PROXY_CONTROL_HPP

namespace support {

// While it lives, a call of zmq_proxy does not forward but waits to be told how it ends. A call
// that is not told waits until the process ends.
class ProxyControl {
 public:
  ProxyControl();
  ~ProxyControl();
  ProxyControl(const ProxyControl&) = delete;
  ProxyControl& operator=(const ProxyControl&) = delete;

  // Waits until zmq_proxy has been called so many times since the object was made.
  void waitForCalls(int count);

  // Makes one waiting call return -1 with the error.
  void end(int error);

  // The sockets of the latest call.
  void* router() const;
  void* dealer() const;
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

}  // namespace support

#endif
