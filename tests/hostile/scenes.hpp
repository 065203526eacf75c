// Channels that serve each other beside a hostile peer.
#ifndef TAVRIK_TESTS_HOSTILE_SCENES_HPP
#define TAVRIK_TESTS_HOSTILE_SCENES_HPP

#include "../links/roles.hpp"

#include <support/parts.hpp>
#include <support/raw_connection.hpp>
#include <support/temp_dir.hpp>
#include <support/test_peer.hpp>
#include <tavrik/error.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <zmq.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <initializer_list>
#include <iterator>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace hostile {

using links::Channel;
using links::Role;
using std::chrono::steady_clock;
using support::Frames;
using tavrik::Message;

constexpr int wouldBlock = -17498123;
constexpr int sendOutOfTurn = -17530931;
constexpr int receiveOutOfTurn = -17727539;
constexpr int withoutDelimiter = -17694731;  // a receive that discarded a request

// Runs a call that may fail with one of the codes. Returns whether it succeeded.
template <class Call>
bool unless(std::initializer_list<int> codes, Call call) {
  try {
    call();
    return true;
  } catch (const std::runtime_error& error) {
    if (std::find(codes.begin(), codes.end(), decode_error(error.what())) == codes.end()) throw;
    return false;
  }
}

// Large enough that a peer that does not read fills the queues to it soon.
inline const std::string payload(10000, 'p');

inline std::string newToken() {
  static int count = 0;
  return "token-" + std::to_string(count++);
}

inline void send(tavrik::TavrikChannel& channel, const std::string& token) {
  Message message = support::messageOf({token, payload});
  channel.send("subject", &message);
}

// Takes a message, if there is one now, and hands its subject and it to the function.
template <class Take>
void take(tavrik::TavrikChannel& channel, Take function) {
  const std::string nothing = "\x01 nothing";
  std::array<char, SUBJECT_BUFFER_SIZE> subject{};
  nothing.copy(subject.data(), nothing.size());
  Message message;
  const bool whole =
      unless({withoutDelimiter}, [&] { channel.receive(subject.data(), &message, 0); });
  if (whole && subject.data() != nothing) function(subject.data(), message);
}

// Takes a message. Returns whether it is the one with the token.
inline bool takes(tavrik::TavrikChannel& channel, const std::string& token) {
  bool found = false;
  take(channel, [&](const char*, Message& message) {
    found = support::partsOf(message) == support::Parts{token, payload};
  });
  return found;
}

// Waits until one of the channels has a message, or the time is over.
inline void await(const std::vector<tavrik::TavrikChannel*>& channels, long timeout) {
  std::vector<tavrik_pollitem_t> items;
  for (tavrik::TavrikChannel* channel : channels) items.push_back({channel, TAVRIK_POLLIN, 0});
  tavrik::channel_poll(items.data(), static_cast<unsigned>(items.size()), timeout);
}

inline void requireInTime(steady_clock::time_point start) {
  if (steady_clock::now() > start + std::chrono::milliseconds(support::patience)) {
    throw std::runtime_error("a well-behaved peer is not served");
  }
}

// What a client does about a request without reply.
enum class Lost { nothing, askAgain, newChannel };

// A server and a client of it.
class Pair {
 public:
  Pair(const Role& serverRole, const Role& clientRole, const std::string& endpoint,
       const std::string& workerEndpoint = support::inprocEndpoint())
      : roleOfClient(clientRole), clientsEndpoint(endpoint) {
    server = links::make(serverRole);
    links::setEndpoint(*server, endpoint);
    if (serverRole.role == ASYNC_DEALER_WORKER) {
      server->setProperty(ASYNC_DEALER_WORKER_ENDPOINT, workerEndpoint);
    }
    links::connect(*server);
    renew();
  }

  void exchange(Lost lost = Lost::nothing) {
    const long untilLost = lost == Lost::askAgain ? 2 : 100;  // milliseconds
    const auto start = steady_clock::now();
    auto asked = start;
    const std::string token = newToken();
    ask(token);
    while (!takes(*client, token)) {
      requireInTime(start);
      await({server.get(), client.get()}, untilLost);
      serve();
      if (lost == Lost::nothing ||
          steady_clock::now() < asked + std::chrono::milliseconds(untilLost)) {
        continue;
      }
      if (lost == Lost::newChannel) renew();
      ask(token);
      asked = steady_clock::now();
    }
  }

  void renew() {
    client = links::make(roleOfClient);
    links::setEndpoint(*client, clientsEndpoint);
  }

  Channel server;
  Channel client;

 private:
  // Requests that were asked again may fill the queue.
  void ask(const std::string& token) {
    unless({wouldBlock}, [&] { send(*client, token); });
  }

