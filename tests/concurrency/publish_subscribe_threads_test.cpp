// Publishers and subscribers in threads of their own. Meant to run under the thread sanitizer too.
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/together.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;

constexpr int messages = 300;

// A publisher's endpoint, and how its two threads agree on the start and the end.
struct Feed {
  std::string endpoint;
  std::atomic<int> receives{0};    // calls that the subscriber has made
  std::atomic<bool> begun{false};  // from its first message to its last
};

// Publishes until a message has arrived, then the numbered messages.
void publish(Feed& feed, const std::string& topic) {
  PublishSubscribeChannel publisher("feed", PUBLISHER);
  publisher.setProperty(PUB_SUB_SET_PUB_SNDHWM, "1000");
  publisher.setPublisherEndPoint(feed.endpoint);
  publisher.initializeStatsMonitoring();
  unsigned int sent = 0;
  // One message for each call of the subscriber, so that no high-water mark is reached.
  for (int calls = 0; !feed.begun;) {
    if (calls == feed.receives) {
      std::this_thread::yield();
      continue;
    }
    ++calls;
    Message message = messageOf({"begin"});
    EXPECT_EQ(1, publisher.send(topic.c_str(), &message));
    ++sent;
  }
  for (int n = 0; n < messages; ++n) {
    Message message = messageOf({std::to_string(n)});
    EXPECT_EQ(1, publisher.send("another topic", &message));
    EXPECT_EQ(1, publisher.send(topic.c_str(), &message));
    sent += 2;
  }
  tavrikStatistics stats = {};
  publisher.getTavrikStats(&stats);
  EXPECT_EQ(sent, stats.sentCount);
  while (feed.begun) std::this_thread::yield();  // its destruction drops queued messages
}

void subscribe(Feed& feed, const std::string& topic) {
  PublishSubscribeChannel subscriber("feed", SUBSCRIBER);
  subscriber.setProperty(PUB_SUB_SET_SUB_RCVHWM, "1000");
  subscriber.subscribe("unused");
  subscriber.subscribe(topic);
  subscriber.setPublisherEndPoint(feed.endpoint);
  subscriber.unsubscribe("unused");
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  do {
    ++feed.receives;
  } while (subscriber.receive(subject, &message, 10) == 0);
  feed.begun = true;
  while (partsOf(message) == Parts{"begin"}) {
    EXPECT_EQ(1, subscriber.receive(subject, &message, patience));
  }
  for (int n = 0;; ++n) {
    EXPECT_EQ(topic, subject);
    EXPECT_EQ((Parts{std::to_string(n)}), partsOf(message));
    if (n + 1 == messages) break;
    EXPECT_EQ(1, subscriber.receive(subject, &message, patience));
  }
  feed.begun = false;
}

TEST(PublishSubscribeThreadsTest, EachSubscriberReceivesItsFeedCompleteAndInOrder) {
  TempDir dir;
  constexpr int feeds = 3;
  std::array<Feed, feeds> all;
  for (Feed& feed : all) feed.endpoint = dir.ipcEndpoint();
  together(2 * feeds, [&](int i) {
    const int number = i / 2;
    Feed& feed = all[static_cast<std::size_t>(number)];
    const std::string topic = "topic-" + std::to_string(number);
    if (i % 2 == 0) {
      publish(feed, topic);
    } else {
      subscribe(feed, topic);
    }
  });
}

}  // namespace
