// Random messages from a plain ZeroMQ peer into each role. What the role receives, and what the
// peer receives from it, is checked.
#include "support.hpp"

#include <support/test_peer.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <zmq.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>

namespace {

using fuzz::Input;
using fuzz::Parts;
using fuzz::Peer;
using tavrik::Message;
using tavrik::TavrikChannel;

Parts frames(Input& input) {
  Parts result = input.parts();
  if (result.empty()) result.emplace_back();
  return result;
}

Parts tail(const Parts& all, std::size_t from) {
  return {all.begin() + static_cast<std::ptrdiff_t>(from), all.end()};
}

Parts joined(Parts first, const Parts& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// A channel in one role. Its endpoint is bound by nobody else.
class Channel {
 public:
  Channel(role_t role, channel_prop_t prop, const std::string& itsEndpoint)
      : endpoint(itsEndpoint) {
    // Setting the endpoint may take a socket. A channel that got none keeps the endpoint.
    const auto configure = [&] {
      channel.emplace("frames", static_cast<pattern_t>(role / 2), role);
      return tavrik_setProperty(&*channel, prop, endpoint.c_str());
    };
    fuzz::requireEqual(0, fuzz::withSockets(configure), "setProperty");
  }

  TavrikChannel* operator->() { return &*channel; }
  TavrikChannel& operator*() { return *channel; }

  void connect() {
    tavrik_pollitem_t item = {&*channel, TAVRIK_POLLIN, 0};
    fuzz::requireEqual(0, fuzz::withSockets([&] { return tavrik_poll(&item, 1, 0); }),
                       "connecting");
  }

  // Receives what was sent as these frames; returns the message for its handle.
  Message requireReceived(const Parts& sent, long timeout = 0) {
    Message message;
    char subject[SUBJECT_BUFFER_SIZE] = "not written";
    const int count = channel->receive(subject, &message, timeout);
    fuzz::requireEqual(tail(sent, 1), support::partsOf(message), "the parts");
    fuzz::requireEqual(static_cast<int>(sent.size()) - 1, count, "receive");
    fuzz::requireEqual(fuzz::asSubject(sent[0]), subject, "the subject");
    fuzz::requireNoLog("receive");
    return message;
  }

  void requireNothing() {
    Message message(2);
    char subject[SUBJECT_BUFFER_SIZE] = "not written";
    fuzz::requireEqual(0, channel->receive(subject, &message, 0), "receive");
    fuzz::requireEqual(0, message.getnumParts(), "parts of nothing");
    fuzz::requireEqual("not written", subject, "the subject of nothing");
  }

  // Sends a random message and returns it as frames.
  Parts send(Input& input, const tavrik::MsgHandle* handle = nullptr) {
    const std::string subject = input.text();
    const Parts parts = input.parts();
    Message message = support::messageOf(parts);
    message.setHandle(handle);
    fuzz::requireEqual(static_cast<int>(parts.size()), channel->send(subject.c_str(), &message),
                       "send");
    fuzz::requireEqual(parts, support::partsOf(message), "the sent message");
    return joined({subject}, parts);
  }

 private:
  std::string endpoint;
  std::optional<TavrikChannel> channel;
};

std::string newEndpoint() {
  return "inproc://" + fuzz::uniqueName();
}

void requireFromPeer(const Parts& expected, Peer& peer, const char* what, long timeout = 0) {
  const auto found = peer.receive(timeout);
  fuzz::require(found.has_value(), std::string("nothing came: ") + what);
  fuzz::requireEqual(expected, *found, what);
}

// The position of the empty frame that ends a request's or reply's envelope, if it is followed by
// anything.
std::optional<std::size_t> delimiter(const Parts& message) {
  const auto empty = std::find(message.begin(), message.end(), "");
  const auto position = static_cast<std::size_t>(empty - message.begin());
  if (position + 1 >= message.size()) return std::nullopt;
  return position;
}

// Requests without a delimiter are discarded; the others are answered.
void feedServer(Input& input) {
  const std::string endpoint = newEndpoint();
  Channel server(REP_SERVER, REQ_REP_SERVER_ENDPOINT, endpoint);
  server.connect();
  Peer peer(ZMQ_DEALER);
  peer.connect(endpoint);
  std::deque<Parts> requests;
  while (!input.empty() || !requests.empty()) {
    if (!input.empty() && input.flag()) {
      const Parts request = frames(input);
      peer.send(request);
      if (delimiter(request)) requests.push_back(request);
      continue;
    }
    if (requests.empty()) {
      server.requireNothing();
      continue;
    }
    const Parts request = requests.front();
    requests.pop_front();
    const std::size_t body = *delimiter(request) + 1;
    server.requireReceived(tail(request, body));
    const Parts reply = server.send(input);
    const Parts envelope(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(body));
    requireFromPeer(joined(envelope, reply), peer, "the reply");
  }
}

// Replies that do not begin with the delimiter are discarded; the first other one is received.
void feedRequestClient(Input& input) {
  const std::string endpoint = newEndpoint();
  Peer peer(ZMQ_ROUTER);
  peer.bind(endpoint);
  Channel client(REQ_CLIENT, REQ_REP_SERVER_ENDPOINT, endpoint);
  client.connect();
  while (!input.empty()) {
    const Parts request = client.send(input);
    const auto found = peer.receive();
    fuzz::require(found.has_value(), "the request did not come");
    const std::string identity = found->front();
    fuzz::requireEqual(joined({identity, ""}, request), *found, "the request");
    Parts reply;
    for (bool received = false; !received;) {
      reply = input.empty() ? Parts{"", "reply"} : frames(input);
      peer.send(joined({identity}, reply));
      received = reply.size() > 1 && reply[0].empty();
      if (!received && input.flag()) client.requireNothing();
    }
    client.requireReceived(tail(reply, 1));
  }
}

// A subscriber receives the messages whose first frame begins with one of its filters.
void feedSubscriber(Input& input) {
  const std::string endpoint = newEndpoint();
  Peer peer(ZMQ_XPUB);
  peer.bind(endpoint);
  Channel subscriber(SUBSCRIBER, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  std::vector<std::string> filters;
  const auto matches = [&](const std::string& frame) {
    return filters.empty() || std::any_of(filters.begin(), filters.end(), [&](const auto& filter) {
             return frame.compare(0, filter.size(), filter) == 0;
           });
  };
  while (!input.empty()) {
    const auto which = input.between(0, 3);
    constexpr std::size_t longestFilter = 3;
    std::string filter = which < 2 ? input.text(longestFilter) : "";
    // ZeroMQ 4.3.4 takes the removal of a filter that starts with this byte for a subscription.
    if (!filter.empty() && filter[0] == '\1') filter[0] = '1';
    const auto found = std::find(filters.begin(), filters.end(), filter);
    if (which == 0 && found == filters.end()) {
      subscriber->setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter);
      filters.push_back(filter);
    } else if (which == 1 && !filters.empty()) {
      const auto dropped =
          filters.begin() +
          input.between<std::ptrdiff_t>(0, static_cast<std::ptrdiff_t>(filters.size()) - 1);
      subscriber->setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, *dropped);
      filters.erase(dropped);
    } else if (which >= 2) {
      // The peer knows the subscriptions once it has received them all.
      while (peer.receive().has_value()) {
      }
      Parts message = frames(input);
      if (input.flag() && !filters.empty()) message[0].insert(0, filters.back());
      peer.send(message);
      if (matches(message[0])) subscriber.requireReceived(message);
      subscriber.requireNothing();
    }
  }
}

// A publisher survives what a subscriber may send it, and still publishes.
void feedPublisher(Input& input) {
  const std::string endpoint = newEndpoint();
  Channel publisher(PUBLISHER, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  Peer peer(ZMQ_XSUB);
  peer.connect(endpoint);
  while (!input.empty()) {
    peer.send(frames(input));
    if (input.flag()) continue;
    peer.send({"\x01"});  // subscribes to everything
    int events = 0;
    std::size_t size = sizeof events;
    // A publisher looks for subscriptions from time to time only; this makes it look now.
    zmq_getsockopt(support::TestPeer::socketOf(*publisher), ZMQ_EVENTS, &events, &size);
    const Parts message = publisher.send(input);
    requireFromPeer(message, peer, "the published message");
  }
}

// A client receives whatever its router sends.
void feedDealerClient(Input& input) {
  const std::string endpoint = newEndpoint();
  Peer peer(ZMQ_ROUTER);
  peer.bind(endpoint);
  Channel client(ASYNC_DEALER_CLIENT, ASYNC_DEALER_CLIENT_ENDPOINT, endpoint);
  client.connect();
  const Parts hello = client.send(input);
  const auto found = peer.receive();
  fuzz::require(found.has_value(), "the first message did not come");
  const std::string identity = found->front();
  fuzz::requireEqual("frames_", identity.substr(0, 7), "the identity");
  fuzz::requireEqual(hello, tail(*found, 1), "the first message");
  std::deque<Parts> sent;
  while (!input.empty() || !sent.empty()) {
    if (!input.empty() && input.flag()) {
      sent.push_back(frames(input));
      peer.send(joined({identity}, sent.back()));
    } else if (sent.empty()) {
      client.requireNothing();
      requireFromPeer(joined({identity}, client.send(input)), peer, "the client's message");
    } else {
      client.requireReceived(sent.front());
      sent.pop_front();
    }
  }
}

// A worker receives what its client sends through the proxy, and its replies come back. The proxy
// lives until the process ends, so the worker and the peer do too.
struct Proxied {
  Proxied()
      : worker(ASYNC_DEALER_WORKER, ASYNC_DEALER_WORKER_ENDPOINT, newEndpoint()), peer(ZMQ_DEALER) {
    const std::string endpoint = newEndpoint();
    worker->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint);
    worker.connect();
    peer.connect(endpoint);
  }
  Channel worker;
  Peer peer;
  std::string identity;
};

std::string identityOf(const Message& message) {
  const std::unique_ptr<tavrik::MsgHandle> handle(message.getHandle());
  fuzz::require(handle != nullptr, "a worker's message has no handle");
  return dynamic_cast<tavrik::AsyncRouterDealerMsgHandle&>(*handle).getIdentity();
}

void feedWorker(Input& input) {
  static auto* const proxied = new Proxied;
  Channel& worker = proxied->worker;
  Peer& peer = proxied->peer;
  std::deque<Parts> sent;
  while (!input.empty() || !sent.empty()) {
    if (!input.empty() && input.flag()) {
      sent.push_back(frames(input));
      peer.send(sent.back());
    } else if (!sent.empty()) {
      const Message message = worker.requireReceived(sent.front(), fuzz::patience);
      sent.pop_front();
      const std::string identity = identityOf(message);
      if (proxied->identity.empty()) proxied->identity = identity;
      fuzz::requireEqual(proxied->identity, identity, "the client's identity");
      const std::unique_ptr<tavrik::MsgHandle> handle(message.getHandle());
      const Parts reply = worker.send(input, handle.get());
      requireFromPeer(reply, peer, "the worker's reply", fuzz::patience);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  constexpr void (*roles[])(Input&) = {feedServer,    feedRequestClient, feedSubscriber,
                                       feedPublisher, feedDealerClient,  feedWorker};
  input.oneOf(roles)(input);
  fuzz::requireNoLog("an exchange");
  return 0;
}