  // While its answers have to wait, a worker takes requests nevertheless: the proxy takes no
  // answers while it waits for a worker to take requests.
  void serve() {
    take(*server, [&](const char* subject, const Message& message) {
      unanswered.emplace_back(subject, message);
    });
    while (!unanswered.empty() && answer(unanswered.front())) unanswered.pop_front();
  }

  bool answer(std::pair<std::string, Message>& request) {
    return unless({wouldBlock}, [&] { server->send(request.first.c_str(), &request.second); });
  }

  std::deque<std::pair<std::string, Message>> unanswered;
  const Role& roleOfClient;
  const std::string clientsEndpoint;
};

// A publisher and a subscriber of it.
class Feed {
 public:
  explicit Feed(const std::string& endpoint) {
    // A publisher learns late what has been received, and drops what its queue cannot hold.
    publisher->setProperty(PUB_SUB_SET_PUB_SNDHWM, "1000");
    links::setEndpoint(*publisher, endpoint);
    links::setEndpoint(*subscriber, endpoint);
    join(*subscriber);
  }

  // Returns when the subscription has arrived.
  void join(tavrik::TavrikChannel& joining) { publish(joining, true); }

  // Returns when the subscriber has received what is published now.
  void publish(tavrik::TavrikChannel& to, bool repeatedly = false) {
    const auto start = steady_clock::now();
    const std::string token = newToken();
    send(*publisher, token);
    while (!takes(to, token)) {
      requireInTime(start);
      await({&to}, 2);
      if (repeatedly) send(*publisher, token);
    }
  }

  void exchange() { publish(*subscriber); }

  Channel publisher = links::make(links::publisher);
  Channel subscriber = links::make(links::subscriber);
};

class Scene {
 public:
  Scene(std::string socketType, Frames frames)
      : peer(std::move(socketType)), envelope(std::move(frames)) {}
  virtual ~Scene() = default;

  // Makes a connection between the role under attack and a hostile peer. Any thread may call it.
  virtual support::RawConnection meet() = 0;

  // After the hostile peer has closed its connections.
  virtual void leave() {}

  // One exchange of the well-behaved peers.
  virtual void exchange() = 0;

  // A well-behaved peer of a connecting role appears where the hostile one was.
  virtual void replaceHostile() {}

  // What a peer can find out about another one.
  virtual std::string identityOfAnother() { return "another"; }

  const std::string peer;  // the type of socket that the role accepts as a peer
  const Frames envelope;   // the frames that such a peer sends in front of a subject
  int connectionsAtOnce = 50;
  bool repliesAreLost = false;  // by ZeroMQ in the server under attack
};

// ---- Roles that bind

// Creates what binds a tcp endpoint. Another process may take the port before it is bound.
template <class Bind>
auto atFreePort(Bind bind) {
  constexpr int attempts = 100;
  for (int i = 0; i < attempts; ++i) {
    try {
      return bind(support::tcpEndpoint());
    } catch (const std::runtime_error&) {
    }
  }
  throw std::runtime_error("no free port");
}

class Bound : public Scene {
 public:
  using Scene::Scene;
  support::RawConnection meet() override { return support::RawConnection(endpoint); }

 protected:
  template <class Served, class... Arguments>
  std::unique_ptr<Served> bind(const Arguments&... arguments) {
    return atFreePort([&](const std::string& free) {
      endpoint = free;
      return std::make_unique<Served>(arguments..., free);
    });
  }

  std::string endpoint;
};

class BoundReplier : public Bound {
 public:
  BoundReplier() : Bound("DEALER", {""}) {}
  void exchange() override { pair->exchange(repliesAreLost ? Lost::newChannel : Lost::nothing); }

 private:
  std::unique_ptr<Pair> pair = bind<Pair>(links::replier, links::requester);
};

class BoundPublisher : public Bound {
 public:
  BoundPublisher() : Bound("SUB", {}) {}
  void exchange() override { feed->exchange(); }

 private:
  std::unique_ptr<Feed> feed = bind<Feed>();
};

class ProxysClientSide : public Bound {
 public:
  ProxysClientSide() : Bound("DEALER", {}) {}
  void exchange() override { pair->exchange(); }
  std::string identityOfAnother() override {
    std::array<char, 255> identity{};
    std::size_t size = identity.size();
    zmq_getsockopt(support::TestPeer::socketOf(*pair->client), ZMQ_IDENTITY, identity.data(),
                   &size);
    return {identity.data(), size};
  }

 private:
  std::unique_ptr<Pair> pair = bind<Pair>(links::worker, links::client);
};

