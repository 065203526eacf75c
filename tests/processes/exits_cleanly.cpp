// Programs that end while the library is in use. Each takes the name of a scenario. The exit status
// is 0 if everything before the end succeeded.
#include <tavrik/tavrik.hpp>

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>

namespace {

using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;
using tavrik::TavrikChannel;

// An endpoint of this process that uses the transport's threads and creates no file.
std::string ipcEndpoint(const std::string& name) {
  return "ipc://@tavrik-exits-" + std::to_string(getpid()) + "-" + name;
}

// Two connected channels of each pattern.

struct RequestReply {
  explicit RequestReply(const std::string& name) {
    server.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://" + name);
    client.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://" + name);
    server.initializeStatsMonitoring();
    client.initializeStatsMonitoring();
  }

  bool exchange() {
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    client.send("ask", &message);
    if (server.receive(subject, &message, -1) != 0) return false;
    server.send("answer", &message);
    return client.receive(subject, &message, -1) == 0 && std::strcmp(subject, "answer") == 0;
  }

  TavrikChannel server{"exit", REQUEST_REPLY_PATTERN, REP_SERVER};
  TavrikChannel client{"exit", REQUEST_REPLY_PATTERN, REQ_CLIENT};
};

// The constructor starts a proxy.
struct RouterDealer {
  explicit RouterDealer(const std::string& name)
      : client(name, ASYNC_DEALER_CLIENT), worker(name, ASYNC_DEALER_WORKER) {
    client.setServerEndPoint(ipcEndpoint(name));
    worker.setServerEndPoint(ipcEndpoint(name));
    worker.setWorkerEndPoint("inproc://" + name);
    client.initializeStatsMonitoring();
    worker.initializeStatsMonitoring();
    tavrik_pollitem_t item = {&worker, TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);  // connects
  }

  void ask() {
    Message message(1);
    client.send("ask", &message);
  }

  bool exchange() {
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    ask();
    if (worker.receive(subject, &message, -1) != 1) return false;
    worker.send("answer", &message);
    return client.receive(subject, &message, -1) == 1 && std::strcmp(subject, "answer") == 0;
  }

  AsyncRouterDealerChannel client;
  AsyncRouterDealerChannel worker;
};

struct PublishSubscribe {
  explicit PublishSubscribe(const std::string& name)
      : publisher(name, PUBLISHER), subscriber(name, SUBSCRIBER) {
    publisher.setProperty(PUB_SUB_SET_PUB_SNDHWM, "1000");
    publisher.setPublisherEndPoint(ipcEndpoint(name));
    subscriber.subscribe("news");
    subscriber.setPublisherEndPoint(ipcEndpoint(name));
    publisher.initializeStatsMonitoring();
    subscriber.initializeStatsMonitoring();
  }

  // A publisher drops what it sends before the subscription has reached it.
  bool exchange() {
    Message message(1);
    char subject[SUBJECT_BUFFER_SIZE];
    Message received;
    do {
      publisher.send("news", &message);
    } while (subscriber.receive(subject, &received, 10) == 0);
    return std::strcmp(subject, "news") == 0;
  }

  PublishSubscribeChannel publisher;
  PublishSubscribeChannel subscriber;
};

// The pairs differ in where they are when the process ends.

// Created before main() and destroyed after it.
RequestReply staticPair("static");

// Created in main(), and destroyed after what the library creates on its first use.
std::optional<RouterDealer> staticRouterDealer;
std::optional<PublishSubscribe> staticPublishSubscribe;

// Keeps a reference, so that the leak sanitizer does not report what is left alive.
void* left = nullptr;

template <class Pair>
bool leftAlive() {
  auto* const pair = new Pair("left");
  left = pair;
  return pair->exchange();
}

template <class Pair>
bool deleted() {
  return Pair("deleted").exchange();
}

template <class Pair>
bool inStaticStorage(std::optional<Pair>& storage) {
  storage.emplace("static");
  return storage->exchange();
}

// A thread that exchanges messages until the process ends.
template <class Pair>
bool busyThread() {
  static std::atomic<int> exchanges{0};
  std::thread([] {
    auto* const pair = new Pair("busy");  // outlives the end of the process
    while (pair->exchange()) ++exchanges;
  }).detach();
  while (exchanges < 100) std::this_thread::yield();
  return true;
}

// A thread that waits for a message until the process ends.
template <class Pair, class Channel>
bool waitingThread(Channel Pair::*channel) {
  static std::atomic<bool> connected{false};
  std::thread([channel] {
    auto* const pair = new Pair("waits");  // outlives the end of the process
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik_pollitem_t item = {&(pair->*channel), TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);  // connects
    connected = true;
    (pair->*channel).receive(subject, &message, -1);
  }).detach();
  while (!connected) std::this_thread::yield();
  return true;
}

bool idleProxy() {
  left = new RouterDealer("idle");
  return true;
}

// The proxy holds more requests than its worker receives.
bool proxyWithRequests() {
  auto* const pair = new RouterDealer("waiting");
  left = pair;
  if (!pair->exchange()) return false;
  for (int i = 0; i < 500; ++i) pair->ask();
  return true;
}

const std::map<std::string, std::function<bool()>> scenarios = {
    {"nothing_used", [] { return true; }},
    {"static_storage", [] { return staticPair.exchange(); }},
    {"channels_left_alive", leftAlive<RequestReply>},
    {"thread_that_waits", [] { return waitingThread(&RequestReply::server); }},
    {"thread_that_is_busy", busyThread<RequestReply>},

    {"proxy_that_is_idle", idleProxy},
    {"proxy_that_is_busy", busyThread<RouterDealer>},
    {"proxy_with_requests", proxyWithRequests},
    {"proxy_without_channels", deleted<RouterDealer>},
    {"proxy_and_channels_left_alive", leftAlive<RouterDealer>},
    {"proxy_and_static_storage", [] { return inStaticStorage(staticRouterDealer); }},
    {"worker_that_waits", [] { return waitingThread(&RouterDealer::worker); }},

    {"publisher_that_is_busy", busyThread<PublishSubscribe>},
    {"feed_left_alive", leftAlive<PublishSubscribe>},
    {"feed_in_static_storage", [] { return inStaticStorage(staticPublishSubscribe); }},
    {"subscriber_that_waits", [] { return waitingThread(&PublishSubscribe::subscriber); }},
};

// The library logs a failure while static objects are destroyed. No line is expected.
void failOnLogLine(int, const char* text) {
  std::fprintf(stderr, "logged: %s\n", text);
  std::_Exit(3);
}

}  // namespace

int main(int argc, char** argv) {
  const auto scenario = scenarios.find(argc == 2 ? argv[1] : "");
  if (scenario == scenarios.end()) return 2;
  tavrik_Install_Logfn(failOnLogLine);
  return scenario->second() ? EXIT_SUCCESS : EXIT_FAILURE;
}
