// Interrupts a thread until it has been interrupted for certain.
#ifndef TAVRIK_TESTS_SUPPORT_SIGNAL_STORM_HPP
#define TAVRIK_TESTS_SUPPORT_SIGNAL_STORM_HPP

#include <support/transport_faults.hpp>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <thread>

namespace support {

// Sends a signal to the thread that made it, again and again while it lives: one that comes before
// a wait begins would not end it. Starts when that thread next enters zmq_poll, so that the signal
// meets the wait and not what comes before.
class SignalStorm {
 public:
  SignalStorm() : target(pthread_self()), pollsBefore(pollsEntered()) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART: waits end
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
