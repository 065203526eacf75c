// The servers of the soak: they answer requests and jobs, and publish news no faster than the
// slowest subscriber receives them, so that no message may be lost.
#ifndef TAVRIK_TESTS_SOAK_SERVERS_HPP
#define TAVRIK_TESTS_SOAK_SERVERS_HPP

#include "payload.hpp"
#include "sabotage.hpp"
#include "state.hpp"

#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace soak {

// Answers each message with itself.
inline void answer(State& state, Sabotage& sabotage, tavrik::TavrikChannel& channel,
                   std::atomic<long>& answered) {
  while (!state.ending) {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    if (channel.receive(subject, &message, untilNextCheck) < 1) continue;
    if (!intact(message)) state.addFault("a request arrived damaged");
    if (sabotage.isDue("wrong")) message[0][0] ^= 1;
    sabotage.waste();
    channel.send("answer", &message);
    ++answered;
  }
}

// The subscribers report how many messages they have received, in epochs: in each epoch they use a
// new channel.
class Progress {
 public:
  explicit Progress(std::size_t count) : subscribers(count) {}

  void set(const Header& report) { received[report.attempt][report.client] = report.number; }

  // How many messages of an epoch each of the subscribers has received; -1 while one has not joined
  // yet.
  int slowest(int epoch) const {
    const auto found = received.find(epoch);
    if (found == received.end() || found->second.size() < subscribers) return -1;
    const auto less = [](const auto& one, const auto& other) { return one.second < other.second; };
    return std::min_element(found->second.begin(), found->second.end(), less)->second;
  }

  void forget(int epoch) { received.erase(epoch); }

 private:
  const std::size_t subscribers;
  std::map<int, std::map<int, int>> received;  // by epoch and subscriber
};

class Publisher {
 public:
  Publisher(State& shared, Sabotage& fault, const Endpoints& endpoints, std::size_t subscribers)
      : state(shared), sabotage(fault), progress(subscribers) {
    reports.setServerEndPoint(endpoints.progress);
    listen(0);  // binds
    feed.setProperty(PUB_SUB_SET_PUB_SNDHWM, "1000");
    feed.setPublisherEndPoint(endpoints.feed);
  }

  void run() {
    try {
      for (int epoch = 0; !publishEpoch(epoch); ++epoch) progress.forget(epoch);
    } catch (const std::runtime_error& failure) {
      state.addFault(failure.what());
    }
  }

 private:
  // Returns whether it is the last epoch. All subscribers have received all of it then.
  bool publishEpoch(int epoch) {
    constexpr int length = 20000;
    int number = 0;
    while (number < length && !state.finishing) publish("news", epoch, number++);
    const bool last = state.finishing;
    publish(last ? "stop" : "pause", epoch, number++);
    waitFor(epoch, number);
    return last;
  }

  void publish(const char* subject, int epoch, int number) {
    // The queues of publisher and subscriber hold 1000 messages each.
    constexpr int window = 400;
    waitFor(epoch, number - window);
    listen(0);
    if (sabotage.isDue("lost")) return;
    tavrik::Message message = payload(0, number, epoch);
    if (sabotage.isDue("duplicated")) feed.send(subject, &message);
    feed.send(subject, &message);
    ++state.news;
  }

  // Waits until each subscriber has joined and has received this many messages.
  void waitFor(int epoch, int count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
    while (progress.slowest(epoch) < std::max(count, 0)) {
      listen(untilNextCheck);
      if (std::chrono::steady_clock::now() > end) {
        throw std::runtime_error("a subscriber does not receive what was published");
      }
    }
  }

  // Takes a report, if there is one. A subscriber that looks for the beginning gets one.
  void listen(long timeout) {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    if (reports.receive(subject, &message, timeout) < 1) return;
    if (subject == std::string("look")) {
      feed.send("begin", &message);
    } else if (const auto report = Header::parse(message.getPart(0))) {
      progress.set(*report);
    }
    reports.send("noted", &message);
  }

  State& state;
  Sabotage& sabotage;
  Progress progress;
  tavrik::RequestReplyChannel reports{"progress", REP_SERVER};
  tavrik::PublishSubscribeChannel feed{"news", PUBLISHER};
};

// All servers of the process, each in a thread of its own. Bound when the constructor returns.
class Servers {
 public:
  Servers(State& shared, Sabotage& fault, const std::string& directory, std::size_t subscribers)
      : state(shared), sabotage(fault) {
    // Another process may take a port before it is bound.
    constexpr int attempts = 100;
    for (int i = 0; i < attempts; ++i) {
      const std::string path = "ipc://" + directory + "/" + std::to_string(i);
      ipc = {path + "-requests", path + "-jobs", path + "-feed", path + "-progress"};
      tcp = {support::tcpEndpoint(), support::tcpEndpoint(), support::tcpEndpoint(),
             support::tcpEndpoint()};
      try {
        bind("inproc://workers-" + std::to_string(i), "soak-" + std::to_string(i), subscribers);
        return;
      } catch (const std::runtime_error&) {
        servers.clear();
        workers.clear();
        publishers.clear();
      }
    }
    throw std::runtime_error("no free ports");
  }

  void start() {
    for (auto& publisher : publishers) {
      publishing.emplace_back([&publisher] { publisher.run(); });
    }
    for (auto& server : servers) {
      serving.emplace_back([&] { answer(state, sabotage, server, state.requests); });
    }
    for (auto& worker : workers) {
      serving.emplace_back([&] { work(worker); });
    }
  }

  // Returns when the subscribers have received everything.
  void finish() {
    for (std::thread& thread : publishing) thread.join();
  }

  void end() {
    for (std::thread& thread : serving) thread.join();
  }

  Endpoints ipc;
  Endpoints tcp;

 private:
  void bind(const std::string& workerEndpoint, const std::string& name, std::size_t subscribers) {
    for (const Endpoints& endpoints : {ipc, tcp}) {
      tavrik::RequestReplyChannel& server = servers.emplace_back("requests", REP_SERVER);
      server.setServerEndPoint(endpoints.requests);
      connect(server);
      publishers.emplace_back(state, sabotage, endpoints, subscribers);
    }
    constexpr std::size_t workerCount = 3;
    while (workers.size() < workerCount) {
      tavrik::AsyncRouterDealerChannel& worker = workers.emplace_back(name, ASYNC_DEALER_WORKER);
      worker.setServerEndPoint(ipc.jobs);
      worker.setServerEndPoint(tcp.jobs);
      worker.setWorkerEndPoint(workerEndpoint);
      connect(worker);
    }
  }

  static void connect(tavrik::TavrikChannel& channel) {
    tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);
  }

  void work(tavrik::AsyncRouterDealerChannel& worker) {
    answer(state, sabotage, worker, state.jobs);
  }

  State& state;
  Sabotage& sabotage;
  std::list<tavrik::RequestReplyChannel> servers;
  std::list<tavrik::AsyncRouterDealerChannel> workers;
  std::list<Publisher> publishers;
  std::list<std::thread> publishing;
  std::list<std::thread> serving;
};

}  // namespace soak

#endif
