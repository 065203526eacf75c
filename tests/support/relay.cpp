#include <support/relay.hpp>
#include <support/require.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace support {
namespace {

// Forwards what can be read now. Returns false when the source has been closed. What the
// destination no longer takes is dropped; -1 drops everything.
bool forward(int source, int destination) {
  std::array<char, 65536> bytes{};
  const ssize_t size = read(source, bytes.data(), bytes.size());
  if (size <= 0) return false;
  std::size_t sent = 0;
  while (destination != -1 && sent < static_cast<std::size_t>(size)) {
    const ssize_t taken =
        send(destination, bytes.data() + sent, static_cast<std::size_t>(size) - sent, MSG_NOSIGNAL);
    if (taken <= 0) break;
    sent += static_cast<std::size_t>(taken);
  }
  return true;
}

int connectTo(const std::string& path) {
  sockaddr_un server{};
  server.sun_family = AF_UNIX;
  path.copy(server.sun_path, sizeof server.sun_path - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  require(descriptor != -1, "socket");
  require(connect(descriptor, reinterpret_cast<sockaddr*>(&server), sizeof server) == 0, "connect");
  return descriptor;
}

}  // namespace

Relay::Relay(const std::string& serverEndpoint)
    : path(serverEndpoint.substr(std::string("ipc://").size())) {
  sockaddr_in loopback{};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof loopback;
  auto* const any = reinterpret_cast<sockaddr*>(&loopback);
  listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  require(listener != -1 && bind(listener, any, size) == 0 && listen(listener, SOMAXCONN) == 0 &&
              getsockname(listener, any, &size) == 0,
          "listener");
  address = "tcp://127.0.0.1:" + std::to_string(ntohs(loopback.sin_port));
  wakeUp = eventfd(0, EFD_CLOEXEC);
  require(wakeUp != -1, "eventfd");
  thread = std::thread([this] { run(); });
}

Relay::~Relay() {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    ending = true;
  }
  wake();
  thread.join();
  closeClients();
  for (const Link& link : links) close(link.server);
  close(listener);
  close(wakeUp);
}

void Relay::dropClients() {
  std::promise<void> dropped;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    drop = &dropped;
  }
  wake();
  dropped.get_future().wait();
}

void Relay::wake() const {
  const std::uint64_t one = 1;
  require(write(wakeUp, &one, sizeof one) == sizeof one, "write");
}

void Relay::closeClients() {
  for (Link& link : links) {
    if (link.client != -1) close(link.client);
    link.client = -1;
  }
}

void Relay::accept() {
  const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (client != -1) links.push_back({client, connectTo(path)});
}

void Relay::run() {
  for (;;) {
    std::vector<pollfd> watched = {{wakeUp, POLLIN, 0}, {listener, POLLIN, 0}};
    for (const Link& link : links) {
      watched.push_back({link.client, POLLIN, 0});
      watched.push_back({link.server, POLLIN, 0});
    }
    if (poll(watched.data(), watched.size(), -1) == -1) continue;

    for (std::size_t i = 0; i < links.size(); ++i) {
      Link& link = links[i];
      const bool clientClosed =
          watched[2 + 2 * i].revents != 0 && !forward(link.client, link.server);
      const bool serverClosed =
          watched[3 + 2 * i].revents != 0 && !forward(link.server, link.client);
      if (!clientClosed && !serverClosed) continue;
      if (link.client != -1) close(link.client);
      close(link.server);
      link = {-1, -1};
    }
    links.erase(std::remove_if(links.begin(), links.end(),
                               [](const Link& link) { return link.server == -1; }),
                links.end());

    if (watched[0].revents != 0) {
      std::uint64_t ignored = 0;
      require(read(wakeUp, &ignored, sizeof ignored) == sizeof ignored, "read");
      const std::lock_guard<std::mutex> lock(mutex);
      if (ending) return;
      if (drop != nullptr) {
        closeClients();
        drop->set_value();
        drop = nullptr;
      }
    }
    if (watched[1].revents != 0) accept();
  }
}

}  // namespace support
