// Signals that interrupt receives. The guide tells programs to block them in sends.
#ifndef TAVRIK_TESTS_DEATH_AND_RETURN_STORM_HPP
#define TAVRIK_TESTS_DEATH_AND_RETURN_STORM_HPP

#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <pthread.h>
#include <signal.h>

namespace deaths {

constexpr int stormSignal = SIGUSR1;

inline void maskStorm(int how) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, stormSignal);
  pthread_sigmask(how, &set, nullptr);
}

// For the main thread, before it starts others.
inline void handleStorm() {
  maskStorm(SIG_BLOCK);
  struct sigaction action {};
  action.sa_handler = [](int) {};  // without SA_RESTART, so waits end
  sigaction(stormSignal, &action, nullptr);
}

// While it exists, the signal interrupts this thread.
class OpenToStorm {
 public:
  OpenToStorm() { maskStorm(SIG_UNBLOCK); }
  ~OpenToStorm() { maskStorm(SIG_BLOCK); }
  OpenToStorm(const OpenToStorm&) = delete;
  OpenToStorm& operator=(const OpenToStorm&) = delete;
};

// Receives with the signal open. Returns 0 when nothing came in a short time.
inline int receiveInStorm(tavrik::TavrikChannel& channel, char* subject, tavrik::Message& message) {
  constexpr long untilNextCheck = 20;  // milliseconds
  const OpenToStorm open;
  return channel.receive(subject, &message, untilNextCheck);
}

}  // namespace deaths

#endif
