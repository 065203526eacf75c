// The type of service, read back from the kernel for the sockets that carry a channel's traffic.
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <sys/socket.h>

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tavrik::Message;
using tavrik::TavrikChannel;

int portOf(const sockaddr_in& address) {
  return ntohs(address.sin_port);
}

// The type of service of every established TCP connection of this process that has the server's
// port at its own end (server) or at the other (client).
std::vector<int> typesOfService(int port, bool atOwnEnd) {
  std::vector<int> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename().string());
    sockaddr_in own{};
    sockaddr_in other{};
    socklen_t ownSize = sizeof own;
    socklen_t otherSize = sizeof other;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &ownSize) != 0 ||
        getpeername(descriptor, reinterpret_cast<sockaddr*>(&other), &otherSize) != 0 ||
        own.sin_family != AF_INET) {
      continue;
    }
    if (portOf(atOwnEnd ? own : other) != port) continue;
    int service = -1;
    socklen_t size = sizeof service;
    getsockopt(descriptor, IPPROTO_IP, IP_TOS, &service, &size);
    found.push_back(service);
  }
  return found;
}

// A server with a type of service, bound to a port that the system had free.
std::unique_ptr<TavrikChannel> boundServer(const std::string& service, std::string& endpoint) {
  constexpr int attempts = 100;
  for (int i = 0; i < attempts; ++i) {
    auto server = std::make_unique<TavrikChannel>("tos", REQUEST_REPLY_PATTERN, REP_SERVER);
    if (!service.empty()) server->setProperty(CHANNEL_TOS_PRIORITY, service);
    endpoint = support::tcpEndpoint();
    server->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    try {
      server->receive(subject, &message, 0);
      return server;
    } catch (const std::runtime_error&) {
      // Somebody took the port in between.
    }
  }
  throw std::runtime_error("no free port");
}

void expectTypesOfService(const std::string& ofServer, const std::string& ofClient,
                          int expectedOfServer, int expectedOfClient) {
  std::string endpoint;
  const auto server = boundServer(ofServer, endpoint);
  TavrikChannel client("tos", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  if (!ofClient.empty()) client.setProperty(CHANNEL_TOS_PRIORITY, ofClient);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message(1);
  client.send("ask", &message);
  char subject[SUBJECT_BUFFER_SIZE];
  ASSERT_EQ(1, server->receive(subject, &message, support::patience));

  const int port = std::stoi(endpoint.substr(endpoint.rfind(':') + 1));
  EXPECT_EQ(std::vector<int>{expectedOfServer}, typesOfService(port, true));
  EXPECT_EQ(std::vector<int>{expectedOfClient}, typesOfService(port, false));
}

TEST(TypeOfService, is_0_by_default) {
  expectTypesOfService("", "", 0, 0);
}

TEST(TypeOfService, is_on_the_sockets_that_carry_the_traffic) {
  expectTypesOfService("184", "", 184, 0);
  expectTypesOfService("", "104", 0, 104);
  expectTypesOfService("252", "8", 252, 8);
}

TEST(TypeOfService, of_text_that_is_no_number_is_0) {
  expectTypesOfService("abc", "abc", 0, 0);
}

}  // namespace
