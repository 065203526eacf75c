// The workers of the load tests, each with a channel and a thread. They reply with the parts of the
// request, and record who received which request.
#ifndef TAVRIK_TESTS_LOAD_WORKERS_HPP
#define TAVRIK_TESTS_LOAD_WORKERS_HPP

#include "request.hpp"

#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <poll.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace load {

// What the workers did with a request.
struct Receipt {
  int worker;  // the number of the last one that received it
  bool replied;
};

class Workers {
 public:
  // The workers are connected when this returns. The seed determines which replies are delayed.
  Workers(int count, std::uint32_t delaySeed) : seed(delaySeed) {
    // Another process may take the port before the proxy binds it.
    constexpr int attempts = 100;
    Channel first;
    for (int i = 0; i < attempts && first == nullptr; ++i) {
      ipc = dir.ipcEndpoint();
      tcp = support::tcpEndpoint();
      back = dir.ipcEndpoint();
      try {
        first = newChannel();
      } catch (const std::runtime_error&) {
      }
    }
    if (first == nullptr) throw std::runtime_error("no free port");
    start(std::move(first));
    while (static_cast<int>(workers.size()) < count) start(newChannel());
  }

  ~Workers() {
    stopping = true;
    for (const auto& worker : workers) {
      if (worker->thread.joinable()) worker->thread.join();
    }
  }

  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  const std::string& ipcEndpoint() const { return ipc; }
  const std::string& tcpEndpoint() const { return tcp; }

  void startOneMore() { start(newChannel()); }

  // Has a worker delete its channel while requests are waiting in its queue, and one that it has
  // received has no reply yet. Returns when that is done.
  void end(int worker) {
    Worker& ending = *workers[static_cast<std::size_t>(worker)];
    ending.ending = true;
    ending.thread.join();
  }

  // Waits until each worker has processed everything that the proxy forwarded before this call. The
  // proxy forwards to the workers in turn, and each queue keeps its order. A worker that replies to
  // this request has therefore received everything that was forwarded to it before.
  void drain() {
    std::set<std::string> drained;
    for (const auto& worker : workers) {
      if (!worker->thread.joinable()) drained.insert(std::to_string(worker->number));
    }
    tavrik::AsyncRouterDealerChannel client("drain", ASYNC_DEALER_CLIENT);
    client.setServerEndPoint(ipc);
    while (drained.size() < workers.size()) {
      tavrik::Message message;
      char subject[SUBJECT_BUFFER_SIZE];
      client.send(drainSubject, &message);
      tavrik_pollitem_t item = {&client, TAVRIK_POLLIN, 0};
      ASSERT_EQ(1, tavrik::channel_poll(&item, 1, support::patience)) << "a worker does not reply";
      ASSERT_EQ(0, client.receive(subject, &message, 0));
      drained.insert(subject);
    }
  }

  // Waits until the workers have received this many more requests. Returns whether they did in
  // time.
  bool receiveMore(int count) const {
    std::unique_lock<std::mutex> lock(mutex);
    const int expected = receivedTotal + count;
    return changed.wait_for(lock, std::chrono::milliseconds(support::patience),
                            [&] { return receivedTotal >= expected; });
  }

  std::map<RequestId, Receipt> receipts() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return ledger;
  }

 private:
  using Channel = std::unique_ptr<tavrik::AsyncRouterDealerChannel>;

  struct Worker {
    int number;
    Channel channel;
    std::atomic<bool> ending{false};
    std::thread thread;
  };

  Channel newChannel() const {
    auto channel = std::make_unique<tavrik::AsyncRouterDealerChannel>(name, ASYNC_DEALER_WORKER);
    channel->setServerEndPoint(ipc);
    channel->setServerEndPoint(tcp);
    channel->setWorkerEndPoint(back);
    tavrik_pollitem_t item = {channel.get(), TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);  // connects
    return channel;
  }

  void start(Channel channel) {
    const int number = static_cast<int>(workers.size());
    workers.push_back(std::make_unique<Worker>());
    Worker& worker = *workers.back();
    worker.number = number;
    worker.channel = std::move(channel);
    worker.thread = std::thread([this, &worker] { serve(worker); });
  }

  void serve(Worker& worker) {
    std::mt19937 random(seed + static_cast<std::uint32_t>(worker.number));
    while (!stopping) {
      constexpr long untilNextCheck = 20;  // milliseconds
      Header header;
      tavrik::Message message;
      if (!receive(worker, header, message, untilNextCheck)) continue;
      if (worker.ending) return leave(worker, header, message);
      const bool slow = random() % 10 == 0;
      if (slow) poll(nullptr, 0, static_cast<int>(1 + random() % 5));
      reply(worker, header, message);
    }
  }

  // Returns whether a request was received. Replies to a request to drain itself.
  bool receive(Worker& worker, Header& header, tavrik::Message& message, long timeout) {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    const int parts = worker.channel->receive(subject, &message, timeout);
    if (subject == std::string(drainSubject)) {
      worker.channel->send(std::to_string(worker.number).c_str(), &message);
    }
    if (parts < 1) return false;
    header = Header::parse(message.getPart(0)).value();
    const std::lock_guard<std::mutex> lock(mutex);
    ledger[header.id()] = {worker.number, false};
    ++receivedTotal;
    changed.notify_all();
    return true;
  }

  void reply(Worker& worker, const Header& header, tavrik::Message& message) {
    worker.channel->send(replySubject, &message);
    const std::lock_guard<std::mutex> lock(mutex);
    ledger[header.id()].replied = true;
  }

  void leave(Worker& worker, Header header, tavrik::Message& message) {
    // The proxy forwards to the workers in turn, so this queue fills while the others work.
    constexpr int byOthers = 400;
    constexpr int replies = 20;
    EXPECT_TRUE(receiveMore(byOthers));
    for (int i = 0; i < replies; ++i) {
      reply(worker, header, message);
      EXPECT_TRUE(receive(worker, header, message, 0)) << "the queue is empty";
    }
    worker.channel.reset();
  }

  static constexpr const char* drainSubject = "drain";

  support::TempDir dir;
  const std::string name = support::testName();
  std::string ipc;
  std::string tcp;
  std::string back;
  const std::uint32_t seed;
  std::vector<std::unique_ptr<Worker>> workers;  // by number; an ended one has no thread
  std::atomic<bool> stopping{false};

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  std::map<RequestId, Receipt> ledger;
  int receivedTotal = 0;
};

}  // namespace load

#endif