// The proxy gives a share of the requests to each peer that connects here.
class ProxysWorkerSide : public Bound {
 public:
  ProxysWorkerSide() : Bound("DEALER", {"nobody"}) {}
  void exchange() override { pair->exchange(Lost::askAgain); }

 private:
  support::TempDir dir;
  std::unique_ptr<Pair> pair = bind<Pair>(links::worker, links::client, dir.ipcEndpoint());
};

// ---- Roles that connect

class Connecting : public Scene {
 public:
  Connecting(const Role& ofVictims, std::string socketType, Frames frames)
      : Scene(std::move(socketType), std::move(frames)), role(ofVictims) {
    connectionsAtOnce = 5;  // each needs a channel
  }

  support::RawConnection meet() override {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      victims.push_back(newVictim());
    }
    return listener->accept();
  }

  // Victims that connect again while they are deleted must not be met later.
  void leave() override {
    const std::lock_guard<std::mutex> lock(mutex);
    victims.clear();
    listener.emplace(endpoint);
  }

  void exchange() override {
    const std::lock_guard<std::mutex> lock(mutex);
    constexpr std::ptrdiff_t used = 10;
    const auto count = std::min(used, static_cast<std::ptrdiff_t>(victims.size()));
    for (auto victim = std::prev(victims.end(), count); victim != victims.end(); ++victim) {
      useVictim(**victim);
    }
    exchangeBeside();
  }

 protected:
  virtual Channel newVictim() {
    Channel victim = links::make(role);
    links::setEndpoint(*victim, endpoint);
    links::connect(*victim);
    return victim;
  }
  virtual void useVictim(tavrik::TavrikChannel& victim) {
    take(victim, [&](const char* subject, Message& message) {
      unless({wouldBlock}, [&] { victim.send(subject, &message); });
    });
  }
  virtual void exchangeBeside() = 0;

  const Role& role;
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  std::list<Channel> victims;

 private:
  std::mutex mutex;  // guards the victims and the exchanges
  std::optional<support::RawListener> listener{std::in_place, endpoint};
};

class ConnectingClient : public Connecting {
 public:
  ConnectingClient(const Role& serverRole, const Role& clientRole, Frames frames)
      : Connecting(clientRole, "ROUTER", std::move(frames)),
        beside(serverRole, clientRole, dir.ipcEndpoint()),
        roleOfServer(serverRole) {}

  void replaceHostile() override { Pair(roleOfServer, role, endpoint).exchange(); }

 protected:
  // Asks as often as it can.
  void useVictim(tavrik::TavrikChannel& victim) override {
    unless({receiveOutOfTurn}, [&] { take(victim, [](const char*, const Message&) {}); });
    unless({sendOutOfTurn, wouldBlock}, [&] { send(victim, "request"); });
  }
  void exchangeBeside() override { beside.exchange(); }

  Pair beside;

 private:
  const Role& roleOfServer;
};

class ConnectingRequester : public ConnectingClient {
 public:
  ConnectingRequester() : ConnectingClient(links::replier, links::requester, {""}) {}
};

class ConnectingDealer : public ConnectingClient {
 public:
  ConnectingDealer() : ConnectingClient(links::worker, links::client, {}) {}
};

// The victims are workers of the proxy that serves beside, but connect elsewhere.
class ConnectingWorker : public Connecting {
 public:
  ConnectingWorker() : Connecting(links::worker, "ROUTER", {"client"}) {}
  void replaceHostile() override {
    Pair(role, links::client, dir.ipcEndpoint(), endpoint).exchange();
  }

 protected:
  Channel newVictim() override {
    Channel victim =
        std::make_unique<tavrik::TavrikChannel>(beside.server->getName(), role.pattern, role.role);
    victim->setProperty(ASYNC_DEALER_WORKER_ENDPOINT, endpoint);
    links::connect(*victim);
    return victim;
  }
  void exchangeBeside() override { beside.exchange(); }

 private:
  Pair beside{links::worker, links::client, dir.ipcEndpoint()};
};

// The victims receive from a well-behaved publisher too.
class ConnectingSubscriber : public Connecting {
 public:
  ConnectingSubscriber() : Connecting(links::subscriber, "PUB", {}) {}
  void replaceHostile() override { Feed(endpoint).exchange(); }

 protected:
  Channel newVictim() override {
    Channel victim = Connecting::newVictim();
    links::setEndpoint(*victim, besides);
    beside.join(*victim);
    return victim;
  }
  void useVictim(tavrik::TavrikChannel& victim) override { beside.publish(victim); }
  void exchangeBeside() override { beside.exchange(); }

 private:
  const std::string besides = dir.ipcEndpoint();
  Feed beside{besides};
};

}  // namespace hostile

#endif
