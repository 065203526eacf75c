// The type of service, read back from the kernel for the sockets that carry a channel's messages.
#include <support/connections.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace support;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;
using tavrik::RequestReplyChannel;

using Services = std::vector<int>;

Services servicesOf(const std::vector<int>& descriptors) {
  Services services;
  for (const int descriptor : descriptors) {
    int service = -1;
    socklen_t size = sizeof service;
    EXPECT_EQ(0, getsockopt(descriptor, IPPROTO_IP, IP_TOS, &service, &size));
    services.push_back(service);
  }
  return services;
}

// Makes a channel with a type of service, which @p bind binds to a free port. Another process may
// take the port first; then it tries again.
template <class Channel, class Bind>
std::unique_ptr<Channel> bound(role_t role, const std::string& service, Bind bind) {
  for (;;) {
    auto channel = std::make_unique<Channel>("tos", role);
    if (!service.empty()) channel->setProperty(CHANNEL_TOS_PRIORITY, service);
    try {
      bind(*channel);
      return channel;
    } catch (const std::runtime_error&) {
      // Taken.
    }
  }
}

class TypeOfServiceTest : public testing::Test {
 protected:
  // Expects the types of service at both ends of the connections to the endpoint.
  static void expectServices(const std::string& endpoint, int atTheEndpoint, int atTheOtherEnd) {
    EXPECT_EQ(Services{atTheEndpoint}, servicesOf(connectionsAt(endpoint)));
    EXPECT_EQ(Services{atTheOtherEnd}, servicesOf(connectionsTo(endpoint)));
  }

  void expectRequestReply(const std::string& ofServer, const std::string& ofClient, int atServer,
                          int atClient) {
    const auto server = bound<RequestReplyChannel>(REP_SERVER, ofServer, [&](auto& channel) {
      channel.setServerEndPoint(endpoint = tcpEndpoint());
      EXPECT_EQ(0, channel.receive(subject, &message, 0));
    });
    RequestReplyChannel client("tos", REQ_CLIENT);
    if (!ofClient.empty()) client.setProperty(CHANNEL_TOS_PRIORITY, ofClient);
    client.setServerEndPoint(endpoint);
    EXPECT_EQ(0, client.send("ask", &message));
    ASSERT_EQ(0, server->receive(subject, &message, patience));
    expectServices(endpoint, atServer, atClient);
  }

  std::string endpoint;
  Message message;
  char subject[SUBJECT_BUFFER_SIZE];
};

TEST_F(TypeOfServiceTest, IsEachSidesOwnAnd0ByDefaultAndForTextThatIsNoNumber) {
  expectRequestReply("", "", 0, 0);
  expectRequestReply("184", "", 184, 0);
  expectRequestReply("", "104", 0, 104);
  expectRequestReply("252", "8", 252, 8);
  expectRequestReply("abc", "abc", 0, 0);
}

TEST_F(TypeOfServiceTest, IsAPublishersAndASubscribersOwn) {
  const auto publisher = bound<PublishSubscribeChannel>(PUBLISHER, "184", [&](auto& channel) {
    channel.setPublisherEndPoint(endpoint = tcpEndpoint());
  });
  PublishSubscribeChannel subscriber("tos", SUBSCRIBER);
  subscriber.setProperty(CHANNEL_TOS_PRIORITY, "104");
  subscriber.setPublisherEndPoint(endpoint);
  tavrik_pollitem_t item = {&subscriber, TAVRIK_POLLIN, 0};
  do {
    EXPECT_EQ(0, publisher->send("any", &message));
  } while (tavrik::channel_poll(&item, 1, 10) == 0);
  expectServices(endpoint, 184, 104);
}

TEST_F(TypeOfServiceTest, IsAClientsOwnAndAWorkersTowardsTheClientsOnly) {
  std::string back;
  const auto worker =
      bound<AsyncRouterDealerChannel>(ASYNC_DEALER_WORKER, "184", [&](auto& channel) {
        channel.setServerEndPoint(endpoint = tcpEndpoint());
        channel.setWorkerEndPoint(back = tcpEndpoint());
        EXPECT_EQ(0, channel.receive(subject, &message, 1)) << "connects";
      });
  AsyncRouterDealerChannel client("tos", ASYNC_DEALER_CLIENT);
  client.setProperty(CHANNEL_TOS_PRIORITY, "104");
  client.setServerEndPoint(endpoint);
  EXPECT_EQ(0, client.send("ask", &message));
  ASSERT_EQ(0, worker->receive(subject, &message, patience));
  expectServices(endpoint, 184, 104);
  expectServices(back, 0, 0);
}

}  // namespace
