// Clients and workers: how each connects, and how a reply finds its way back.
#include <core/error.hpp>
#include <patterns/high_water_mark.hpp>
#include <patterns/proxy.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/mutex_ra.hpp>

#include <zmq.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace tavrik {
namespace {

constexpr HighWaterMarkRule clientMark{ASYNC_DEALER_CLIENT, faults::clientMarkRole,
                                       faults::invalidClientMark,
                                       faults::clientMarkAfterConnecting};

const char* const constructorPrefix =
    "Error : Tavrik::AsyncRouterDealerMsgPattern::AsyncRouterDealerMsgPattern() : ";
const char* const connectPrefix =
    "Error : Tavrik::AsyncRouterDealerMsgPattern::connectEndpoint() : ";

// Channel name, thread and a random number, cut to what ZeroMQ takes. The generator is seeded with
// the second, so that two clients of a name that one thread makes within a second have the same
// identity; peers that tell clients by it rely on the form.
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

// The identity frame at the front of a message, for as long as the object lives.
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

std::map<std::string, unsigned long>& AsyncRouterDealerMsgPattern::proxythreads =
    *new std::map<std::string, unsigned long>;
pthread_mutex_t AsyncRouterDealerMsgPattern::proxymutex = PTHREAD_MUTEX_INITIALIZER;

AsyncRouterDealerMsgPattern::AsyncRouterDealerMsgPattern(const std::string& channelName,
                                                         role_t channelRole)
    : MsgPattern(channelName, channelRole) {
  logged(constructorPrefix, [&] {
    if (role != ASYNC_DEALER_CLIENT && role != ASYNC_DEALER_WORKER) {
      fail(faults::invalidRouterDealerRole);
    }
  });
}

AsyncRouterDealerMsgPattern::~AsyncRouterDealerMsgPattern() noexcept(false) = default;

void AsyncRouterDealerMsgPattern::connectEndpoint() {
  if (socket != nullptr) return;
  logged(connectPrefix, [&] {
    // The socket is stored before anything else can fail, so that the destructor closes it.
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
  const auto mark = properties.find(ASYNC_DEALER_CLIENT_SNDHWM);
  if (mark != properties.end()) transport->setOption(socket, OPT_SNDHWM, mark->second);
  setTosSockOption(socket);
  transport->registerReceiver(socket, properties[ASYNC_DEALER_CLIENT_ENDPOINT]);
}

// The worker's own socket stays inside the host's proxy: no identity, no mark, no type of service.
void AsyncRouterDealerMsgPattern::connectWorker() {
  const MutexRA lock(&proxymutex);
  if (proxythreads.find(name) == proxythreads.end()) startProxy();
  transport->registerReceiver(socket, properties[ASYNC_DEALER_WORKER_ENDPOINT]);
}

// With proxymutex held. What can fail comes before the thread, so that a thread that runs is
// registered, and what was made is released when something fails.
void AsyncRouterDealerMsgPattern::startProxy() {
  OwnedProxyThreadArgs args = proxyThreadArgs(name);
  ProxySockets sockets(*transport, connectPrefix);
  sockets.router = transport->createEndpt(ZMQ_ROUTER);
  sockets.dealer = transport->createEndpt(ZMQ_DEALER);
  setTosSockOption(sockets.router);
  for (const std::string& endpoint : clientEndpoints.all()) {
    transport->registerSender(sockets.router, endpoint);
  }
  transport->registerSender(sockets.dealer, properties[ASYNC_DEALER_WORKER_ENDPOINT]);
  args->router = sockets.router;
  args->dealer = sockets.dealer;

  ProxyRecord& record = proxyRecord(name);
  const auto entry = proxythreads.emplace(name, 0).first;
  if (pthread_create(&entry->second, nullptr, proxythreadfun, args.get()) != 0) {
    proxythreads.erase(entry);
    fail(faults::proxyNotStarted);
  }
  static_cast<void>(args.release());
  sockets.handOver();
  record.running.store(true, std::memory_order_release);
}

// Without the lock: workers come here with every message.
void AsyncRouterDealerMsgPattern::requireProxy() {
  if (proxy == nullptr) proxy = findProxyRecord(name);
  if (proxy == nullptr || !proxy->running.load(std::memory_order_acquire)) {
    fail(faults::proxyNotFound);
  }
}

int AsyncRouterDealerMsgPattern::setProperty(channel_prop_t prop, const std::string& value) {
  return logged("Error : Tavrik::AsyncRouterDealerMsgPattern::setProperty() : ", [&] {
    constexpr int alreadyConnected = -32;
    if (prop == CHANNEL_TOS_PRIORITY) return setTosPropVal(value);
    if (prop == ASYNC_DEALER_CLIENT_SNDHWM) {
      checkHighWaterMark(clientMark, role, value, socket != nullptr);
      properties[prop] = value;
      return 0;
    }
    if (socket != nullptr) return alreadyConnected;  // silent, unlike the mark
    if (prop == ASYNC_DEALER_CLIENT_ENDPOINT) return setClientEndpoint(value);
    if (prop == ASYNC_DEALER_WORKER_ENDPOINT && role == ASYNC_DEALER_WORKER) {
      if (!isValidEndpt(value)) fail(faults::invalidRouterDealerEndpoint, value);
      properties[prop] = value;
      return 0;
    }
    fail(faults::invalidRouterDealerProperty, value);
  });
}

int AsyncRouterDealerMsgPattern::setClientEndpoint(const std::string& endpoint) {
  if (!isValidEndpt(endpoint)) fail(faults::invalidRouterDealerEndpoint, endpoint);
  switch (role) {
    case ASYNC_DEALER_WORKER:
      if (clientEndpoints.contains(endpoint)) fail(faults::dealerEndpointAlreadySet, endpoint);
      clientEndpoints.add(endpoint);
      return 0;
    case ASYNC_DEALER_CLIENT:
      properties[ASYNC_DEALER_CLIENT_ENDPOINT] = endpoint;
      return 0;
    default:
      fail(faults::roleNotDefined);
  }
}

std::string AsyncRouterDealerMsgPattern::getProperty(channel_prop_t prop) {
  return logged(
      "Error : Tavrik::AsyncRouterDealerMsgPattern::getProperty() : ", [&]() -> std::string {
        const bool client = role == ASYNC_DEALER_CLIENT;
        const bool worker = role == ASYNC_DEALER_WORKER;
        if (prop == CHANNEL_TOS_PRIORITY) return getTosPropVal();
        if (prop == ASYNC_DEALER_CLIENT_ENDPOINT && client) return properties[prop];
        if (prop == ASYNC_DEALER_WORKER_ENDPOINT && worker) return properties[prop];
        if (prop == ASYNC_DEALER_NEXT_CLIENT_ENDPOINT && worker) return clientEndpoints.next();
        if (prop == ASYNC_DEALER_CLIENT_SNDHWM && client) {
          const auto mark = properties.find(prop);
          return mark != properties.end() ? mark->second : "1000";
        }
        fail(faults::invalidRouterDealerQuery);
      });
}

int AsyncRouterDealerMsgPattern::send(Message* msg) {
  return logged("Error : Tavrik::AsyncRouterDealerMsgPattern::send() : ", [&] {
    connectEndpoint();
    if (role == ASYNC_DEALER_CLIENT) return transport->send(socket, msg);
    requireProxy();
    if (msg == nullptr) return transport->send(socket, nullptr);
    const std::unique_ptr<MsgHandle> handle(msg->getHandle());
    const auto* const client = dynamic_cast<const AsyncRouterDealerMsgHandle*>(handle.get());
    if (client == nullptr) fail(faults::messageHandleNull);
    const IdentityFrame frame(*msg, client->getIdentity());
    const int sent = transport->send(socket, msg);
    return sent >= 1 ? sent - 1 : sent;
  });
}

// Connects for a first receive; answers whether that receive goes on.
bool AsyncRouterDealerMsgPattern::connectToReceive(long timeout) {
  if (timeout == 0 && role == ASYNC_DEALER_WORKER) {  // one that only looks starts no proxy
    logLine(TAVRIK_LOG_INFO, "Info : Not creating threads as timeout is 0 and role is worker");
    return false;
  }
  connectEndpoint();
  return timeout != 1;  // a first receive of 1 ms only connects
}

int AsyncRouterDealerMsgPattern::receive(Message* msg, long timeout) {
  // The prefix is the constructor's; log filters in the field know both by it.
  return logged(constructorPrefix, [&] {
    if (socket == nullptr && !connectToReceive(timeout)) {
      if (msg != nullptr) msg->setnumParts(0);  // never to be taken for a received message
      return 0;
    }
    if (role == ASYNC_DEALER_WORKER) requireProxy();
    const int received = transport->receive(socket, msg, timeout);
    if (received < 1 || role == ASYNC_DEALER_CLIENT || msg == nullptr) return received;
    AsyncRouterDealerMsgHandle handle;
    handle.setIdentity((*msg)[0]);
    msg->removePart(0);
    msg->setHandle(&handle);
    return received - 1;
  });
}

}  // namespace tavrik
