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
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <future>
#include <utility>
#include <vector>

namespace support {
namespace {

void closeIfOpen(int& descriptor) {
  if (descriptor != -1) close(descriptor);
  descriptor = -1;
}

// Returns -1 if the server takes no connection.
int connectTo(const std::string& path) {
  sockaddr_un server{};
  server.sun_family = AF_UNIX;
  path.copy(server.sun_path, sizeof server.sun_path - 1);
  int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  require(descriptor != -1, "socket");
  if (connect(descriptor, reinterpret_cast<sockaddr*>(&server), sizeof server) != 0) {
    closeIfOpen(descriptor);
  }
  return descriptor;
}

bool wouldBlock(ssize_t result) {
  return result == -1 && (errno == EAGAIN || errno == EINTR);
}

}  // namespace

// Forwards what can be forwarded now. Returns false when one of the ends has been closed.
bool Relay::Way::forward() {
  if (waiting.empty()) {
    std::array<char, 65536> bytes{};
    const ssize_t size = read(source, bytes.data(), bytes.size());
    if (size <= 0) return wouldBlock(size);
    waiting.assign(bytes.data(), static_cast<std::size_t>(size));
  }
  if (destination == -1) waiting.clear();
  if (waiting.empty()) return true;
  const ssize_t taken = send(destination, waiting.data(), waiting.size(), MSG_NOSIGNAL);
  if (taken == -1) return wouldBlock(taken);
  waiting.erase(0, static_cast<std::size_t>(taken));
  return true;
}

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
  dropAll();
  {
    const std::lock_guard<std::mutex> lock(mutex);
    ending = true;
  }
  wake();
  thread.join();
  close(listener);
  close(wakeUp);
}

void Relay::dropClients() {
  inThread([this] {
    for (Link& link : links) {
      closeIfOpen(link.client);
      link.toServer.source = -1;
      link.toClient.destination = -1;
    }
  });
}

void Relay::dropServers() {
  inThread([this] {
    for (Link& link : links) {
      closeIfOpen(link.server);
      link.toClient.source = -1;
      link.toServer.destination = -1;
    }
  });
}

void Relay::dropAll() {
  inThread([this] {
    for (Link& link : links) {
      closeIfOpen(link.client);
      closeIfOpen(link.server);
    }
    links.clear();
  });
}

void Relay::silenceAll() {
  inThread([this] {
    for (Link& link : links) link.silent = true;
  });
}

void Relay::setSilent(bool wanted) {
  inThread([this, wanted] { silent = wanted; });
}

// Returns when the thread has run the task.
void Relay::inThread(std::function<void()> task) {
  std::promise<void> done;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    waitingTask = [&] {
      task();
      done.set_value();
    };
  }
  wake();
  done.get_future().wait();
}

void Relay::wake() const {
  const std::uint64_t one = 1;
  require(write(wakeUp, &one, sizeof one) == sizeof one, "write");
}

void Relay::accept() {
  int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (client == -1) return;
  const int server = connectTo(path);
  if (server != -1) {
    links.emplace_back(client, server);
    ++acceptedLinks;
  } else {
    closeIfOpen(client);
  }
}

void Relay::run() {
  for (;;) {
    std::vector<pollfd> watched = {{wakeUp, POLLIN, 0}};
    if (!silent) {
      watched.push_back({listener, POLLIN, 0});
      for (const Link& link : links) {
        for (const Way* way : {&link.toServer, &link.toClient}) {
          if (link.silent) {
            watched.push_back({-1, 0, 0});
            continue;
          }
          watched.push_back(way->waiting.empty() ? pollfd{way->source, POLLIN, 0}
                                                 : pollfd{way->destination, POLLOUT, 0});
        }
      }
    }
    if (poll(watched.data(), watched.size(), -1) == -1) continue;
    if (!silent) {
      forward(watched);
      if (watched[1].revents != 0) accept();
    }
    if (watched[0].revents != 0 && !obey()) return;
    workingLinks = static_cast<int>(
        std::count_if(links.begin(), links.end(), [](const Link& link) { return link.works(); }));
  }
}

// Forwards where poll() found something. Closes a link when one of its ends has been closed.
void Relay::forward(const std::vector<pollfd>& watched) {
  std::size_t next = 2;
  for (auto link = links.begin(); link != links.end();) {
    const bool open = (watched[next].revents == 0 || link->toServer.forward()) &&
                      (watched[next + 1].revents == 0 || link->toClient.forward());
    next += 2;
    if (open) {
      ++link;
      continue;
    }
    closeIfOpen(link->client);
    closeIfOpen(link->server);
    link = links.erase(link);
  }
}

// Runs the task that waits. Returns whether to continue.
bool Relay::obey() {
  std::uint64_t ignored = 0;
  require(read(wakeUp, &ignored, sizeof ignored) == sizeof ignored, "read");
  const std::lock_guard<std::mutex> lock(mutex);
  if (ending) return false;
  if (waitingTask) std::exchange(waitingTask, nullptr)();
  return true;
}

}  // namespace support
