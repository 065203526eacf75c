#include "scene.hpp"

#include <support/failing_allocator.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/mq_wrapper.hpp>

#include <zmq.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace points {
namespace {

using support::messageOf;
using support::partsOf;

const std::string clientIdentity = "client of " + longText;

tavrik::MQWrapper& transport() {
  return *tavrik::MQWrapper::getInstance();
}

void require(bool holds) {
  if (!holds) throw std::logic_error("the scene cannot be prepared");
}

int peerType(role_t role) {
  switch (role) {
    case REQ_CLIENT:
      return ZMQ_REP;
    case REP_SERVER:
      return ZMQ_REQ;
    case PUBLISHER:
      return ZMQ_SUB;
    case SUBSCRIBER:
      return ZMQ_PUB;
    case ASYNC_DEALER_CLIENT:
      return ZMQ_ROUTER;
    default:
      return ZMQ_DEALER;
  }
}

tavrik::AsyncRouterDealerMsgHandle clientHandle() {
  tavrik::AsyncRouterDealerMsgHandle handle;
  handle.setIdentity(clientIdentity);
  return handle;
}

// The proxies that a process starts never end, so each gets a name of its own.
std::string nextName() {
  static int count = 0;
  return longText + std::to_string(count++);
}

// The name of workers whose proxy runs. A process starts it once.
const std::string& nameWithProxy() {
  static const std::string name = [] {
    const support::AllocationTruce truce;
    TavrikChannel worker("proxy of " + longText, ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
    worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, support::inprocEndpoint());
    worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, support::inprocEndpoint());
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    worker.receive(subject, &message, 1);
    return worker.getName();
  }();
  return name;
}

}  // namespace

Scene::Scene(role_t channelRole)
    : role(channelRole),
      name(role == ASYNC_DEALER_WORKER ? nextName() : longText),
      endpoint(support::inprocEndpoint() + longText) {
  if (role == noRole) return;
  channel = newChannel();
  if (hasEndpoint()) setEndpoint();
}

Scene::~Scene() {
  std::free(data);
  closePeer();
}

std::unique_ptr<TavrikChannel> Scene::newChannel() const {
  return std::make_unique<TavrikChannel>(name, patternOf(role), role);
}

channel_prop_t endpointOf(role_t role) {
  switch (role) {
    case PUBLISHER:
    case SUBSCRIBER:
      return PUB_SUB_PUBLISHER_ENDPOINT;
    case ASYNC_DEALER_CLIENT:
      return ASYNC_DEALER_CLIENT_ENDPOINT;
    case ASYNC_DEALER_WORKER:
      return ASYNC_DEALER_WORKER_ENDPOINT;
    default:
      return REQ_REP_SERVER_ENDPOINT;
  }
}

void Scene::setEndpoint() {
  require(channel->setProperty(endpointOf(role), endpoint) == 0);
}

bool Scene::isConnected() const {
  return support::TestPeer::socketOf(*channel) != nullptr;
}

void Scene::setEveryProperty() {
  for (const channel_prop_t prop :
       {CHANNEL_TOS_PRIORITY, CHANNEL_HEARTBEAT, CHANNEL_MAX_MESSAGE_SIZE}) {
    require(channel->setProperty(prop, "200") == 0);
  }
  if (role == ASYNC_DEALER_CLIENT) channel->setProperty(ASYNC_DEALER_CLIENT_SNDHWM, "5");
  if (role == PUBLISHER) channel->setProperty(PUB_SUB_SET_PUB_SNDHWM, "5");
  if (role == SUBSCRIBER) {
    channel->setProperty(PUB_SUB_SET_SUB_RCVHWM, "5");
    channel->setProperty(PUB_SUB_SUBSCRIBE_FILTER, subject);
  }
  if (role == ASYNC_DEALER_WORKER) {
    channel->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint + ".first");
    channel->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint + ".second");
  }
}

void Scene::openPeer() {
  peer = transport().createEndpt(peerType(role));
  if (role == REP_SERVER || role == PUBLISHER) {
    if (role == PUBLISHER) transport().setOption(peer, tavrik::OPT_SUBSCRIBE, "");
    transport().registerReceiver(peer, endpoint);
  } else {
    transport().registerSender(peer, endpoint);
  }
}

void Scene::closePeer() {
  transport().deleteEndpt(peer);
  peer = nullptr;
}

