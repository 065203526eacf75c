// The workers of the load tests: each a channel in a thread of its own, which answers every request
// with its own parts, and a ledger of who had which request in hand.
#ifndef TAVRIK_TESTS_LOAD_WORKERS_HPP
#define TAVRIK_TESTS_LOAD_WORKERS_HPP

#include "proxy_tap.hpp"
#include "request.hpp"

#include <support/temp_dir.hpp>
#include <tavrik/typed_channels.hpp>

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace load {

// A request in a worker's hand. A worker that is started in the place of another has a number of
// its own.
struct Receipt {
  int worker;
  int attempt;
  bool answered;
};

// Who had what. Used by all workers.
class Ledger {
 public:
  void received(const Header& header, int worker);
  void answered(const Header& header, int worker);

  // Waits until the workers have received so many requests together; whether they did.
  bool waitUntilReceived(std::size_t count) const;

  std::size_t receivedSoFar() const;
  bool hasBeenAskedAgain(const RequestId& request) const;
  std::map<RequestId, std::vector<Receipt>> receipts() const;

 private:
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  std::map<RequestId, std::vector<Receipt>> all;
  std::size_t receivedTotal = 0;
};

// How a worker goes. In both cases requests are waiting in its queue.
enum class End {
  silent,   // with a request in hand that it does not answer
  talking,  // right after it has answered some
};

class Workers {
 public:
  // Connected when this returns.
  Workers(int count, std::uint32_t seed);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Where clients may connect.
  const std::string& ipcEndpoint() const { return ipc; }
  const std::string& tcpEndpoint() const { return tcp; }

  // Has one delete its channel, and waits until its thread has ended: its number.
  int end(std::size_t place, End how);

  // Starts another in the place of one that has ended.
  void startAgain(std::size_t place);

  // Has one keep the next request aside, until it has been asked again: only then is it answered.
  void keepOneAside(std::size_t place);
  std::optional<RequestId> keptAside() const;

  // Waits until no worker has found anything in its queue for a while; whether that came to be.
  bool waitUntilIdle() const;

  Ledger ledger;

 private:
  using Channel = std::unique_ptr<tavrik::AsyncRouterDealerChannel>;

  struct Worker {
    int number = 0;
    Channel channel;
    std::atomic<bool> stopping{false};
    std::atomic<bool> ending{false};
    std::atomic<bool> keeping{false};
    std::atomic<int> idleLooks{0};  // since it last found something
    End how = End::silent;
    std::thread thread;
  };

  Channel newChannel() const;
  void start(Worker& worker, Channel channel);
  void serve(Worker& worker);
  void answer(Worker& worker, const Header& header, tavrik::Message& message);
  void leave(Worker& worker, const Header& inHand, tavrik::Message& message);

  support::TempDir dir;
  std::string name;
  std::string ipc;
  std::string tcp;
  std::string back;
  std::uint32_t seed;
  int started = 0;
  std::vector<std::unique_ptr<Worker>> workers;
  mutable std::mutex keptMutex;
  std::optional<RequestId> kept;
};

}  // namespace load

#endif
