// Publishers and subscribers in threads of their own. Meant to be run under the thread sanitizer
// too.
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

using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;

constexpr int messages = 300;

// A publisher's endpoint, and how the two threads agree on when to begin.
struct Feed {
  std::string endpoint;
  std::atomic<int> looks{0};
  std::atomic<bool> begun{false};
};

// Publishes until the subscription has arrived, then so many numbered messages.
void publish(Feed& feed, const std::string& topic) {
  PublishSubscribeChannel publisher("feed", PUBLISHER);
  publisher.setProperty(PUB_SUB_SET_PUB_SNDHWM, "1000");
  publisher.setPublisherEndPoint(feed.endpoint);
  publisher.initializeStatsMonitoring();
  unsigned int sent = 0;
  // One message for each look that the subscriber takes, so that no mark is exceeded.
  for (int answered = 0; !feed.begun;) {
    if (answered == feed.looks) {
      std::this_thread::yield();
      continue;
    }
    ++answered;
    Message message = messageOf({"begin"});
    EXPECT_EQ(1, publisher.send(topic.c_str(), &message));
    ++sent;
  }
  for (int n = 0; n < messages; ++n) {
    Message message = messageOf({std::to_string(n)});
    EXPECT_EQ(1, publisher.send("somebody else's", &message));
    EXPECT_EQ(1, publisher.send(topic.c_str(), &message));
    sent += 2;
  }
  tavrikStatistics stats = {};
  publisher.getTavrikStats(&stats);
  EXPECT_EQ(sent, stats.sentCount);
  while (feed.begun) std::this_thread::yield();  // deleting it now would drop what is on its way
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
    ++feed.looks;
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

TEST(PublishSubscribeThreads, each_get_their_own_feed_whole_and_in_order) {
  support::TempDir dir;
  constexpr int feeds = 3;
  std::array<Feed, feeds> all;
  for (Feed& feed : all) feed.endpoint = dir.ipcEndpoint();
  support::together(2 * feeds, [&](int i) {
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
