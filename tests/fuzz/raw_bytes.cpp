// Random bytes, half handshakes and whole connections at each bound port. Afterwards each port
// still serves a well-behaved peer.
#include "support.hpp"

#include <support/temp_dir.hpp>
#include <tavrik/error.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace {

using fuzz::Input;
using fuzz::Parts;
using tavrik::Message;
using tavrik::TavrikChannel;

using Channel = std::unique_ptr<TavrikChannel>;

constexpr long moment = 100;  // milliseconds until a message that may be lost is first sent again

Channel newChannel(role_t role) {
  return std::make_unique<TavrikChannel>("raw", static_cast<pattern_t>(role / 2), role);
}

// Binds a channel to ports that are free. Somebody else may take one before it is bound.
template <class Bind>
void bindToFreePorts(Bind bind) {
  constexpr int attempts = 100;
  for (int i = 0; i < attempts; ++i) {
    try {
      bind();
      return;
    } catch (const std::runtime_error&) {
      fuzz::takeLog();
    }
  }
  fuzz::fail("no free port");
}

// Makes the channel bind or connect.
void use(TavrikChannel& channel) {
  tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 0};
  tavrik::channel_poll(&item, 1, 0);
}

class Deadline {
 public:
  void require(const char* what) const {
    fuzz::require(std::chrono::steady_clock::now() < end, what);
  }

 private:
  std::chrono::steady_clock::time_point end =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(fuzz::patience);
};

struct Received {
  bool any = false;
  std::string subject;
  Message message;
};

// A message, if one comes in time. A request without delimiter, which is discarded, may end the
// wait early with an exception.
Received receive(TavrikChannel& channel, long timeout) {
  constexpr int withoutDelimiter = -17694731;
  Received received;
  char subject[SUBJECT_BUFFER_SIZE] = "\x01 nothing";
  const std::string nothing = subject;
  try {
    channel.receive(subject, &received.message, timeout);
  } catch (const std::runtime_error& error) {
    fuzz::requireEqual(withoutDelimiter, decode_error(error.what()), error.what());
    fuzz::takeLog();
    return received;
  }
  received.subject = subject;
  received.any = received.subject != nothing || received.message.getnumParts() > 0;
  return received;
}

std::string newToken() {
  static unsigned long count = 0;
  return "token-" + std::to_string(count++);
}

// Answers with what was asked. The peer may be gone already.
void answer(TavrikChannel& channel, Received& received) {
  channel.send(received.subject.c_str(), &received.message);
}

void send(TavrikChannel& channel, const std::string& token) {
  Message message = support::messageOf({token});
  fuzz::requireEqual(1, channel.send(token.c_str(), &message), "send");
}

// Sends a request. If there is no answer after a moment, calls again() and sends another. Whatever
// else arrives at the server is answered too.
template <class Again>
void requireServed(Channel& client, TavrikChannel& server, Again again) {
  const Deadline deadline;
  const std::string token = newToken();
  send(*client, token);
  // A loaded machine may need longer, so each try gets twice the time.
  for (long wait = moment;; wait = std::min(2 * wait, 20 * moment)) {
    deadline.require("a well-behaved client is not served");
    Received request = receive(server, wait);
    if (request.any) answer(server, request);
    if (request.subject == token) {
      const Received reply = receive(*client, wait);
      if (reply.subject == token) {
        fuzz::requireEqual({token}, support::partsOf(reply.message), "the reply");
        return;
      }
    }
    if (!request.any || request.subject == token) {
      again();
      send(*client, token);
    }
  }
}

// ---- The bound ports

class Port {
 public:
  virtual ~Port() = default;
  virtual int number() const = 0;
  virtual void requireServes(bool newPeer) = 0;
};

int portOf(const std::string& endpoint) {
  return std::stoi(endpoint.substr(endpoint.rfind(':') + 1));
}

