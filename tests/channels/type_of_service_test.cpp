// The type of service, read back from the kernel for the sockets that carry a channel's traffic.
#include <support/bound_server.hpp>
#include <support/connections.hpp>
#include <support/plain_socket.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using tavrik::Message;
using tavrik::TavrikChannel;

std::vector<int> typesOfService(const std::vector<int>& descriptors) {
  std::vector<int> services;
  for (const int descriptor : descriptors) {
    int service = -1;
    socklen_t size = sizeof service;
    getsockopt(descriptor, IPPROTO_IP, IP_TOS, &service, &size);
    services.push_back(service);
  }
  return services;
}

void expectTypesOfService(const std::string& ofServer, const std::string& ofClient,
                          int expectedOfServer, int expectedOfClient) {
  const support::BoundServer server([&](TavrikChannel& channel) {
    if (!ofServer.empty()) channel.setProperty(CHANNEL_TOS_PRIORITY, ofServer);
  });
  TavrikChannel client("tos", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  if (!ofClient.empty()) client.setProperty(CHANNEL_TOS_PRIORITY, ofClient);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, server.endpoint());
  Message message(1);
  client.send("ask", &message);
  char subject[SUBJECT_BUFFER_SIZE];
  ASSERT_EQ(1, server.channel().receive(subject, &message, support::patience));

  EXPECT_EQ(std::vector<int>{expectedOfServer},
            typesOfService(support::connectionsAt(server.endpoint())));
  EXPECT_EQ(std::vector<int>{expectedOfClient},
            typesOfService(support::connectionsTo(server.endpoint())));
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
