// The largest frame: a peer that sends a longer one is disconnected, and the others are served.
#include "roles.hpp"

#include <support/footprint.hpp>
#include <support/parts.hpp>
#include <support/raw_connection.hpp>
#include <tavrik/tavrik.h>

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>

namespace {

namespace zmtp = support::zmtp;
using links::Channel;
using links::Role;
using support::messageOf;
using support::patience;
using support::RawConnection;
using tavrik::Message;

constexpr std::size_t limit = SUBJECT_BUFFER_SIZE - 1;
constexpr std::uint64_t claimed = std::uint64_t{8} << 30U;

Channel limited(const Role& role) {
  Channel channel = links::make(role);
  channel->setProperty(CHANNEL_MAX_MESSAGE_SIZE, std::to_string(limit));
  return channel;
}

// A role, the type of a socket that may be its peer, and the frames before a subject.
struct Victim {
  const Role& role;
  std::string peerType;
  std::string envelope;
};

void PrintTo(const Victim& victim, std::ostream* out) {
  *out << victim.role.name;
}

std::string nameOf(const testing::TestParamInfo<Victim>& test) {
  return test.param.role.name;
}

const std::string delimiter = zmtp::frame(zmtp::moreFlag, "");

// Takes part in the handshake. No frame may follow before the other side's part has come.
void shakeHands(const RawConnection& connection, const std::string& type) {
  connection.send(zmtp::greeting() + zmtp::ready(type));
  EXPECT_EQ(zmtp::commandFlag, connection.receive(zmtp::greetingSize + 1).back());
}

// Waits until the other side has closed the connection.
void awaitEnd(const RawConnection& connection) {
  while (!connection.receive(4096).empty()) continue;
}

const std::string hugeFrame = zmtp::longHeader(0, claimed);
const std::string longFrame = zmtp::frame(0, std::string(limit + 1, 'x'));

class BoundTest : public testing::TestWithParam<Victim> {
 protected:
  BoundTest() {
    if (role.role == PUBLISHER) peer.plain.setOption(ZMQ_SUBSCRIBE, topic);
    peer.meet(*channel, endpoint);
  }

  // A peer that behaves exchanges messages of the largest size.
  void expectServed() {
    const std::string largest(limit, 'l');
    if (role.role == PUBLISHER) {
      Message message = messageOf({largest});
      // The subscription may not have arrived yet.
      constexpr long moment = 10;  // milliseconds
      for (long i = 0; i < patience / moment; ++i) {
        EXPECT_EQ(1, channel->send(topic.c_str(), &message));
        if (peer.plain.hasMessage(moment)) break;
      }
      EXPECT_EQ((support::Frames{topic, largest}), peer.receive());
      return;
    }
    peer.send({"ask", largest});
    char subject[SUBJECT_BUFFER_SIZE] = "";
    Message message;
    ASSERT_EQ(1, channel->receive(subject, &message, patience));
    EXPECT_EQ(largest, message[0]);
    EXPECT_EQ(1, channel->send(subject, &message));
    EXPECT_EQ((support::Frames{"ask", largest}), peer.receive());
  }

  const Role& role = GetParam().role;
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  const Channel channel = limited(role);
  // A subscription to it has the largest size: ZeroMQ adds up to 10 bytes.
  const std::string topic = std::string(limit - 10, 't');
  links::Peer peer{role};
};

TEST_P(BoundTest, APeerThatSendsALongerFrameIsDisconnectedAndTheOthersAreServed) {
  expectServed();
  for (const std::string& bad : {hugeFrame, longFrame}) {
    const RawConnection hostile(endpoint);
    shakeHands(hostile, GetParam().peerType);
    expectServed();
    hostile.send(GetParam().envelope + bad);
    expectServed();
    awaitEnd(hostile);
    expectServed();
  }
}

TEST_P(BoundTest, NothingOfALongerFrameIsKept) {
  const std::string chunk(1000000, 'x');
  const long before = support::Footprint::now().peak;
  const RawConnection hostile(endpoint);
  shakeHands(hostile, GetParam().peerType);
  hostile.send(GetParam().envelope + hugeFrame);
  constexpr int chunks = 64;
  for (int i = 0; i < chunks && hostile.send(chunk); ++i) continue;
  awaitEnd(hostile);
  expectServed();
  constexpr long allowance = 16384;  // kB
  if (support::memoryIsMeaningful) {
    EXPECT_LT(support::Footprint::now().peak, before + allowance);
  }
}

INSTANTIATE_TEST_SUITE_P(, BoundTest,
                         testing::Values(Victim{links::replier, "REQ", delimiter},
                                         Victim{links::publisher, "SUB", ""},
                                         Victim{links::worker, "DEALER", ""}),
                         nameOf);

// The channel that connects has the limit.
class ConnectingTest : public testing::TestWithParam<Victim> {
 protected:
  // The connection of the channel, ready for a message to it.
  RawConnection accepted() {
    RawConnection connection = listener.accept();
    shakeHands(connection, GetParam().peerType);
    return connection;
  }

