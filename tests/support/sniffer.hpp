// The packets that arrive at a host.
#ifndef TAVRIK_TESTS_SUPPORT_SNIFFER_HPP
#define TAVRIK_TESTS_SUPPORT_SNIFFER_HPP

#include <support/hosts.hpp>

#include <cstdint>
#include <set>
#include <string>

namespace support {

// Captures, from its construction on, the TCP packets from or to a port that a host receives. It
// captures packets that the host sends only if they return to it over its loopback interface.
class Sniffer {
 public:
  Sniffer(const Host& host, std::uint16_t tcpPort);
  ~Sniffer();
  Sniffer(const Sniffer&) = delete;
  Sniffer& operator=(const Sniffer&) = delete;

  // Waits for the packet that contains the text and returns the types of service of the packets up
  // to it, without the two bits of congestion notification. Throws if no such packet arrives.
  std::set<int> typesOfServiceUntil(const std::string& text);

 private:
  int socket;
  std::uint16_t port;
};

}  // namespace support

#endif
