// Interrupts a thread that waits in zmq_poll.
#ifndef TAVRIK_TESTS_SUPPORT_SIGNAL_STORM_HPP
#define TAVRIK_TESTS_SUPPORT_SIGNAL_STORM_HPP

#include <support/transport_faults.hpp>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <thread>

namespace support {

// Sends signals to the thread that made it, from the moment when a thread next calls zmq_poll until
// it is destroyed. One signal is not enough: it may arrive just before the wait.
class SignalStorm {
 public:
  SignalStorm() : target(pthread_self()), pollsBefore(pollsEntered()) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART, so waits end
    sigaction(SIGUSR1, &action, nullptr);
    sender = std::thread([this] {
      while (!over) {
        if (pollsEntered() > pollsBefore) pthread_kill(target, SIGUSR1);
        std::this_thread::yield();
      }
    });
  }
  ~SignalStorm() {
    over = true;
    sender.join();
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;

 private:
  pthread_t target;
  int pollsBefore;
  std::atomic<bool> over{false};
  std::thread sender;
};

}  // namespace support

#endif