// The peer takes the place of the proxy.
void Scene::joinProxy() {
  if (role != ASYNC_DEALER_WORKER || name == nameWithProxy()) return;
  name = nameWithProxy();
  channel = newChannel();
  setEndpoint();
}

void Scene::connect() {
  joinProxy();
  openPeer();
  if (!hasEndpoint()) {
    setEndpoint();
    publishUntilReceived();
  } else {
    tavrik_pollitem_t item = {channel.get(), 0, 0};
    tavrik::channel_poll(&item, 1, 0);
  }
  require(isConnected());
}

void Scene::settleDeletions() {
  int kept = 0;
  do {
    const support::TransportFaults watch;
    Scene scene(REQ_CLIENT);
    scene.channel->setProperty(CHANNEL_LINGER, "20000");
    scene.connect();
    scene.closePeer();
    scene.channel.reset();
    kept = support::count(watch.texts(), "zmq_poll 1 0");
  } while (kept > 1);  // connecting is one such call
}

// A subscription reaches the publisher only when that sends again.
void Scene::publishUntilReceived() {
  Message sent = messageOf({subject});
  Message received;
  void* const socket = support::TestPeer::socketOf(*channel);
  void* const publisher = role == PUBLISHER ? socket : peer;
  void* const subscriber = role == PUBLISHER ? peer : socket;
  do {
    transport().send(publisher, &sent);
  } while (transport().receive(subscriber, &received, 0) == 0);
}

void Scene::send(const Parts& parts) {
  Message sent = messageOf(parts);
  if (role == ASYNC_DEALER_CLIENT) {
    // The channel's identity, as ZeroMQ has it.
    char identity[256];
    std::size_t length = sizeof identity;
    require(zmq_getsockopt(support::TestPeer::socketOf(*channel), ZMQ_IDENTITY, identity,
                           &length) == 0);
    sent.insertPart(0, std::string(identity, length));
  }
  if (role == ASYNC_DEALER_WORKER) sent.insertPart(0, clientIdentity);
  require(transport().send(peer, &sent) == sent.getnumParts());
}

Parts Scene::receiveAtPeer() {
  Message received;
  require(transport().receive(peer, &received, support::patience) > 0);
  if (role >= ASYNC_DEALER_CLIENT) received.removePart(0);
  return partsOf(received);
}

Parts Scene::receiveNow() {
  Message received;
  char text[SUBJECT_BUFFER_SIZE] = "";
  const int count = channel->receive(text, &received, 0);
  if (count == 0) return {};
  Parts parts = partsOf(received);
  parts.insert(parts.begin(), text);
  return parts;
}

void Scene::obtain(int number) {
  if (role == REQ_CLIENT) {
    require(channel->send(subject.c_str(), &message) == message.getnumParts());
    receiveAtPeer();
  }
  send(frames(number));
}

void Scene::receive(int number) {
  obtain(number);
  char text[SUBJECT_BUFFER_SIZE];
  require(channel->receive(text, &message, 0) == message.getnumParts());
}

void Scene::tear() {
  obtain(0);
  support::TransportFaults faults;
  faults.fail("zmq_msg_recv", EINTR, 2);
  try {
    char text[SUBJECT_BUFFER_SIZE];
    Message torn;
    channel->receive(text, &torn, 0);
  } catch (const std::runtime_error&) {
    return;
  }
  require(false);
}

void Scene::makeSendable() {
  if (role == REP_SERVER) receive(0);
  if (role == ASYNC_DEALER_WORKER) {
    const tavrik::AsyncRouterDealerMsgHandle handle = clientHandle();
    message.setHandle(&handle);
  }
}

Parts Scene::state() {
  Parts values;
  if (channel == nullptr) return values;
  values.emplace_back(isConnected() ? "connected" : "unconnected");
  const auto& properties = support::TestPeer::propertiesOf(*support::TestPeer::patternOf(*channel));
  for (const auto& [prop, value] : properties) {
    if (!value.empty()) values.push_back(std::to_string(prop) + " " + value);
  }
  const bool isWorker = role == ASYNC_DEALER_WORKER;
  if (!isWorker && role != SUBSCRIBER) return values;
  const channel_prop_t next =
      isWorker ? ASYNC_DEALER_NEXT_CLIENT_ENDPOINT : PUB_SUB_NEXT_PUBLISHER_ENDPOINT;
  for (std::string value = "first"; !value.empty(); values.push_back(value)) {
    value = channel->getProperty(next);
  }
  return values;
}

}  // namespace points
