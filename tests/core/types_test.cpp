// The numbers that cross to C and Python, where they have no names or names of their own.
#include <tavrik/types.h>

#include <cstddef>
#include <gtest/gtest.h>

namespace {

TEST(Vocabulary, numbers_the_patterns) {
  EXPECT_EQ(0U, REQUEST_REPLY_PATTERN);
  EXPECT_EQ(1U, PUBLISH_SUBSCRIBE_PATTERN);
  EXPECT_EQ(2U, ASYNC_ROUTER_DEALER_PATTERN);
}

TEST(Vocabulary, numbers_the_roles) {
  EXPECT_EQ(0U, REQ_CLIENT);
  EXPECT_EQ(1U, REP_SERVER);
  EXPECT_EQ(2U, PUBLISHER);
  EXPECT_EQ(3U, SUBSCRIBER);
  EXPECT_EQ(4U, ASYNC_DEALER_CLIENT);
  EXPECT_EQ(5U, ASYNC_DEALER_WORKER);
}

TEST(Vocabulary, numbers_the_properties) {
  EXPECT_EQ(0U, REQ_REP_SERVER_ENDPOINT);
  EXPECT_EQ(1U, PUB_SUB_PUBLISHER_ENDPOINT);
  EXPECT_EQ(2U, PUB_SUB_SUBSCRIBE_FILTER);
  EXPECT_EQ(3U, PUB_SUB_UNSUBSCRIBE_FILTER);
  EXPECT_EQ(4U, ASYNC_DEALER_CLIENT_ENDPOINT);
  EXPECT_EQ(5U, ASYNC_DEALER_WORKER_ENDPOINT);
  EXPECT_EQ(6U, ASYNC_DEALER_CLIENT_SNDHWM);
  EXPECT_EQ(7U, CHANNEL_TOS_PRIORITY);
  EXPECT_EQ(8U, PUB_SUB_NEXT_PUBLISHER_ENDPOINT);
  EXPECT_EQ(9U, PUB_SUB_SET_PUB_SNDHWM);
  EXPECT_EQ(10U, PUB_SUB_SET_SUB_RCVHWM);
  EXPECT_EQ(11U, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT);
}

TEST(Vocabulary, numbers_events_levels_and_limits) {
  EXPECT_EQ(1, TAVRIK_POLLIN);
  EXPECT_EQ(2, TAVRIK_POLLOUT);
  EXPECT_EQ(4, TAVRIK_POLLERR);
  EXPECT_EQ(1, TAVRIK_LOG_DEBUG);
  EXPECT_EQ(2, TAVRIK_LOG_INFO);
  EXPECT_EQ(3, TAVRIK_LOG_ERROR);
  EXPECT_EQ(256, SUBJECT_BUFFER_SIZE);
  EXPECT_EQ(256, PROPERTY_BUFFER_SIZE);
  EXPECT_EQ(16, TAVRIK_MAX_POLL_ITEMS);
}

TEST(Vocabulary, lays_out_the_poll_record) {
  EXPECT_EQ(0U, offsetof(tavrik_pollitem_t, socket));
  EXPECT_EQ(sizeof(void*), offsetof(tavrik_pollitem_t, events));
  EXPECT_EQ(sizeof(void*) + 2, offsetof(tavrik_pollitem_t, revents));
  EXPECT_EQ(2U, sizeof(tavrik_pollitem_t::events));
  EXPECT_EQ(2U, sizeof(tavrik_pollitem_t::revents));
}

TEST(Vocabulary, lays_out_the_statistics_record) {
  EXPECT_EQ(0U, offsetof(tavrikStatistics, rcvdCount));
  EXPECT_EQ(4U, offsetof(tavrikStatistics, sentCount));
  EXPECT_EQ(8U, offsetof(tavrikStatistics, connectionState));
  EXPECT_EQ(12U, offsetof(tavrikStatistics, connections));
  EXPECT_EQ(16U, sizeof(tavrikStatistics));
}

}  // namespace
