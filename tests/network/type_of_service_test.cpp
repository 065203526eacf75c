// The type of service in the packets between two hosts.
#include "remote_channel.hpp"
#include "two_hosts_test.hpp"

#include <support/sniffer.hpp>

#include <optional>
#include <set>

namespace {

using support::Sniffer;
using Service = std::optional<int>;
using Services = std::set<int>;

class TypeOfServiceInPackets : public TwoHostsTest {
 protected:
  // Puts the type of service, if any, before the properties: one of them connects.
  static RemoteChannel::Properties with(Service service, RemoteChannel::Properties properties) {
    if (service) {
      properties.insert(properties.begin(), {CHANNEL_TOS_PRIORITY, std::to_string(*service)});
    }
    return properties;
  }

  void expectOnPublishSubscribe(Service ofPublisher, Service ofSubscriber) {
    const std::string endpoint = endpointOn(hosts->addressOfA);
    Sniffer fromPublisher(hosts->b, servicePort);
    Sniffer fromSubscriber(hosts->a, servicePort);
    RemoteChannel publisher(hosts->a, "network", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER,
                            with(ofPublisher, {{PUB_SUB_PUBLISHER_ENDPOINT, endpoint}}));
    RemoteChannel subscriber(hosts->b, "network", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER,
                             with(ofSubscriber, {{PUB_SUB_SUBSCRIBE_FILTER, "weather"},
                                                 {PUB_SUB_PUBLISHER_ENDPOINT, endpoint}}));
    const auto end = endOfPatience();
    do {
      ASSERT_LT(Clock::now(), end) << "the subscription does not reach the publisher";
      ASSERT_EQ(sent, publisher.send("weather", "rain"));
    } while (subscriber.receive(aMoment).empty());

    EXPECT_EQ(Services{ofPublisher.value_or(0)}, fromPublisher.typesOfServiceUntil("rain"));
    EXPECT_EQ(Services{ofSubscriber.value_or(0)}, fromSubscriber.typesOfServiceUntil("weather"));
  }

  void expectOnRouterDealer(Service ofWorker, Service ofClient) {
    constexpr std::uint16_t workerPort = 5556;
    const std::string endpoint = endpointOn(hosts->addressOfA);
    Sniffer fromProxy(hosts->b, servicePort);
    Sniffer fromClient(hosts->a, servicePort);
    Sniffer betweenProxyAndWorker(hosts->a, workerPort);
    std::vector<std::string> command = {WORKER_PROCESS, "1", endpoint,
                                        endpointOn(hosts->addressOfA, workerPort)};
    if (ofWorker) command.push_back(std::to_string(*ofWorker));
    const auto worker = hosts->a.start(command);
    ASSERT_EQ("ready", worker->line());
    RemoteChannel client(hosts->b, "network", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT,
                         with(ofClient, {{ASYNC_DEALER_CLIENT_ENDPOINT, endpoint}}));
    ASSERT_EQ(sent, client.send("ask", "question"));
    ASSERT_EQ("worker-1 question", client.receive());

    EXPECT_EQ(Services{ofWorker.value_or(0)}, fromProxy.typesOfServiceUntil("question"));
    EXPECT_EQ(Services{ofClient.value_or(0)}, fromClient.typesOfServiceUntil("question"));
    EXPECT_EQ(Services{0}, betweenProxyAndWorker.typesOfServiceUntil("worker-1"))
        << "between the proxy and the worker it is not set";
  }
};

TEST_F(TypeOfServiceInPackets, Is0WithoutTheProperty) {
  expectOnPublishSubscribe({}, {});
}

TEST_F(TypeOfServiceInPackets, Is0WithoutThePropertyInRouterDealer) {
  expectOnRouterDealer({}, {});
}

TEST_F(TypeOfServiceInPackets, IsSetInThePacketsOfAPublisher) {
  expectOnPublishSubscribe(184, {});
}

TEST_F(TypeOfServiceInPackets, IsSetInThePacketsOfASubscriber) {
  expectOnPublishSubscribe({}, 184);
}

TEST_F(TypeOfServiceInPackets, OfAWorkerIsSetInThePacketsOfItsProxy) {
  expectOnRouterDealer(184, {});
}

TEST_F(TypeOfServiceInPackets, IsSetInThePacketsOfAClient) {
  expectOnRouterDealer({}, 184);
}

}  // namespace
