// The six roles, and channels of them that are connected to a plain ZeroMQ socket.
#ifndef TAVRIK_TESTS_LINKS_ROLES_HPP
#define TAVRIK_TESTS_LINKS_ROLES_HPP

#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <zmq.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace links {

struct Role {
  std::string name;
  pattern_t pattern;
  role_t role;
};

inline void PrintTo(const Role& role, std::ostream* out) {
  *out << role.name;
}

inline const Role requester{"Requester", REQUEST_REPLY_PATTERN, REQ_CLIENT};
inline const Role replier{"Replier", REQUEST_REPLY_PATTERN, REP_SERVER};
inline const Role publisher{"Publisher", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER};
inline const Role subscriber{"Subscriber", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER};
inline const Role client{"Client", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT};
inline const Role worker{"Worker", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER};

inline const std::vector<Role> allRoles{requester, replier, publisher, subscriber, client, worker};
inline const std::vector<Role> receivingRoles{requester, replier, subscriber, client, worker};

using Channel = std::unique_ptr<tavrik::TavrikChannel>;

// Not connected. Each has a name of its own, because a name has one proxy.
inline Channel make(const Role& role) {
  static int made = 0;
  return std::make_unique<tavrik::TavrikChannel>(support::testName() + " " + std::to_string(++made),
                                                 role.pattern, role.role);
}

using Properties = std::vector<std::pair<channel_prop_t, std::string>>;

// The properties that tell a channel its endpoint. A worker's proxy gets a back end of its own.
inline Properties endpointProperties(role_t role, const std::string& endpoint) {
  switch (role) {
    case PUBLISHER:
    case SUBSCRIBER:
      return {{PUB_SUB_PUBLISHER_ENDPOINT, endpoint}};
    case ASYNC_DEALER_CLIENT:
      return {{ASYNC_DEALER_CLIENT_ENDPOINT, endpoint}};
    case ASYNC_DEALER_WORKER:
      return {{ASYNC_DEALER_CLIENT_ENDPOINT, endpoint},
              {ASYNC_DEALER_WORKER_ENDPOINT, support::inprocEndpoint()}};
    default:
      return {{REQ_REP_SERVER_ENDPOINT, endpoint}};
  }
}

// Sets the endpoint. This connects a publisher and a subscriber.
inline void setEndpoint(tavrik::TavrikChannel& channel, const std::string& endpoint) {
  for (const auto& [property, value] : endpointProperties(channel.getRole(), endpoint)) {
    channel.setProperty(property, value);
  }
}

// Waits until the channel is readable or the time is over. Connects it.
inline bool becomesReadable(tavrik::TavrikChannel& channel, long timeout = support::patience) {
  tavrik_pollitem_t item{&channel, TAVRIK_POLLIN, 0};
  return tavrik::channel_poll(&item, 1, timeout) == 1;
}

// Connects a channel that its endpoint has not connected yet.
inline void connect(tavrik::TavrikChannel& channel) {
  if (channel.getRole() != PUBLISHER) becomesReadable(channel, 0);
}

// A plain socket that sends messages to a channel and receives its answers.
class Peer {
 public:
  explicit Peer(const Role& ofRole) : plain(typeFor(ofRole.role)), role(ofRole) {
    // The same length as "plain" everywhere.
    if (role.role == ASYNC_DEALER_WORKER) plain.setOption(ZMQ_IDENTITY, "plain");
  }

  // Connects the channel and this, so that the next message that this sends reaches the channel.
  void meet(tavrik::TavrikChannel& channel, const std::string& endpoint) {
    bindIfFirst(endpoint);
    setEndpoint(channel, endpoint);
    connect(channel);
    connectIfSecond(endpoint);
    if (speaksFirst()) ask(channel);
  }

  // A channel that connects finds this bound; one that binds is connected to afterwards.
  void bindIfFirst(const std::string& endpoint) {
    if (isBound()) plain.bind(endpoint);
  }
  void connectIfSecond(const std::string& endpoint) {
    if (!isBound()) plain.connect(endpoint);
    if (role.role == SUBSCRIBER) plain.receive();  // the subscription
  }

  // Whether the channel sends before it can receive.
  bool speaksFirst() const { return role.role == REQ_CLIENT || role.role == ASYNC_DEALER_CLIENT; }

  // Lets the channel send a request. This takes it, and can send to the channel.
  void ask(tavrik::TavrikChannel& channel) {
    tavrik::Message nothing;
    channel.send("ask", &nothing);
    hear();
  }

  // Takes a request with all of its frames behind the envelope.
  void hear() {
    plain.receive().swap(envelope);
    envelope.resize(role.role == REQ_CLIENT ? 2 : 1);
  }

  void send(const support::Frames& frames) {
    support::Frames all = role.role == REP_SERVER ? support::Frames{""} : envelope;
    all.insert(all.end(), frames.begin(), frames.end());
    plain.send(all);
  }

  // The frames of the next answer, without its envelope.
  support::Frames receive() {
    support::Frames frames = plain.receive();
    const std::size_t before = role.role == REP_SERVER ? 1 : envelope.size();
    frames.erase(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(before));
    return frames;
  }

  support::PlainSocket plain;

 private:
  bool isBound() const { return speaksFirst() || role.role == SUBSCRIBER; }

  // DEALER and ROUTER take no turns.
  static int typeFor(role_t role) {
    switch (role) {
      case SUBSCRIBER:
        return ZMQ_XPUB;
      case PUBLISHER:
        return ZMQ_SUB;
      case REP_SERVER:
      case ASYNC_DEALER_WORKER:
        return ZMQ_DEALER;
      default:
        return ZMQ_ROUTER;
    }
  }

  const Role& role;
  support::Frames envelope;
};

}  // namespace links

#endif
