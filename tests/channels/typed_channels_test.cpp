#include <support/failure.hpp>
#include <tavrik/typed_channels.hpp>

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

using tavrik::AsyncRouterDealerChannel;
using tavrik::PublishSubscribeChannel;
using tavrik::RequestReplyChannel;
using tavrik::TavrikChannel;

class TypedChannelsTest : public testing::Test {
 protected:
  support::LogCapture log;
};

TEST_F(TypedChannelsTest, PassNameAndRoleWithTheirPattern) {
  const RequestReplyChannel requestReply("any name", REP_SERVER);
  EXPECT_EQ("any name", requestReply.getName());
  EXPECT_EQ(REP_SERVER, requestReply.getRole());
  EXPECT_EQ(REQUEST_REPLY_PATTERN, requestReply.getPattern());
  const PublishSubscribeChannel publishSubscribe("other", SUBSCRIBER);
  EXPECT_EQ("other", publishSubscribe.getName());
  EXPECT_EQ(SUBSCRIBER, publishSubscribe.getRole());
  EXPECT_EQ(PUBLISH_SUBSCRIBE_PATTERN, publishSubscribe.getPattern());
  const AsyncRouterDealerChannel routerDealer("third", ASYNC_DEALER_CLIENT);
  EXPECT_EQ("third", routerDealer.getName());
  EXPECT_EQ(ASYNC_DEALER_CLIENT, routerDealer.getRole());
  EXPECT_EQ(ASYNC_ROUTER_DEALER_PATTERN, routerDealer.getPattern());
  EXPECT_FAILURE(std::logic_error, "Invalid Role specifiedtavrik:-12",
                 RequestReplyChannel("x", PUBLISHER));
  EXPECT_FAILURE(std::logic_error, "Channel name cannot exceed 255 characterstavrik:-2",
                 RequestReplyChannel(std::string(256, 'x'), REQ_CLIENT));
}

TEST_F(TypedChannelsTest, RequestReplySetsTheEndpointOfTheServer) {
  RequestReplyChannel channel("x", REP_SERVER);
  EXPECT_EQ(0, channel.setServerEndPoint("inproc://x"));
  EXPECT_EQ("inproc://x", channel.getProperty(REQ_REP_SERVER_ENDPOINT));
  EXPECT_FAILURE(std::logic_error, "Invalid Endpoint : *tavrik:-13",
                 channel.setServerEndPoint("*"));
}

TEST_F(TypedChannelsTest, PublishSubscribeSetsEndpointAndFilters) {
  PublishSubscribeChannel channel("x", SUBSCRIBER);
  EXPECT_EQ(0, channel.subscribe("a"));
  EXPECT_FAILURE(std::logic_error, "Filter already existstavrik:-17", channel.subscribe("a"));
  EXPECT_EQ(0, channel.unsubscribe("a"));
  EXPECT_FAILURE(std::logic_error, "Cannot remove unset filtertavrik:-18",
                 channel.unsubscribe("a"));
  EXPECT_EQ(0, channel.setPublisherEndPoint("inproc://x"));
  EXPECT_EQ("inproc://x", channel.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
}

TEST_F(TypedChannelsTest, RouterDealerSetsBothEndpoints) {
  AsyncRouterDealerChannel client("x", ASYNC_DEALER_CLIENT);
  EXPECT_EQ(0, client.setServerEndPoint("inproc://front"));
  EXPECT_EQ("inproc://front", client.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT));
  AsyncRouterDealerChannel worker("x", ASYNC_DEALER_WORKER);
  EXPECT_EQ(0, worker.setServerEndPoint("inproc://front"));
  EXPECT_EQ("inproc://front", worker.getProperty(ASYNC_DEALER_NEXT_CLIENT_ENDPOINT));
  EXPECT_EQ(0, worker.setWorkerEndPoint("inproc://back"));
  EXPECT_EQ("inproc://back", worker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT));
}

TEST_F(TypedChannelsTest, EverySetterRefusesALongValue) {
  const std::string tooLong(256, 'x');
  EXPECT_EQ(-1, RequestReplyChannel("x", REQ_CLIENT).setServerEndPoint(tooLong));
  PublishSubscribeChannel subscriber("x", SUBSCRIBER);
  EXPECT_EQ(-1, subscriber.setPublisherEndPoint(tooLong));
  EXPECT_EQ(-1, subscriber.subscribe(tooLong));
  EXPECT_EQ(-1, subscriber.unsubscribe(tooLong));
  AsyncRouterDealerChannel worker("x", ASYNC_DEALER_WORKER);
  EXPECT_EQ(-1, worker.setServerEndPoint(tooLong));
  EXPECT_EQ(-1, worker.setWorkerEndPoint(tooLong));
  EXPECT_EQ(support::Log{}, log.lines());
}

TEST_F(TypedChannelsTest, CanBeDeletedAsTavrikChannels) {
  TavrikChannel probe("probe", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  probe.initializeStatsMonitoring();
  tavrikStatistics stats = {};
  {
    const std::unique_ptr<TavrikChannel> channels[] = {
        std::make_unique<RequestReplyChannel>("x", REQ_CLIENT),
        std::make_unique<PublishSubscribeChannel>("x", SUBSCRIBER),
        std::make_unique<AsyncRouterDealerChannel>("x", ASYNC_DEALER_CLIENT)};
    probe.getTavrikStats(&stats);
    EXPECT_EQ(1 + std::size(channels), stats.connections);
  }
  probe.getTavrikStats(&stats);
  EXPECT_EQ(1U, stats.connections);
}

}  // namespace
