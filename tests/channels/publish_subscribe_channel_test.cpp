// Publish/subscribe channels exchanging messages: filters on a live socket, several publishers, the
// high-water marks.
#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/typed_channels.hpp>

#include <zmq.h>

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;

// A publisher that receives the subscriptions, so that a test can wait for a change of filters.
class ObservingPublisher : public PlainSocket {
 public:
  explicit ObservingPublisher(const std::string& endpoint) : PlainSocket(ZMQ_XPUB) {
    bind(endpoint);
  }

  void expectSubscribed(const std::string& filter) {
    EXPECT_EQ((Frames{"\1" + filter}), receive());
  }
  void expectUnsubscribed(const std::string& filter) {
    EXPECT_EQ((Frames{std::string(1, '\0') + filter}), receive());
  }
};

class PublishSubscribeChannelTest : public testing::Test {
 protected:
  // Receives a message of no parts and returns its subject.
  std::string nextSubject() {
    EXPECT_EQ(0, subscriber.receive(subject, &message, patience));
    return subject;
  }

  // Publishes until the subscription is in effect and a message has arrived.
  void publishUntilReceived(PublishSubscribeChannel& publisher, const char* about) {
    tavrik_pollitem_t item = {&subscriber, TAVRIK_POLLIN, 0};
    do {
      EXPECT_EQ(message.getnumParts(), publisher.send(about, &message));
    } while (tavrik::channel_poll(&item, 1, 10) == 0);
  }

  LogCapture log;
  TempDir dir;
  std::string endpoint = dir.ipcEndpoint();
  PublishSubscribeChannel subscriber{"news", SUBSCRIBER};
  Message message;
  char subject[SUBJECT_BUFFER_SIZE] = "no message";
};

TEST_F(PublishSubscribeChannelTest, FiltersTakeEffectWhileMessagesArrive) {
  ObservingPublisher publisher(endpoint);
  subscriber.setPublisherEndPoint(endpoint);
  publisher.expectSubscribed("");
  publisher.send({"anything"});
  EXPECT_EQ("anything", nextSubject());

  EXPECT_EQ(0, subscriber.subscribe("weather"));
  publisher.expectUnsubscribed("");
  publisher.expectSubscribed("weather");
  publisher.send({"traffic"});
  publisher.send({"weather/north"});
  EXPECT_EQ("weather/north", nextSubject());

  EXPECT_EQ(0, subscriber.subscribe("traffic"));
  publisher.expectSubscribed("traffic");
  EXPECT_EQ(0, subscriber.unsubscribe("weather"));
  publisher.expectUnsubscribed("weather");
  publisher.send({"weather"});
  publisher.send({"traffic"});
  EXPECT_EQ("traffic", nextSubject());

  EXPECT_EQ(0, subscriber.unsubscribe("traffic"));
  publisher.expectUnsubscribed("traffic");
  publisher.expectSubscribed("");
  publisher.send({"weather"});
  EXPECT_EQ("weather", nextSubject()) << "without filters everything arrives again";
}

TEST_F(PublishSubscribeChannelTest, APublisherDropsMessagesForASlowSubscriberAndCountsThemAsSent) {
  PublishSubscribeChannel publisher("news", PUBLISHER);
  EXPECT_EQ(0, publisher.setPublisherEndPoint(endpoint));
  EXPECT_EQ(0, subscriber.subscribe("count"));
  EXPECT_EQ(0, subscriber.subscribe("end"));
  EXPECT_EQ(0, subscriber.setPublisherEndPoint(endpoint));
  message = messageOf({"first"});
  publishUntilReceived(publisher, "count");
  EXPECT_EQ(1, subscriber.receive(subject, &message, patience));
  EXPECT_EQ((Parts{"first"}), partsOf(message));

  // Far more than both high-water marks and the connection hold. No send blocks or fails.
  constexpr unsigned int many = 2000;
  publisher.initializeStatsMonitoring();
  message = messageOf({std::string(10000, 'x')});
  for (unsigned int i = 0; i < many; ++i) EXPECT_EQ(1, publisher.send("count", &message));
  tavrikStatistics stats = {};
  publisher.getTavrikStats(&stats);
  EXPECT_EQ(many, stats.sentCount);
  unsigned int received = 0;
  for (std::string last; last != "end"; last = subject) {
    Message marker = messageOf({"marker"});
    EXPECT_EQ(1, publisher.send("end", &marker));
    while (subscriber.receive(subject, &message, 0) == 1 && subject == std::string("count")) {
      ++received;
    }
  }
  EXPECT_GT(received, 0U);
  EXPECT_LT(received, many);
  EXPECT_EQ(Log{}, log.lines());
}

}  // namespace
