// A publisher on one host, its subscribers on another.
#include "remote_channel.hpp"
#include "two_hosts_test.hpp"

#include <sstream>

namespace {

// A subscriber to one subject, in its own process.
struct Reader {
  Reader(const support::Host& host, const std::string& endpoint, const std::string& wanted)
      : subject(wanted),
        channel(host, "network", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER,
                {{PUB_SUB_SUBSCRIBE_FILTER, wanted}, {PUB_SUB_PUBLISHER_ENDPOINT, endpoint}}) {}

  // Returns whether a message arrives. It has to have the subject, intact bytes and a higher number
  // than the one before.
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

  // Publishes the next number with each subject.
  void publish() {
    ++published;
    for (const char* subject : {"weather", "traffic", "sport"}) {
      EXPECT_EQ(sent, publisher->send(subject, std::to_string(published), large));
    }
  }

  // A message is lost if it is published before a subscription has arrived or while a queue is
  // full. Publishes until each reader has the latest number.
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

TEST_F(PublishSubscribeOverTwoHosts, EachSubscriberGetsEveryMessageOfItsSubject) {
  expectEachMessage();
}

TEST_F(PublishSubscribeOverTwoHosts, ContinuesAfterTheCableWasCut) {
  expectEachMessage();
  const int before = published;
  cutCable(hosts->b);
  untilRestored([&] {
    publish();
    for (const auto& reader : readers) EXPECT_FALSE(reader->next(aMoment));
  });
  for (const auto& reader : readers) {
    ASSERT_TRUE(reader->next());
    EXPECT_EQ(before + 1, reader->latest) << "a queued message is not lost";
  }
  publishUntilReceived();
  expectEachMessage();
}

}  // namespace
