// The type of service, read back from the kernel for the sockets that carry a channel's traffic.
#include <support/bound_server.hpp>
#include <support/connections.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/typed_channels.hpp>

#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;
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

// Publish/subscribe and router/dealer. What binds tries until nobody else has the port.

template <class Bind>
auto boundSomewhere(Bind bind) {
  for (;;) {
    try {
      return bind();
    } catch (const std::runtime_error&) {
      // Somebody else took a port in between.
    }
  }
}

TEST(TypeOfService, is_a_publishers_and_a_subscribers_own) {
  std::string endpoint;
  const auto publisher = boundSomewhere([&] {
    auto channel = std::make_unique<PublishSubscribeChannel>("tos", PUBLISHER);
    channel->setProperty(CHANNEL_TOS_PRIORITY, "184");
    channel->setPublisherEndPoint(endpoint = support::tcpEndpoint());
    return channel;
  });
  PublishSubscribeChannel subscriber("tos", SUBSCRIBER);
  subscriber.setProperty(CHANNEL_TOS_PRIORITY, "104");
  subscriber.setPublisherEndPoint(endpoint);
  Message message(1);
  tavrik_pollitem_t item = {&subscriber, TAVRIK_POLLIN, 0};
  do {
    publisher->send("any", &message);
  } while (tavrik::channel_poll(&item, 1, 10) == 0);
  EXPECT_EQ(std::vector<int>{184}, typesOfService(support::connectionsAt(endpoint)));
  EXPECT_EQ(std::vector<int>{104}, typesOfService(support::connectionsTo(endpoint)));
}

TEST(TypeOfService, is_a_clients_own_and_a_workers_towards_the_clients_only) {
  std::string front;
  std::string back;
  char subject[SUBJECT_BUFFER_SIZE];
  Message message(1);
  const auto worker = boundSomewhere([&] {
    auto channel = std::make_unique<AsyncRouterDealerChannel>("tos", ASYNC_DEALER_WORKER);
    channel->setProperty(CHANNEL_TOS_PRIORITY, "184");
    channel->setServerEndPoint(front = support::tcpEndpoint());
    channel->setWorkerEndPoint(back = support::tcpEndpoint());
    channel->receive(subject, &message, 1);
    return channel;
  });
  AsyncRouterDealerChannel client("tos", ASYNC_DEALER_CLIENT);
  client.setProperty(CHANNEL_TOS_PRIORITY, "104");
  client.setServerEndPoint(front);
  message.setnumParts(1);
  client.send("ask", &message);
  ASSERT_EQ(1, worker->receive(subject, &message, support::patience));
  EXPECT_EQ(std::vector<int>{184}, typesOfService(support::connectionsAt(front)));
  EXPECT_EQ(std::vector<int>{104}, typesOfService(support::connectionsTo(front)));
  EXPECT_EQ(std::vector<int>{0}, typesOfService(support::connectionsAt(back)));
  EXPECT_EQ(std::vector<int>{0}, typesOfService(support::connectionsTo(back)));
}

}  // namespace
