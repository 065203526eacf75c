#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

using support::Log;
using support::LogCapture;
using tavrik::AsyncRouterDealerChannel;
using tavrik::PublishSubscribeChannel;
using tavrik::RequestReplyChannel;
using tavrik::TavrikChannel;

const std::string tooLong(256, 'x');

class TypedChannels : public testing::Test {
 protected:
  LogCapture log;
  support::TempDir dir;
};

TEST_F(TypedChannels, fix_the_pattern) {
  EXPECT_EQ(REQUEST_REPLY_PATTERN, RequestReplyChannel("x", REQ_CLIENT).getPattern());
  EXPECT_EQ(PUBLISH_SUBSCRIBE_PATTERN, PublishSubscribeChannel("x", SUBSCRIBER).getPattern());
  EXPECT_EQ(ASYNC_ROUTER_DEALER_PATTERN,
            AsyncRouterDealerChannel("x", ASYNC_DEALER_CLIENT).getPattern());
  const RequestReplyChannel channel("a name of its own", REP_SERVER);
  EXPECT_EQ("a name of its own", channel.getName());
  EXPECT_EQ(REP_SERVER, channel.getRole());
}

TEST_F(TypedChannels, leave_the_role_to_the_pattern) {
  EXPECT_FAILURE(std::logic_error, "Invalid Role specifiedtavrik:-12",
                 RequestReplyChannel("x", PUBLISHER));
  EXPECT_FAILURE(std::logic_error, "Invalid Role specifiedtavrik:-15",
                 PublishSubscribeChannel("x", REQ_CLIENT));
  EXPECT_FAILURE(std::logic_error, "Invalid Role specifiedtavrik:-23",
                 AsyncRouterDealerChannel("x", SUBSCRIBER));
}

TEST_F(TypedChannels, leave_the_name_to_the_channel) {
  EXPECT_FAILURE(std::logic_error, "Invalid Channel name specifiedtavrik:-1",
                 RequestReplyChannel("", REQ_CLIENT));
  EXPECT_FAILURE(std::logic_error, "Channel name cannot exceed 255 characterstavrik:-2",
                 RequestReplyChannel(tooLong, REQ_CLIENT));
  EXPECT_FAILURE(std::logic_error, "Channel name cannot exceed 255 characterstavrik:-2",
                 PublishSubscribeChannel(tooLong, SUBSCRIBER));
  EXPECT_FAILURE(std::logic_error, "Channel name cannot exceed 255 characterstavrik:-2",
                 AsyncRouterDealerChannel(tooLong, ASYNC_DEALER_CLIENT));
}

TEST_F(TypedChannels, request_reply_sets_the_servers_endpoint) {
  RequestReplyChannel channel("x", REP_SERVER);
  const std::string endpoint = dir.ipcEndpoint();
  EXPECT_EQ(0, channel.setServerEndPoint(endpoint));
  EXPECT_EQ(endpoint, channel.getProperty(REQ_REP_SERVER_ENDPOINT));
  EXPECT_FAILURE(std::logic_error, "Invalid Endpoint : *tavrik:-13",
                 channel.setServerEndPoint("*"));
  tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 0};
  tavrik::channel_poll(&item, 1, 0);
  EXPECT_EQ(-1, channel.setServerEndPoint(dir.ipcEndpoint()));
}

TEST_F(TypedChannels, publish_subscribe_sets_endpoint_and_filters) {
  PublishSubscribeChannel channel("x", SUBSCRIBER);
  const std::string endpoint = dir.ipcEndpoint();
  EXPECT_EQ(0, channel.subscribe("a"));
  EXPECT_EQ(0, channel.subscribe(""));
  EXPECT_FAILURE(std::logic_error, "Filter already existstavrik:-17", channel.subscribe("a"));
  EXPECT_EQ(0, channel.unsubscribe("a"));
  EXPECT_FAILURE(std::logic_error, "Cannot remove unset filtertavrik:-18",
                 channel.unsubscribe("a"));
  EXPECT_EQ(0, channel.setPublisherEndPoint(endpoint));
  EXPECT_EQ(endpoint, channel.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
  EXPECT_FAILURE(std::logic_error, "Invalid Endpoint : *tavrik:-16",
                 channel.setPublisherEndPoint("*"));
}

TEST_F(TypedChannels, router_dealer_sets_both_endpoints) {
  AsyncRouterDealerChannel client("x", ASYNC_DEALER_CLIENT);
  EXPECT_EQ(0, client.setServerEndPoint("inproc://front"));
  EXPECT_EQ("inproc://front", client.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT));
  EXPECT_FAILURE(std::logic_error, "Invalid property - cannot be set : inproc://backtavrik:-27",
                 client.setWorkerEndPoint("inproc://back"));
  AsyncRouterDealerChannel worker("x", ASYNC_DEALER_WORKER);
  EXPECT_EQ(0, worker.setServerEndPoint("inproc://front"));
  EXPECT_EQ("inproc://front", worker.getProperty(ASYNC_DEALER_NEXT_CLIENT_ENDPOINT));
  EXPECT_FAILURE(std::logic_error, "Invalid Endpoint : *tavrik:-26", worker.setServerEndPoint("*"));
  EXPECT_EQ(0, worker.setWorkerEndPoint("inproc://back"));
  EXPECT_EQ("inproc://back", worker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT));
}

TEST_F(TypedChannels, refuse_a_long_value_before_the_pattern_sees_it) {
  EXPECT_EQ(-1, RequestReplyChannel("x", REQ_CLIENT).setServerEndPoint(tooLong));
  PublishSubscribeChannel news("x", SUBSCRIBER);
  EXPECT_EQ(-1, news.setPublisherEndPoint(tooLong));
  EXPECT_EQ(-1, news.subscribe(tooLong));
  EXPECT_EQ(-1, news.unsubscribe(tooLong));
  AsyncRouterDealerChannel worker("x", ASYNC_DEALER_WORKER);
  EXPECT_EQ(-1, worker.setServerEndPoint(tooLong));
  EXPECT_EQ(-1, worker.setWorkerEndPoint(tooLong));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(TypedChannels, may_be_deleted_as_channels) {
  TavrikChannel probe("probe", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  probe.initializeStatsMonitoring();
  const auto living = [&] {
    tavrikStatistics stats = {};
    probe.getTavrikStats(&stats);
    return stats.connections;
  };
  std::unique_ptr<TavrikChannel> request = std::make_unique<RequestReplyChannel>("x", REQ_CLIENT);
  std::unique_ptr<TavrikChannel> news = std::make_unique<PublishSubscribeChannel>("x", SUBSCRIBER);
  std::unique_ptr<TavrikChannel> client =
      std::make_unique<AsyncRouterDealerChannel>("x", ASYNC_DEALER_CLIENT);
  EXPECT_EQ(4U, living());
  request.reset();
  news.reset();
  client.reset();
  EXPECT_EQ(1U, living());
}

}  // namespace
