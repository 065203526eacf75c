#include <support/plain_socket.hpp>
#include <support/raw_connection.hpp>
#include <support/require.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace support {
namespace {

// An address of either family.
struct Address {
  explicit Address(const std::string& endpoint) {
    const std::string tcp = "tcp://";
    const std::string ipc = "ipc://";
    if (endpoint.compare(0, ipc.size(), ipc) == 0) {
      auto& local = reinterpret_cast<sockaddr_un&>(storage);
      local.sun_family = AF_UNIX;
      endpoint.copy(local.sun_path, sizeof local.sun_path - 1, ipc.size());
      size = sizeof local;
    } else {
      auto& inet = reinterpret_cast<sockaddr_in&>(storage);
      const std::size_t colon = endpoint.rfind(':');
      inet.sin_family = AF_INET;
      inet.sin_port = htons(static_cast<std::uint16_t>(std::stoi(endpoint.substr(colon + 1))));
      const std::string host = endpoint.substr(tcp.size(), colon - tcp.size());
      errno = EINVAL;
      require(inet_pton(AF_INET, host.c_str(), &inet.sin_addr) == 1, endpoint.c_str());
      size = sizeof inet;
    }
  }

  int newSocket() const {
    const int descriptor = socket(storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(descriptor != -1, "socket");
    return descriptor;
  }

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }

  sockaddr_storage storage{};
  socklen_t size = 0;
};

void limitWaiting(int descriptor) {
  const timeval limit = {patience / 1000, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

int connectTo(const Address& address) {
  const int descriptor = address.newSocket();
  limitWaiting(descriptor);
  if (connect(descriptor, address.get(), address.size) != 0) {
    close(descriptor);
    throw std::system_error(errno, std::generic_category(), "connect");
  }
  return descriptor;
}

// Fails if a wait took too long.
bool arrived(ssize_t result, const char* what) {
  require(result != -1 || errno != EAGAIN, what);
  return result > 0;
}

}  // namespace

RawConnection::RawConnection(const std::string& endpoint)
    : RawConnection(connectTo(Address(endpoint))) {}

RawConnection::RawConnection(int connected) : descriptor(connected) {
  limitWaiting(descriptor);
}

RawConnection::RawConnection(RawConnection&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)) {}

RawConnection::~RawConnection() {
  if (descriptor != -1) close(descriptor);
}

bool RawConnection::send(const std::string& bytes) const {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t taken =
        ::send(descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (!arrived(taken, "send")) return false;
    sent += static_cast<std::size_t>(taken);
  }
  return true;
}

std::string RawConnection::receive(std::size_t count) const {
  std::string bytes(count, '\0');
  const ssize_t size = recv(descriptor, bytes.data(), count, MSG_WAITALL);
  bytes.resize(arrived(size, "receive") ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

void RawConnection::finish() const {
  shutdown(descriptor, SHUT_WR);
  std::array<char, 4096> bytes{};
  while (arrived(recv(descriptor, bytes.data(), bytes.size(), 0), "wait for the end")) continue;
}

void RawConnection::reset() const {
  const linger now = {1, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

RawListener::RawListener(const std::string& endpoint) {
  const Address address(endpoint);
  descriptor = address.newSocket();
  limitWaiting(descriptor);
  unlink(reinterpret_cast<const sockaddr_un&>(address.storage).sun_path);
  require(bind(descriptor, address.get(), address.size) == 0, "bind");
  require(listen(descriptor, SOMAXCONN) == 0, "listen");
}

RawListener::~RawListener() {
  close(descriptor);
}

RawConnection RawListener::accept() const {
  const int connected = accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC);
  require(connected != -1, "accept");
  return RawConnection(connected);
}

bool RawListener::isAsked(long timeout) const {
  pollfd asked = {descriptor, POLLIN, 0};
  const int ready = poll(&asked, 1, static_cast<int>(timeout));
  require(ready != -1, "poll");
  return ready == 1;
}

namespace zmtp {

std::string greeting(const std::string& mechanism, char major, char minor) {
  std::string bytes("\xff\0\0\0\0\0\0\0\x01\x7f", 10);
  bytes += {major, minor};
  bytes += mechanism;
  bytes.resize(greetingSize, '\0');
  return bytes;
}

std::string longHeader(char flags, std::uint64_t size) {
  std::string bytes(1, static_cast<char>(flags | longFlag));
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(size >> shift);
  return bytes;
}

std::string frame(char flags, const std::string& body) {
  constexpr std::size_t shortest = 256;
  if (body.size() >= shortest) return longHeader(flags, body.size()) + body;
  return std::string{flags, static_cast<char>(body.size())} + body;
}

std::string command(const std::string& name, const std::string& body) {
  return frame(commandFlag, static_cast<char>(name.size()) + name + body);
}

std::string metadata(const std::string& name, const std::string& value) {
  // The length of the value is a long header's without its first 5 bytes.
  return static_cast<char>(name.size()) + name + longHeader(0, value.size()).substr(5) + value;
}

std::string ready(const std::string& socketType, const std::string& moreMetadata) {
  return command("READY", metadata("Socket-Type", socketType) + moreMetadata);
}

}  // namespace zmtp
}  // namespace support
