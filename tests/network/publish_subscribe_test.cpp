// A publisher on one host, its subscribers on another.
#include "remote_channel.hpp"
#include "two_hosts_test.hpp"

#include <sstream>

namespace {

// A subscriber of one subject, in a process of its own.
struct Reader {
  Reader(const support::Host& host, const std::string& endpoint, const std::string& wanted)
      : subject(wanted),
        channel(host, "network", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER,
                {{PUB_SUB_SUBSCRIBE_FILTER, wanted}, {PUB_SUB_PUBLISHER_ENDPOINT, endpoint}}) {}

  // Whether a message came: of the subject, undamaged and later than the one before.
  bool next(long timeout = support::patience) {
    const std::string received = channel.receive(timeout);
    if (received.empty()) return false;
    std::istringstream words(received);
    std::string of;
    int number = 0;
    words >> of >> number;
    EXPECT_EQ(subject, of) << received;
    EXPECT_LT(latest, number);
    latest = number;
    return true;
  }

  std::string subject;
  RemoteChannel channel;
  int latest = 0;
};

class PublishSubscribeOverTwoHosts : public TwoHostsTest {
 protected:
  void SetUp() override {
    TwoHostsTest::SetUp();
    if (hosts == nullptr) return;
    const std::string endpoint = endpointOn(hosts->addressOfA);
    publisher = std::make_unique<RemoteChannel>(
        hosts->a, "network", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER,
        RemoteChannel::Properties{{PUB_SUB_PUBLISHER_ENDPOINT, endpoint}});
    for (const char* subject : {"weather", "traffic"}) {
      readers.push_back(std::make_unique<Reader>(hosts->b, endpoint, subject));
    }
    publishUntilReceived();
  }

  // The next number under every subject, wanted or not.
  void publish() {
    ++published;
    for (const char* subject : {"weather", "traffic", "sport"}) {
      EXPECT_EQ(sent, publisher->send(subject, std::to_string(published), large));
    }
  }

  // What is published before a subscription has arrived or while a queue is full is lost, so it
  // takes several until each reader has the latest and nothing is on its way any more.
  void publishUntilReceived() {
    const auto end = endOfPatience();
    for (bool received = false; !received;) {
      ASSERT_LT(Clock::now(), end) << "nothing new arrives";
      publish();
      received = true;
      for (const auto& reader : readers) {
        while (reader->next(aMoment)) continue;
        received = received && reader->latest == published;
      }
    }
  }

  void expectEachMessage() {
    for (int i = 0; i < 20; ++i) {
      publish();
      for (const auto& reader : readers) {
        ASSERT_TRUE(reader->next());
        ASSERT_EQ(published, reader->latest);
      }
    }
  }

  std::unique_ptr<RemoteChannel> publisher;
  std::vector<std::unique_ptr<Reader>> readers;
  int published = 0;
};

TEST_F(PublishSubscribeOverTwoHosts, each_subscriber_gets_every_message_of_its_subject) {
  expectEachMessage();
}

TEST_F(PublishSubscribeOverTwoHosts, goes_on_after_a_cut) {
  expectEachMessage();
  const int before = published;
  cutCable(hosts->b);
  untilRestored([&] {
    publish();
    for (const auto& reader : readers) EXPECT_FALSE(reader->next(aMoment));
  });
  for (const auto& reader : readers) {
    ASSERT_TRUE(reader->next());
    EXPECT_EQ(before + 1, reader->latest) << "what the queue took is not lost";
  }
  publishUntilReceived();
  expectEachMessage();
}

}  // namespace
