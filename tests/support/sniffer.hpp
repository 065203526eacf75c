// What arrives at a host over the wire, packet by packet.
#ifndef TAVRIK_TESTS_SUPPORT_SNIFFER_HPP
#define TAVRIK_TESTS_SUPPORT_SNIFFER_HPP

#include <support/hosts.hpp>

#include <cstdint>
#include <set>
#include <string>

namespace support {

// Takes, from its making on, the TCP packets from or to a port that a host receives; those that it
// sends only where they come back to it, on its loopback.
class Sniffer {
 public:
  Sniffer(const Host& host, std::uint16_t tcpPort);
  ~Sniffer();
  Sniffer(const Sniffer&) = delete;
  Sniffer& operator=(const Sniffer&) = delete;

  // The types of service of the packets so far, up to the one that carries the text: waits for it,
  // and throws when it does not come. Without the two bits of congestion notification.
  std::set<int> typesOfServiceUntil(const std::string& text);

 private:
  int socket;
  std::uint16_t port;
};

}  // namespace support

#endif
