// What the threads of a soak process share.
#ifndef TAVRIK_TESTS_SOAK_STATE_HPP
#define TAVRIK_TESTS_SOAK_STATE_HPP

#include <support/plain_socket.hpp>

#include <atomic>
#include <iostream>
#include <mutex>
#include <string>

namespace soak {

// A message that does not come in this time is lost.
constexpr long patience = 3 * support::patience;  // milliseconds

// How long a thread waits at most before it checks whether to end.
constexpr long untilNextCheck = 20;  // milliseconds

// The endpoints of the servers over one transport.
struct Endpoints {
  std::string requests;  // request/reply
  std::string jobs;      // router/dealer
  std::string feed;      // publish/subscribe
  std::string progress;  // request/reply: a subscriber tells its publisher what it has received
};

struct State {
  std::atomic<long> requests{0};
  std::atomic<long> jobs{0};
  std::atomic<long> news{0};
  std::atomic<long> faults{0};
  std::atomic<bool> finishing{false};  // no new messages; what is under way still arrives
  std::atomic<bool> ending{false};     // the servers stop serving

  void addFault(const std::string& text) {
    constexpr long shown = 20;
    const std::lock_guard<std::mutex> lock(output);
    // In one write, because the soak prints to the same terminal.
    if (++faults <= shown) std::cerr << "fault: " + text + '\n';
  }

 private:
  std::mutex output;
};

}  // namespace soak

#endif
