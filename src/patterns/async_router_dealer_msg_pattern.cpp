// Clients and workers: how each connects, and how a reply is routed to its client.
#include <core/failure.hpp>
#include <patterns/high_water_mark.hpp>
#include <patterns/proxy_registry.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>

#include <zmq.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>

namespace tavrik {
namespace {

constexpr HighWaterMarkRule clientHighWaterMark{
    ASYNC_DEALER_CLIENT, failures::clientHighWaterMarkRole, failures::invalidClientHighWaterMark,
    failures::clientHighWaterMarkAfterConnecting};

const char* const constructorPrefix =
    "Error : Tavrik::AsyncRouterDealerMsgPattern::AsyncRouterDealerMsgPattern() : ";
const char* const connectPrefix =
    "Error : Tavrik::AsyncRouterDealerMsgPattern::connectEndpoint() : ";

// Returns channel name, thread and a random number, cut to 254 characters. ZeroMQ accepts 255. The
// form is required. The generator is reseeded with the current second, so two clients of one name
// that one thread connects within a second get the same identity; that is required too.
std::string newIdentity(const std::string& name) {
  constexpr std::size_t bufferSize = 255;
  char identity[bufferSize];
  std::srand(
      static_cast<unsigned int>(std::time(nullptr)));  // NOLINT(bugprone-random-generator-seed)
  const auto random = static_cast<unsigned long long>(std::rand());  // NOLINT
  std::snprintf(identity, sizeof identity, "%s_%llu_%llu", name.c_str(),
                static_cast<unsigned long long>(pthread_self()), random);
  return identity;
}

// Inserts the identity frame at the front of a message; the destructor removes it again.
class IdentityFrame {
 public:
  IdentityFrame(Message& message, const std::string& identity) : msg(message) {
    msg.insertPart(0, identity);
  }
  ~IdentityFrame() {
    if (msg.getnumParts() >= 1) msg.removePart(0);
  }
  IdentityFrame(const IdentityFrame&) = delete;
  IdentityFrame& operator=(const IdentityFrame&) = delete;

