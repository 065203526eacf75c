#include <support/plain_socket.hpp>
#include <support/require.hpp>
#include <support/sniffer.hpp>

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <linux/if_ether.h>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace support {
namespace {

int openOn(const Host& host) {
  const OnHost here(host);
  // A socket that is bound to one protocol does not receive the packets that the host sends.
  const int socket = ::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP));
  require(socket != -1, "socket(AF_PACKET)");
  return socket;
}

// Returns the header at the offset, or zeros if the packet is too short for it.
template <class Header>
Header headerAt(std::string_view packet, std::size_t offset) {
  Header header{};
  if (packet.size() >= offset + sizeof header) {
    std::memcpy(&header, packet.data() + offset, sizeof header);
  }
  return header;
}

}  // namespace

Sniffer::Sniffer(const Host& host, std::uint16_t tcpPort) : socket(openOn(host)), port(tcpPort) {}

Sniffer::~Sniffer() {
  close(socket);
}

std::set<int> Sniffer::typesOfServiceUntil(const std::string& text) {
  std::set<int> services;
  std::vector<char> room(1U << 17U);  // for any packet, segmented or not
  for (;;) {
    pollfd readable = {socket, POLLIN, 0};
    if (poll(&readable, 1, patience) != 1) throw std::runtime_error("no packet with: " + text);
    const ssize_t size = recv(socket, room.data(), room.size(), 0);
    require(size != -1, "recv");
    const std::string_view packet(room.data(), static_cast<std::size_t>(size));
    const auto ip = headerAt<iphdr>(packet, 0);
    if (ip.protocol != IPPROTO_TCP) continue;
    const auto tcp = headerAt<tcphdr>(packet, std::size_t{ip.ihl} * 4);
    if (ntohs(tcp.source) != port && ntohs(tcp.dest) != port) continue;
    services.insert(ip.tos & IPTOS_DSCP_MASK);
    if (packet.find(text) != std::string_view::npos) return services;
  }
}

}  // namespace support
