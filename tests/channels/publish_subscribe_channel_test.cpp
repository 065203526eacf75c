// Publish/subscribe channels at work: filters on a live socket, several publishers, the marks.
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <zmq.h>

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::Frames;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;
using tavrik::TavrikChannel;

// A publisher that sees the subscriptions as they arrive, so that a test knows when a change of
// filters is in force.
class SeeingPublisher : public PlainSocket {
 public:
  explicit SeeingPublisher(const std::string& endpoint) : PlainSocket(ZMQ_XPUB) { bind(endpoint); }

  void expectSubscribed(const std::string& filter) {
    EXPECT_EQ((Frames{"\1" + filter}), receive());
  }
  void expectUnsubscribed(const std::string& filter) {
    EXPECT_EQ((Frames{std::string(1, '\0') + filter}), receive());
  }
};

class PublishSubscribeChannels : public testing::Test {
 protected:
  // The subject of the next message.
  std::string next(long timeout = patience) {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    Message message;
    subscriber.receive(subject, &message, timeout);
    return subject;
  }

  support::LogCapture log;
  support::TempDir dir;
  std::string endpoint = dir.ipcEndpoint();
  PublishSubscribeChannel subscriber{"news", SUBSCRIBER};
};

TEST_F(PublishSubscribeChannels, without_filters_every_message_comes) {
  SeeingPublisher publisher(endpoint);
  subscriber.setPublisherEndPoint(endpoint);
  publisher.expectSubscribed("");
  publisher.send({"weather", "rain"});
  publisher.send({"", "no subject"});
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  EXPECT_EQ(1, subscriber.receive(subject, &message, patience));
  EXPECT_STREQ("weather", subject);
  EXPECT_EQ((Parts{"rain"}), partsOf(message));
  EXPECT_EQ(1, subscriber.receive(subject, &message, patience));
  EXPECT_STREQ("", subject);
}

TEST_F(PublishSubscribeChannels, filters_may_change_while_messages_come) {
  SeeingPublisher publisher(endpoint);
  subscriber.setPublisherEndPoint(endpoint);
  publisher.expectSubscribed("");

  EXPECT_EQ(0, subscriber.subscribe("weather"));
  publisher.expectUnsubscribed("");
  publisher.expectSubscribed("weather");
  publisher.send({"traffic"});
  publisher.send({"weather/north"});
  EXPECT_EQ("weather/north", next()) << "nothing but the filter's subjects";

  EXPECT_EQ(0, subscriber.subscribe("traffic"));
  publisher.expectSubscribed("traffic");
  EXPECT_EQ(0, subscriber.unsubscribe("weather"));
  publisher.expectUnsubscribed("weather");
  publisher.send({"weather"});
  publisher.send({"traffic"});
  EXPECT_EQ("traffic", next());

  EXPECT_EQ(0, subscriber.unsubscribe("traffic"));
  publisher.expectUnsubscribed("traffic");
  publisher.expectSubscribed("");
  publisher.send({"anything"});
  EXPECT_EQ("anything", next()) << "without filters everything comes again";
  EXPECT_EQ("", next(0)) << "nothing came that was not wanted";
}

TEST_F(PublishSubscribeChannels, follow_several_publishers) {
  const std::string other = dir.ipcEndpoint();
  SeeingPublisher first(endpoint);
  SeeingPublisher second(other);
  subscriber.subscribe("a");
  subscriber.setPublisherEndPoint(endpoint);
  subscriber.setPublisherEndPoint(other);
  first.expectSubscribed("a");
  second.expectSubscribed("a");
  first.send({"a from the first"});
  EXPECT_EQ("a from the first", next());
  second.send({"a from the second"});
  EXPECT_EQ("a from the second", next());
  subscriber.subscribe("b");
  first.expectSubscribed("b");
  second.expectSubscribed("b");
}

TEST_F(PublishSubscribeChannels, reach_each_other) {
  PublishSubscribeChannel publisher("news", PUBLISHER);
  EXPECT_EQ(0, publisher.setPublisherEndPoint(endpoint));
  EXPECT_EQ(0, subscriber.subscribe("weather"));
  EXPECT_EQ(0, subscriber.setPublisherEndPoint(endpoint));
  // The subscription is on its way; what is sent before it arrives is nobody's.
  Message message = messageOf({"rain"});
  tavrik_pollitem_t item = {&subscriber, TAVRIK_POLLIN, 0};
  do {
    EXPECT_EQ(1, publisher.send("weather", &message));
  } while (tavrik::channel_poll(&item, 1, 10) == 0);
  EXPECT_EQ("weather", next());
  EXPECT_EQ(support::Log{}, log.lines());
}

TEST_F(PublishSubscribeChannels, a_publisher_drops_what_a_slow_subscriber_cannot_take) {
  PublishSubscribeChannel publisher("news", PUBLISHER);
  publisher.setPublisherEndPoint(endpoint);
  subscriber.setPublisherEndPoint(endpoint);
  tavrik_pollitem_t item = {&subscriber, TAVRIK_POLLIN, 0};
  Message message = messageOf({"first"});
  do {
    publisher.send("count", &message);
  } while (tavrik::channel_poll(&item, 1, 10) == 0);

  // Far more than both marks and the connection hold; no send waits or fails.
  constexpr int many = 2000;
  message = messageOf({std::string(10000, 'x')});
  for (int i = 0; i < many; ++i) EXPECT_EQ(1, publisher.send("count", &message));
  int received = 0;
  while (next(100) == "count") ++received;
  EXPECT_GT(received, 0);
  EXPECT_LT(received, many);
}

TEST_F(PublishSubscribeChannels, count_what_passed) {
  PublishSubscribeChannel publisher("news", PUBLISHER);
  publisher.setPublisherEndPoint(endpoint);
  publisher.initializeStatsMonitoring();
  Message message = messageOf({"a"});
  publisher.send("x", &message);
  publisher.send("x", &message);
  tavrikStatistics stats = {};
  publisher.getTavrikStats(&stats);
  EXPECT_EQ(2U, stats.sentCount) << "sent, whether anybody listens or not";
}

TEST_F(PublishSubscribeChannels, a_publisher_cannot_be_polled) {
  PublishSubscribeChannel publisher("news", PUBLISHER);
  tavrik_pollitem_t items[] = {{&subscriber, TAVRIK_POLLIN, 0}, {&publisher, TAVRIK_POLLOUT, 0}};
  EXPECT_FAILURE(std::runtime_error,
                 "channel_poll() Operation NOT permitted for PUBLISHERtavrik:-3",
                 tavrik::channel_poll(items, 2, 0));
}

TEST_F(PublishSubscribeChannels, refusals_give_the_message_back_unchanged) {
  Message message = messageOf({"a", "b"});
  EXPECT_THROW(subscriber.send("x", &message), std::logic_error);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  PublishSubscribeChannel publisher("news", PUBLISHER);
  char subject[SUBJECT_BUFFER_SIZE] = "untouched";
  EXPECT_THROW(publisher.receive(subject, &message, 0), std::logic_error);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_STREQ("untouched", subject);
}

}  // namespace