 private:
  Message& msg;
};

}  // namespace

AsyncRouterDealerMsgPattern::AsyncRouterDealerMsgPattern(const std::string& channelName,
                                                         role_t channelRole)
    : MsgPattern(channelName, channelRole) {
  logged(constructorPrefix, [&] {
    if (role != ASYNC_DEALER_CLIENT && role != ASYNC_DEALER_WORKER) {
      fail(failures::invalidRouterDealerRole);
    }
  });
}

AsyncRouterDealerMsgPattern::~AsyncRouterDealerMsgPattern() noexcept(false) = default;

void AsyncRouterDealerMsgPattern::connectEndpoint() {
  if (socket != nullptr) return;
  logged(connectPrefix, [&] {
    // Store the socket before anything else can fail: the destructor then closes it.
    socket = transport->createEndpt(ZMQ_DEALER);
    if (role == ASYNC_DEALER_CLIENT) {
      connectClient();
    } else {
      connectWorker();
    }
  });
}

void AsyncRouterDealerMsgPattern::connectClient() {
  transport->setOption(socket, OPT_IDENTITY, newIdentity(name));
  const auto highWaterMark = properties.find(ASYNC_DEALER_CLIENT_SNDHWM);
  if (highWaterMark != properties.end()) {
    transport->setOption(socket, OPT_SNDHWM, highWaterMark->second);
  }
  setTosSockOption(socket);
  applyCommonProperties(socket);
  transport->registerReceiver(socket, properties[ASYNC_DEALER_CLIENT_ENDPOINT]);
}

// The worker's own socket gets no identity, no high-water mark and no type of service: it connects
// to the proxy only.
void AsyncRouterDealerMsgPattern::connectWorker() {
  ProxyRegistry& registry = ProxyRegistry::instance();
  const MutexRA lock = registry.lock();
  if (!registry.isRegistered(name)) startProxy(registry);
  transport->registerReceiver(socket, properties[ASYNC_DEALER_WORKER_ENDPOINT]);
}

// The caller holds the registry's lock.
void AsyncRouterDealerMsgPattern::startProxy(ProxyRegistry& registry) {
  OwnedProxyThreadArgs args = proxyThreadArgs(name);
  ProxySockets sockets(*transport, connectPrefix);
  sockets.router = transport->createEndpt(ZMQ_ROUTER);
  sockets.dealer = transport->createEndpt(ZMQ_DEALER);
  setTosSockOption(sockets.router);
  applyCommonProperties(sockets.router);
  if (commonNumber(CHANNEL_HEARTBEAT) != 0) {
    // A client that reconnects takes over its identity from the connection that it has lost.
    transport->setOption(sockets.router, OPT_ROUTER_HANDOVER, "1");
  }
  for (const std::string& endpoint : clientEndpoints.all()) {
    transport->registerSender(sockets.router, endpoint);
  }
  transport->registerSender(sockets.dealer, properties[ASYNC_DEALER_WORKER_ENDPOINT]);
  args->router = sockets.router;
  args->dealer = sockets.dealer;
  registry.start(name, std::move(args));
  sockets.handOver();
}

// Takes no lock: workers call this with every message.
void AsyncRouterDealerMsgPattern::requireProxy() {
  if (proxy == nullptr) {
    const ProxyRegistry::Record* const record = ProxyRegistry::instance().find(name);
    if (record != nullptr) proxy = &record->running;
  }
  if (proxy == nullptr || !proxy->load(std::memory_order_acquire)) fail(failures::proxyNotFound);
}

int AsyncRouterDealerMsgPattern::setProperty(channel_prop_t prop, const std::string& value) {
  return logged("Error : Tavrik::AsyncRouterDealerMsgPattern::setProperty() : ", [&] {
    constexpr int alreadyConnected = -32;
    if (isCommonProperty(prop)) return setCommonProperty(prop, value);
    if (prop == ASYNC_DEALER_CLIENT_SNDHWM) {
      checkHighWaterMark(clientHighWaterMark, role, value, socket != nullptr);
      properties.insert_or_assign(prop, value);
      return 0;
    }
    if (socket != nullptr) return alreadyConnected;  // not thrown, unlike above
    if (prop == ASYNC_DEALER_CLIENT_ENDPOINT) return setClientEndpoint(value);
    if (prop == ASYNC_DEALER_WORKER_ENDPOINT && role == ASYNC_DEALER_WORKER) {
      if (!isValidEndpt(value)) fail(failures::invalidRouterDealerEndpoint, value);
      properties.insert_or_assign(prop, value);
      return 0;
    }
    fail(failures::invalidRouterDealerProperty, value);
  });
}

int AsyncRouterDealerMsgPattern::setClientEndpoint(const std::string& endpoint) {
  if (!isValidEndpt(endpoint)) fail(failures::invalidRouterDealerEndpoint, endpoint);
  switch (role) {
    case ASYNC_DEALER_WORKER:
      if (clientEndpoints.contains(endpoint)) fail(failures::dealerEndpointAlreadySet, endpoint);
      clientEndpoints.add(endpoint);
      return 0;
    case ASYNC_DEALER_CLIENT:
      properties.insert_or_assign(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint);
      return 0;
    default:
      fail(failures::roleNotDefined);
  }
}

std::string AsyncRouterDealerMsgPattern::getProperty(channel_prop_t prop) {
  return logged(
      "Error : Tavrik::AsyncRouterDealerMsgPattern::getProperty() : ", [&]() -> std::string {
        const bool client = role == ASYNC_DEALER_CLIENT;
        const bool worker = role == ASYNC_DEALER_WORKER;
        if (isCommonProperty(prop)) return getCommonProperty(prop);
        if (prop == ASYNC_DEALER_CLIENT_ENDPOINT && client) return properties[prop];
        if (prop == ASYNC_DEALER_WORKER_ENDPOINT && worker) return properties[prop];
        if (prop == ASYNC_DEALER_NEXT_CLIENT_ENDPOINT && worker) return clientEndpoints.next();
        if (prop == ASYNC_DEALER_CLIENT_SNDHWM && client) {
          const auto highWaterMark = properties.find(prop);
          return highWaterMark != properties.end() ? highWaterMark->second : "1000";
        }
        fail(failures::invalidRouterDealerQuery);
      });
}

int AsyncRouterDealerMsgPattern::send(Message* msg) {
  return logged("Error : Tavrik::AsyncRouterDealerMsgPattern::send() : ", [&] {
    connectIfNeeded();
    if (role == ASYNC_DEALER_CLIENT) return transport->send(socket, msg);
    requireProxy();
    if (msg == nullptr) return transport->send(socket, nullptr);
    const std::unique_ptr<MsgHandle> handle(msg->getHandle());
    const auto* const client = dynamic_cast<const AsyncRouterDealerMsgHandle*>(handle.get());
    if (client == nullptr) fail(failures::messageHandleNull);
    const IdentityFrame frame(*msg, client->getIdentity());
    const int sent = transport->send(socket, msg);
    return sent >= 1 ? sent - 1 : sent;
  });
}

// Connects for a first receive. Returns whether that receive continues.
bool AsyncRouterDealerMsgPattern::connectToReceive(long timeout) {
  if (timeout == 0 && role == ASYNC_DEALER_WORKER) {
    logLine(TAVRIK_LOG_INFO, "Info : Not creating threads as timeout is 0 and role is worker");
    return false;
  }
  connectEndpoint();
  return timeout != 1;  // a first receive with time-out 1 only connects
}

int AsyncRouterDealerMsgPattern::receive(Message* msg, long timeout) {
  // Required text, do not correct: receive() logs with the constructor's prefix.
  return logged(constructorPrefix, [&] {
    if (socket == nullptr && !connectToReceive(timeout)) {
      if (msg != nullptr) msg->setnumParts(0);  // the caller must not read old parts as received
      return 0;
    }
    if (role == ASYNC_DEALER_WORKER) requireProxy();
    const int received = receiveMessage(msg, timeout);
    if (received < 1 || role == ASYNC_DEALER_CLIENT || msg == nullptr) return received;
    AsyncRouterDealerMsgHandle handle;
    handle.setIdentity((*msg)[0]);
    msg->removePart(0);
    msg->setHandle(&handle);
    return received - 1;
  });
}

}  // namespace tavrik