class Server : public Port {
 public:
  Server() {
    bindToFreePorts([&] {
      endpoint = support::tcpEndpoint();
      server = newChannel(REP_SERVER);
      server->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
      use(*server);
    });
    client = connected();
  }
  int number() const override { return portOf(endpoint); }
  void requireServes(bool newPeer) override {
    if (newPeer) client = connected();
    // ZeroMQ loses the reply to the request that follows a request without delimiter, if the peer
    // of the latter has gone. The client then needs a new socket.
    requireServed(client, *server, [&] { client = connected(); });
    for (Received rest = receive(*server, 0); rest.any; rest = receive(*server, 0)) {
      answer(*server, rest);
    }
  }

 private:
  Channel connected() const {
    Channel made = newChannel(REQ_CLIENT);
    made->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    return made;
  }
  std::string endpoint;
  Channel server;
  Channel client;
};

class Publisher : public Port {
 public:
  Publisher() {
    bindToFreePorts([&] {
      endpoint = support::tcpEndpoint();
      publisher = newChannel(PUBLISHER);
      publisher->setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
    });
    subscriber = connected();
  }
  int number() const override { return portOf(endpoint); }
  void requireServes(bool newPeer) override {
    if (newPeer) subscriber = connected();
    const std::string token = newToken();
    const Deadline deadline;
    Received received;
    while (received.subject != token) {
      deadline.require("a well-behaved subscriber receives nothing");
      // A subscription that is on its way misses what is published before it arrives.
      send(*publisher, token);
      received = receive(*subscriber, moment);
    }
    fuzz::requireEqual({token}, support::partsOf(received.message), "the published message");
  }

 private:
  Channel connected() const {
    Channel made = newChannel(SUBSCRIBER);
    made->setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
    return made;
  }
  std::string endpoint;
  Channel publisher;
  Channel subscriber;
};

// The proxy binds one port for clients and one for workers. It lives until the process ends.
struct Proxied {
  Proxied() {
    bindToFreePorts([&] {
      worker = newChannel(ASYNC_DEALER_WORKER);
      front = support::tcpEndpoint();
      back = support::tcpEndpoint();
      worker->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
      worker->setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back);
      use(*worker);
    });
    client = connected();
  }
  Channel connected() const {
    Channel made = newChannel(ASYNC_DEALER_CLIENT);
    made->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
    return made;
  }
  std::string front;
  std::string back;
  Channel worker;
  Channel client;
};

class ProxyPort : public Port {
 public:
  ProxyPort(Proxied& itsProxied, std::string itsEndpoint)
      : proxied(itsProxied), endpoint(std::move(itsEndpoint)) {}
  int number() const override { return portOf(endpoint); }
  void requireServes(bool) override {
    // Whoever connects to the workers' port is a worker to the proxy. Requests that it got are lost
    // with it, so the client sends again.
    requireServed(proxied.client, *proxied.worker, [] {});
  }

 private:
  Proxied& proxied;
  std::string endpoint;
};

struct Ports {
  Server server;
  Publisher publisher;
  Proxied proxied;
  ProxyPort clients{proxied, proxied.front};
  ProxyPort workers{proxied, proxied.back};
};

// ---- The peer that does not behave

class Attacker {
 public:
  explicit Attacker(int port) : descriptor(socket(AF_INET, SOCK_STREAM, 0)) {
    fuzz::require(descriptor != -1, "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval limit = {fuzz::patience / 1000, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    fuzz::require(
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
        "the port accepts no connection");
  }
  ~Attacker() { close(descriptor); }
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;

