// The clients of the soak: they ask, and subscribe to news, and check every byte that arrives.
#ifndef TAVRIK_TESTS_SOAK_CLIENTS_HPP
#define TAVRIK_TESTS_SOAK_CLIENTS_HPP

#include "payload.hpp"
#include "state.hpp"

#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <cstddef>
#include <list>
#include <set>
#include <string>
#include <thread>
#include <utility>

namespace soak {

// A client's number, and the endpoints that it connects to. Each function below runs in a thread of
// its own. It takes a new channel again and again, when nothing is under way on the old one.
struct Client {
  State& state;
  int number;
  Endpoints endpoints;
};

// One request at a time.
inline void exchange(Client& client) {
  constexpr int perChannel = 1000;
  for (int number = 0; !client.state.finishing;) {
    tavrik::RequestReplyChannel channel("requests", REQ_CLIENT);
    channel.setServerEndPoint(client.endpoints.requests);
    for (int i = 0; i < perChannel && !client.state.finishing; ++i, ++number) {
      char subject[SUBJECT_BUFFER_SIZE];
      tavrik::Message message = payload(client.number, number);
      channel.send("request", &message);
      if (channel.receive(subject, &message, patience) < 1) {
        return client.state.addFault("a reply is lost");
      }
      const auto header = intact(message);
      if (!header || header->client != client.number || header->number != number) {
        client.state.addFault("a reply arrived damaged, or is another one");
      }
      ++client.state.requests;
    }
  }
}

// Several jobs at a time, whose results arrive in any order.
class JobClient {
 public:
  JobClient(Client& owner, const std::string& name)
      : client(owner), channel(name, ASYNC_DEALER_CLIENT) {
    channel.setServerEndPoint(client.endpoints.jobs);
  }

  void run(int first, int count) {
    // All clients together stay below the high-water marks of 1000.
    constexpr std::size_t window = 16;
    int next = first;
    while (next < first + count || !waiting.empty()) {
      while (next < first + count && waiting.size() < window && !client.state.finishing) {
        send(next++);
      }
      if (waiting.empty()) return;
      if (!receive()) return client.state.addFault("a result is lost");
    }
  }

 private:
  void send(int number) {
    tavrik::Message message = payload(client.number, number);
    channel.send("job", &message);
    waiting.insert(number);
  }

  bool receive() {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    if (channel.receive(subject, &message, patience) < 1) return false;
    const auto header = intact(message);
    if (!header || header->client != client.number) {
      client.state.addFault("a result arrived damaged, or belongs to another client");
    } else if (waiting.erase(header->number) == 0) {
      client.state.addFault("a result arrived twice");
    }
    ++client.state.jobs;
    return true;
  }

  Client& client;
  tavrik::AsyncRouterDealerChannel channel;
  std::set<int> waiting;
};

inline void giveJobs(Client& client) {
  constexpr int perChannel = 2000;
  for (int first = 0; !client.state.finishing; first += perChannel) {
    const std::string name = "jobs-" + std::to_string(client.number) + "-" + std::to_string(first);
    JobClient(client, name).run(first, perChannel);
  }
}

class Subscriber {
 public:
  explicit Subscriber(Client& owner) : client(owner) {
    reports.setServerEndPoint(client.endpoints.progress);
  }

  void run() {
    int epoch = 0;
    while (hear(epoch) == "pause") ++epoch;
  }

 private:
  // Receives an epoch. Returns the subject of its last message, or "" on failure.
  std::string hear(int epoch) {
    tavrik::PublishSubscribeChannel channel("news", SUBSCRIBER);
    channel.setProperty(PUB_SUB_SET_SUB_RCVHWM, "1000");
    for (const char* subject : {"begin", "news", "pause", "stop"}) channel.subscribe(subject);
    channel.setPublisherEndPoint(client.endpoints.feed);
    char subject[SUBJECT_BUFFER_SIZE] = "";
    tavrik::Message message;
    constexpr long untilNextLook = 10;  // milliseconds
    do {
      if (!report("look", epoch, 0)) return "";
    } while (channel.receive(subject, &message, untilNextLook) == 0);
    report("have", epoch, 0);
    int number = 0;
    while (channel.receive(subject, &message, patience) > 0) {
      if (subject == std::string("begin")) continue;
      number = check(message, epoch, number);
      const bool isLast = subject != std::string("news");
      constexpr int reported = 50;
      if ((isLast || number % reported == 0) && !report("have", epoch, number)) return "";
      if (isLast) return subject;
    }
    client.state.addFault("news are lost");
    return "";
  }

  // Returns the number of the message that comes next.
  int check(const tavrik::Message& message, int epoch, int expected) {
    ++client.state.news;
    const auto header = intact(message);
    if (!header || header->attempt != epoch) {
      client.state.addFault("news arrived damaged");
      return expected + 1;
    }
    if (header->number < expected) {
      client.state.addFault("news " + std::to_string(header->number) + " arrived twice");
      return expected;
    }
    for (int lost = expected; lost < header->number; ++lost) {
      client.state.addFault("news " + std::to_string(lost) + " are lost");
    }
    return header->number + 1;
  }

  bool report(const char* subject, int epoch, int count) {
    char answer[SUBJECT_BUFFER_SIZE];
    tavrik::Message message = support::messageOf({Header{client.number, count, epoch, 0}.text()});
    reports.send(subject, &message);
    if (reports.receive(answer, &message, patience) == 1) return true;
    client.state.addFault("a publisher does not take reports");
    return false;
  }

  Client& client;
  tavrik::RequestReplyChannel reports{"progress", REQ_CLIENT};
};

// All clients of the process.
class Clients {
 public:
  Clients(State& state, int first, const Endpoints& ipc, const Endpoints& tcp) {
    for (const Endpoints& endpoints : {ipc, tcp}) {
      Client& client = clients.emplace_back(Client{state, first++, endpoints});
      threads.emplace_back([&] { exchange(client); });
      threads.emplace_back([&] { giveJobs(client); });
      threads.emplace_back([&] { Subscriber(client).run(); });
    }
  }

  // Returns when everything that was under way has arrived.
  void finish() {
    for (std::thread& thread : threads) thread.join();
  }

 private:
  std::list<Client> clients;
  std::list<std::thread> threads;
};

}  // namespace soak

#endif
