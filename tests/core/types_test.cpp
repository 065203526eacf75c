// The numbers and layouts that C and Python programs rely on.
#include <tavrik/types.h>

#include <cstddef>
#include <gtest/gtest.h>
#include <vector>

namespace {

using Numbers = std::vector<unsigned int>;

TEST(TypesTest, EnumeratorsHaveTheirPublishedNumbers) {
  EXPECT_EQ((Numbers{0, 1, 2}), (Numbers{REQUEST_REPLY_PATTERN, PUBLISH_SUBSCRIBE_PATTERN,
                                         ASYNC_ROUTER_DEALER_PATTERN}));
  EXPECT_EQ((Numbers{0, 1, 2, 3, 4, 5}), (Numbers{REQ_CLIENT, REP_SERVER, PUBLISHER, SUBSCRIBER,
                                                  ASYNC_DEALER_CLIENT, ASYNC_DEALER_WORKER}));
  EXPECT_EQ((Numbers{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}),
            (Numbers{REQ_REP_SERVER_ENDPOINT, PUB_SUB_PUBLISHER_ENDPOINT, PUB_SUB_SUBSCRIBE_FILTER,
                     PUB_SUB_UNSUBSCRIBE_FILTER, ASYNC_DEALER_CLIENT_ENDPOINT,
                     ASYNC_DEALER_WORKER_ENDPOINT, ASYNC_DEALER_CLIENT_SNDHWM, CHANNEL_TOS_PRIORITY,
                     PUB_SUB_NEXT_PUBLISHER_ENDPOINT, PUB_SUB_SET_PUB_SNDHWM,
                     PUB_SUB_SET_SUB_RCVHWM, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT}));
  EXPECT_EQ((Numbers{4096, 4097, 4098}),
            (Numbers{CHANNEL_HEARTBEAT, CHANNEL_MAX_MESSAGE_SIZE, CHANNEL_LINGER}));
  EXPECT_EQ((Numbers{1, 2, 4}), (Numbers{TAVRIK_POLLIN, TAVRIK_POLLOUT, TAVRIK_POLLERR}));
  EXPECT_EQ((Numbers{1, 2, 3}), (Numbers{TAVRIK_LOG_DEBUG, TAVRIK_LOG_INFO, TAVRIK_LOG_ERROR}));
  EXPECT_EQ((Numbers{256, 256, 16}),
            (Numbers{SUBJECT_BUFFER_SIZE, PROPERTY_BUFFER_SIZE, TAVRIK_MAX_POLL_ITEMS}));
}

TEST(TypesTest, PollRecordIsAPointerFollowedByTwoShorts) {
  EXPECT_EQ(0U, offsetof(tavrik_pollitem_t, socket));
  EXPECT_EQ(sizeof(void*), offsetof(tavrik_pollitem_t, events));
  EXPECT_EQ(sizeof(void*) + 2, offsetof(tavrik_pollitem_t, revents));
  EXPECT_EQ(2U, sizeof(tavrik_pollitem_t::events));
  EXPECT_EQ(2U, sizeof(tavrik_pollitem_t::revents));
}

TEST(TypesTest, StatisticsRecordIsFourCountersOf32Bits) {
  EXPECT_EQ(0U, offsetof(tavrikStatistics, rcvdCount));
  EXPECT_EQ(4U, offsetof(tavrikStatistics, sentCount));
  EXPECT_EQ(8U, offsetof(tavrikStatistics, connectionState));
  EXPECT_EQ(12U, offsetof(tavrikStatistics, connections));
  EXPECT_EQ(16U, sizeof(tavrikStatistics));
}

}  // namespace
