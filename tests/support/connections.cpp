#include <support/connections.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>

namespace support {
namespace {

std::string text(const sockaddr_storage& address, socklen_t size) {
  if (address.ss_family == AF_INET) {
    const auto& inet = reinterpret_cast<const sockaddr_in&>(address);
    char host[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &inet.sin_addr, host, sizeof host);
    return "tcp://" + std::string(host) + ":" + std::to_string(ntohs(inet.sin_port));
  }
  if (address.ss_family == AF_UNIX && size > sizeof(sa_family_t)) {
    return std::string("ipc://") + reinterpret_cast<const sockaddr_un&>(address).sun_path;
  }
  return "";
}

template <class Match>
std::vector<int> connections(Match match) {
  std::vector<int> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename().string());
    sockaddr_storage own{};
    sockaddr_storage other{};
    socklen_t ownSize = sizeof own;
    socklen_t otherSize = sizeof other;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) == 0 &&
        getpeername(descriptor, reinterpret_cast<sockaddr*>(&other), &otherSize) == 0 &&
        match(text(own, ownSize), text(other, otherSize))) {
      found.push_back(descriptor);
    }
  }
  return found;
}

}  // namespace

std::vector<int> connectionsTo(const std::string& endpoint) {
  return connections(
      [&](const std::string&, const std::string& other) { return other == endpoint; });
}

std::vector<int> connectionsAt(const std::string& endpoint) {
  return connections([&](const std::string& own, const std::string&) { return own == endpoint; });
}

}  // namespace support