  // The other side may have closed the connection already.
  void send(const std::string& bytes) const {
    static_cast<void>(::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }

  void awaitBytes() const {
    char bytes[256];
    static_cast<void>(recv(descriptor, bytes, sizeof bytes, 0));
  }

  // The other side has read all bytes once it has closed the connection too.
  void finish() const {
    shutdown(descriptor, SHUT_WR);
    char bytes[4096];
    ssize_t count = 1;
    while (count > 0) count = recv(descriptor, bytes, sizeof bytes, 0);
    fuzz::require(count == 0 || errno != EAGAIN, "the port does not close an ended connection");
  }

  // Closes without a farewell.
  void reset() const {
    const linger now = {1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  }

 private:
  int descriptor;
};

std::string greeting(Input& input) {
  constexpr std::size_t size = 64;
  std::string bytes("\xff\0\0\0\0\0\0\0\x01\x7f", 10);
  const int minor = input.between(0, 9);
  bytes += static_cast<char>(minor == 0 ? input.any<char>() : 3);
  bytes += static_cast<char>(minor == 1 ? input.any<char>() : 0);
  constexpr const char* mechanisms[] = {"NULL", "NULL", "NULL", "NULL", "PLAIN", "CURVE", "OTHER"};
  bytes += input.oneOf(mechanisms);
  bytes.resize(size, '\0');
  return bytes;
}

constexpr char moreFlag = 1;
constexpr char longFlag = 2;
constexpr char commandFlag = 4;

std::string frame(char flags, const std::string& body) {
  return std::string{flags, static_cast<char>(body.size())} + body;
}

std::string metadata(const std::string& name, const std::string& value) {
  const std::string length{'\0', '\0', '\0', static_cast<char>(value.size())};
  return static_cast<char>(name.size()) + name + length + value;
}

std::string ready(Input& input) {
  constexpr const char* types[] = {"REQ",  "REP",  "DEALER", "ROUTER", "SUB", "PUB",
                                   "XSUB", "XPUB", "PAIR",   "PULL",   ""};
  std::string body = "\x05READY" + metadata("Socket-Type", input.oneOf(types));
  if (input.flag()) body += metadata("Identity", input.bytes());
  return frame(commandFlag, body);
}

std::string command(Input& input) {
  constexpr const char* names[] = {"PING", "PONG", "SUBSCRIBE", "CANCEL", "ERROR", "READY"};
  const std::string name = input.oneOf(names);
  return frame(commandFlag, static_cast<char>(name.size()) + name + input.bytes());
}

// A frame that claims any length.
std::string dishonestFrame(Input& input) {
  std::string bytes(1, static_cast<char>(longFlag | input.between<char>(0, 7)));
  const auto claimed = input.any<std::uint64_t>() >> input.between(0U, 63U);
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(claimed >> shift);
  return bytes + input.bytes();
}

std::string piece(Input& input) {
  switch (input.between(0, 8)) {
    case 0:
      return greeting(input);
    case 1:
      return ready(input);
    case 2:
      return command(input);
    case 3:
      return dishonestFrame(input);
    case 4:
      return frame(moreFlag, "");
    case 5:
    case 6:
      return frame(input.between<char>(0, moreFlag), input.bytes());
    default:
      return input.bytes();
  }
}

void attack(Input& input, int port) {
  const Attacker attacker(port);
  // A handshake comes first, mostly: without one no frame is looked at.
  if (input.between(0, 3) != 0) {
    attacker.send(greeting(input));
    if (input.flag()) attacker.awaitBytes();
    attacker.send(ready(input));
  }
  while (!input.empty()) {
    std::string bytes = piece(input);
    while (!input.empty() && input.flag()) bytes += piece(input);
    attacker.send(bytes);
  }
  if (input.flag()) {
    attacker.reset();
  } else {
    attacker.finish();
  }
}

}  // namespace

// A frame may claim any length: an allocation of that size fails, as it does without the sanitizer.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
  return "allocator_may_return_null=1:max_allocation_size_mb=256";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const ports = new Ports;  // the proxy outlives everything
  Input input(data, size);
  Port* const all[] = {&ports->server, &ports->publisher, &ports->clients, &ports->workers};
  Port* const port = input.oneOf(all);
  const bool newPeer = input.between(0, 15) == 15;
  attack(input, port->number());
  port->requireServes(newPeer);
  return 0;
}
