// Sees what passes a proxy, in the order in which it passes.
#ifndef TAVRIK_TESTS_LOAD_PROXY_TAP_HPP
#define TAVRIK_TESTS_LOAD_PROXY_TAP_HPP

#include "request.hpp"

#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>

#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace load {

// The client and the number of a request.
using RequestId = std::pair<int, int>;

inline RequestId idOf(const Header& header) {
  return {header.client, header.number};
}

// While it lives, proxies that start give it a copy of each message that they pass on.
class ProxyTap {
 public:
  ProxyTap();
  ~ProxyTap();
  ProxyTap(const ProxyTap&) = delete;
  ProxyTap& operator=(const ProxyTap&) = delete;

  // Waits until so many requests and answers have passed; whether they did.
  bool waitFor(std::size_t requests, std::size_t answers) const;

  // How often each request, and an answer to it, has passed.
  std::map<RequestId, int> requests() const;
  std::map<RequestId, int> answers() const;

 private:
  void listen();

  support::TempDir dir;
  support::PlainSocket socket;
  mutable std::mutex mutex;
  std::map<RequestId, int> requestCounts;
  std::map<RequestId, int> answerCounts;
  std::atomic<std::size_t> requestTotal{0};
  std::atomic<std::size_t> answerTotal{0};
  std::atomic<bool> done{false};
  std::thread listener;
};

}  // namespace load

#endif