  const Role& role = GetParam().role;
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  const support::RawListener listener{endpoint};
  const Channel channel = limited(role);
};

TEST_P(ConnectingTest, GivesTheConnectionUpForGood) {
  links::setEndpoint(*channel, endpoint);
  if (role.role != SUBSCRIBER) {
    Message nothing;
    EXPECT_EQ(0, channel->send("ask", &nothing));
  }
  accepted();  // and closed, so the channel connects again
  const RawConnection connection = accepted();
  connection.send(GetParam().envelope + longFrame);
  awaitEnd(connection);
  constexpr long severalAttempts = 500;  // milliseconds; ZeroMQ connects again after 100
  EXPECT_FALSE(listener.isAsked(severalAttempts));
}

INSTANTIATE_TEST_SUITE_P(, ConnectingTest,
                         testing::Values(Victim{links::requester, "REP", delimiter},
                                         Victim{links::subscriber, "PUB", ""},
                                         Victim{links::client, "ROUTER", ""}),
                         nameOf);

class MaxMessageSizeTest : public testing::Test {
 protected:
  support::TempDir dir;
};

TEST_F(MaxMessageSizeTest, ASubscriberKeepsItsOtherPublishers) {
  const std::string endpoint = dir.ipcEndpoint();
  const support::RawListener hostile(endpoint);
  const Channel subscriber = limited(links::subscriber);
  links::Peer publisher(links::subscriber);
  publisher.meet(*subscriber, dir.ipcEndpoint());
  links::setEndpoint(*subscriber, endpoint);
  const RawConnection connection = hostile.accept();
  shakeHands(connection, "PUB");
  connection.send(longFrame);
  awaitEnd(connection);
  publisher.send({"news", "part"});
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  EXPECT_EQ(1, subscriber->receive(subject, &message, patience));
  EXPECT_EQ("part", message[0]);
}

// It has no limit itself, so it connects again.
TEST_F(MaxMessageSizeTest, AClientThatSentALongerFrameIsAnsweredOverTheSameChannel) {
  const std::string endpoint = dir.ipcEndpoint();
  const Channel worker = limited(links::worker);
  const Channel client = links::make(links::client);
  for (const Channel* channel : {&worker, &client}) {
    links::setEndpoint(**channel, endpoint);
    links::connect(**channel);
  }
  Message message = messageOf({std::string(limit + 1, 'x')});
  EXPECT_EQ(1, client->send("long", &message));
  // What it sends before it has connected again is lost.
  std::string answered;
  char subject[SUBJECT_BUFFER_SIZE] = "";
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
  while (answered.empty() && std::chrono::steady_clock::now() < end) {
    message = messageOf({"part"});
    client->send("short", &message);
    constexpr long moment = 10;  // milliseconds
    if (worker->receive(subject, &message, moment) == 1) worker->send(subject, &message);
    if (client->receive(subject, &message, moment) == 1) answered = subject;
  }
  EXPECT_EQ("short", answered);
}

// A client's identity is part of its handshake, and starts with the channel's name.
TEST_F(MaxMessageSizeTest, TheHandshakeOfEveryClientFitsInto300Bytes) {
  const std::string endpoint = dir.ipcEndpoint();
  const Channel worker = links::make(links::worker);
  worker->setProperty(CHANNEL_MAX_MESSAGE_SIZE, "300");
  tavrik::TavrikChannel client(std::string(254, 'n'), links::client.pattern, links::client.role);
  for (tavrik::TavrikChannel* channel : {worker.get(), &client}) {
    links::setEndpoint(*channel, endpoint);
    links::connect(*channel);
  }
  Message nothing;
  client.send("ask", &nothing);
  EXPECT_TRUE(links::becomesReadable(*worker));
}

}  // namespace
