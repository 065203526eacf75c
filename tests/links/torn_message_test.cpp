// A receive that fails inside a message, at every point where it can fail, and what the next calls
// make of the rest of that message.
#include "roles.hpp"

#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/mq_wrapper.hpp>

#include <zmq.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using links::Peer;
using links::Role;
using support::AllocationFailure;
using support::debugLine;
using support::Frames;
using support::Log;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::TransportFaults;
using tavrik::Message;

using Calls = std::vector<std::string>;

const std::string getFrame = "zmq_msg_recv 1";
const std::string closeFrame = "zmq_msg_close";
const std::string readMore = "zmq_getsockopt 13 of 4";

const Calls oneFrame{"zmq_msg_init", getFrame, closeFrame, readMore};
const Calls nothingReceived{"zmq_msg_init", getFrame, closeFrame};
const Calls emptyAnswer{"zmq_msg_init_size 0", "zmq_msg_send 1", closeFrame};

const std::string outOfTurn =
    "Failed to get messagepart : Operation cannot be accomplished in current state"
    "zeromq:17727539";

Calls operator+(Calls first, const Calls& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Calls operator*(int count, const Calls& calls) {
  Calls all;
  for (int i = 0; i < count; ++i) all = all + calls;
  return all;
}

// A message as the application sees it.
struct Received {
  std::string subject;
  Parts parts;

  bool operator==(const Received& other) const {
    return subject == other.subject && parts == other.parts;
  }
};

std::ostream& operator<<(std::ostream& out, const Received& received) {
  out << received.subject;
  for (const std::string& part : received.parts) out << " | " << part;
  return out;
}

const Frames torn{"torn", "1", "2", "3"};
const Frames next{"next", "whole"};
const Received tornWhole{"torn", {"1", "2", "3"}};
const Received nextWhole{"next", {"whole"}};

class TornMessageTest : public testing::TestWithParam<Role> {
 protected:
  void SetUp() override { meet(); }

  // Another channel and peer.
  void meet() {
    peer = std::make_unique<Peer>(role);
    channel = links::make(role);
    peer->meet(*channel, dir.ipcEndpoint());
  }

  bool isServer() const { return role.role == REP_SERVER; }

  // A worker's messages have the client's address in front.
  int framesOf(const Frames& frames) const {
    return static_cast<int>(frames.size()) + (role.role == ASYNC_DEALER_WORKER ? 1 : 0);
  }

  // Sends a message to the channel and waits until it is there. Polls the socket itself, because a
  // poll of the channel is under test.
  void send(const Frames& frames) {
    peer->send(frames);
    zmq_pollitem_t item{support::TestPeer::socketOf(*channel), 0, ZMQ_POLLIN, 0};
    ASSERT_EQ(1, zmq_poll(&item, 1, patience));
  }

  Received receive(long timeout = patience) {
    subject[0] = '\0';
    channel->receive(subject, &message, timeout);
    return {subject, partsOf(message)};
  }

  // Receives a message, and the nth call of the function fails.
  Calls tear(const std::string& function, int nth) {
    send(torn);
    TransportFaults faults;
    faults.fail(function, EDOM, nth);
    EXPECT_THROW(receive(), std::runtime_error);
    return faults.texts();
  }

  // The last frame has been received when the message is torn.
  void tearAtItsEnd() { tear(readMore, framesOf(torn)); }

  // The calls that discard so many frames and give a server's answer.
  Calls discarding(int frames) const {
    const Calls discarded = Calls{readMore} + frames * oneFrame;
    return isServer() ? discarded + emptyAnswer : discarded;
  }

  // The channel has nothing to receive. A requester may not receive at all.
  void expectNothing(long timeout) {
    if (role.role == REQ_CLIENT) {
      EXPECT_FAILURE(std::runtime_error, outOfTurn, receive(timeout));
    } else {
      EXPECT_EQ((Received{"", {}}), receive(timeout));
    }
  }

  // The next receive discards so many frames and finds nothing else.
  void expectDiscarded(int frames) {
    const TransportFaults watch;
    expectNothing(0);
    EXPECT_EQ(discarding(frames) + nothingReceived, watch.texts());
  }

  // The next messages go both ways in turn.
  void expectExchange() {
    if (isServer()) {
      EXPECT_EQ((Frames{""}), peer->receive()) << "the answer to the torn request";
    }
    if (role.role == REQ_CLIENT) peer->ask(*channel);
    send(next);
    {
      const TransportFaults watch;
      EXPECT_EQ(nextWhole, receive());
      EXPECT_EQ(framesOf(next) * oneFrame, watch.texts());
    }
    if (peer->speaksFirst() || role.role == SUBSCRIBER) return;
    EXPECT_EQ(1, channel->send("answer", &message));
    EXPECT_EQ((Frames{"answer", "whole"}), peer->receive());
  }

  // The message is not torn.
  void expectWhole() {
    const TransportFaults watch;
    EXPECT_EQ(tornWhole, receive());
    EXPECT_EQ(framesOf(torn) * oneFrame, watch.texts());
  }

  const Role& role = GetParam();
  const tavrik::MQWrapper& transport = *tavrik::MQWrapper::getInstance();
  support::LogCapture log;
  support::TempDir dir;
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  std::unique_ptr<Peer> peer;
  links::Channel channel;
};

TEST_P(TornMessageTest, TheFirstFrameThatIsNotReceivedTearsNothing) {
  EXPECT_EQ(nothingReceived, tear(getFrame, 1));
  expectWhole();
}

TEST_P(TornMessageTest, AFrameThatIsNotReceivedLeavesTheRestToBeDiscarded) {
  for (int nth = 2; nth <= framesOf(torn); ++nth) {
    SCOPED_TRACE(nth);
    meet();
    EXPECT_EQ((nth - 1) * oneFrame + nothingReceived, tear(getFrame, nth));
    expectDiscarded(framesOf(torn) - nth + 1);
    expectExchange();
  }
}

TEST_P(TornMessageTest, AFrameThatIsNotClosedLeavesTheRestToBeDiscarded) {
  for (int nth = 1; nth <= framesOf(torn); ++nth) {
    SCOPED_TRACE(nth);
    meet();
    EXPECT_EQ((nth - 1) * oneFrame + nothingReceived + Calls{closeFrame}, tear(closeFrame, nth));
    expectDiscarded(framesOf(torn) - nth);
    expectExchange();
  }
}

TEST_P(TornMessageTest, AnEndThatIsNotKnownLeavesTheRestToBeDiscarded) {
  for (int nth = 1; nth <= framesOf(torn); ++nth) {
    SCOPED_TRACE(nth);
    meet();
    EXPECT_EQ(nth * oneFrame, tear(readMore, nth));
    expectDiscarded(framesOf(torn) - nth);
    expectExchange();
  }
}

TEST_P(TornMessageTest, APartThatFindsNoMemoryLeavesTheRestToBeDiscarded) {
  const std::string part(1000, 'p');
  int nth = 0;
  for (bool failed = true; failed;) {
    SCOPED_TRACE(++nth);
    meet();
    Message fresh;
    send({"torn", part, part, part});
    {
      const AllocationFailure failure(nth);
      try {
        EXPECT_EQ(3, channel->receive(subject, &fresh, 0));
      } catch (const std::bad_alloc&) {
      }
      failed = failure.happened();
    }
    if (!failed) break;
    expectNothing(0);
    expectExchange();
  }
  EXPECT_GT(nth, 4) << "the list of parts and each part take memory";
}

TEST_P(TornMessageTest, ADiscardThatFailsIsLoggedAndTriedAgain) {
  tear(closeFrame, 1);
  const int left = framesOf(torn) - 1;
  const std::string text =
      "Failed to get messagepart : Numerical argument out of domainzeromq:17694753";
  for (int discarded = 0; discarded < left; ++discarded) {
    // The calls that discard one frame, and fail at the next.
    TransportFaults faults;
    faults.fail(getFrame, EDOM, discarded == 0 ? 1 : 2);
    log.clear();
    EXPECT_FAILURE(std::runtime_error, text, receive());
    EXPECT_EQ(Calls{readMore} + (discarded == 0 ? 0 : 1) * oneFrame + nothingReceived,
              faults.texts());
    EXPECT_EQ(debugLine("Error : Tavrik::MQWrapper::receive() : " + text), log.lines().front());
  }
  expectDiscarded(1);
  expectExchange();
}

TEST_P(TornMessageTest, AReceiveThatIsRefusedAsksNothingOfTheTransport) {
  tear(closeFrame, 1);
  {
    const TransportFaults watch;
    EXPECT_EQ(-1, channel->receive(subject, nullptr, 0));
    EXPECT_EQ(-1, channel->receive(nullptr, &message, 0));
    EXPECT_EQ(-1, channel->receive(subject, &message, -2));
    EXPECT_EQ(-1, support::TestPeer::patternOf(*channel)->receive(nullptr, 0));
    EXPECT_EQ(-1, support::TestPeer::patternOf(*channel)->receive(&message, -2));
    EXPECT_EQ(Calls{}, watch.texts());
  }
  expectDiscarded(framesOf(torn) - 1);
}

TEST_P(TornMessageTest, APollForMessagesDiscardsTheRestFirst) {
  tear(closeFrame, 1);
  {
    const TransportFaults watch;
    EXPECT_FALSE(links::becomesReadable(*channel, 0));
    EXPECT_EQ(discarding(framesOf(torn) - 1) + Calls{"zmq_poll 1 0"}, watch.texts());
  }
  expectExchange();
}

TEST_P(TornMessageTest, APollForRoomToSendDiscardsNothing) {
  tear(closeFrame, 1);
  {
    tavrik_pollitem_t item{channel.get(), TAVRIK_POLLOUT, 0};
    const TransportFaults watch;
    tavrik::channel_poll(&item, 1, 0);
    EXPECT_EQ((Calls{"zmq_poll 1 0"}), watch.texts());
  }
  expectDiscarded(framesOf(torn) - 1);
}

TEST_P(TornMessageTest, IsNotCountedAsReceived) {
  channel->initializeStatsMonitoring();
  tearAtItsEnd();
  expectDiscarded(0);
  tavrikStatistics counted{};
  channel->getTavrikStats(&counted);
  EXPECT_EQ(0U, counted.rcvdCount);
  EXPECT_EQ(isServer() ? 1U : 0U, counted.sentCount) << "a server sends an empty answer";
}

TEST_P(TornMessageTest, OneReceiveDiscardsTheRestAndTakesTheNextMessage) {
  if (role.role == REQ_CLIENT) return;  // the next reply follows the next request
  tear(closeFrame, 1);
  peer->send(next);
  EXPECT_EQ(nextWhole, receive());
}

INSTANTIATE_TEST_SUITE_P(, TornMessageTest, testing::ValuesIn(links::receivingRoles),
                         [](const auto& test) { return test.param.name; });

// A server owes an answer to the torn request.
class TornRequestTest : public TornMessageTest {};

TEST_P(TornRequestTest, AnAnswerOfTheApplicationReplacesTheEmptyOne) {
  tearAtItsEnd();
  Message answer = messageOf({"sorry"});
  EXPECT_EQ(1, channel->send("answer", &answer));
  EXPECT_EQ((Frames{"answer", "sorry"}), peer->receive());
  send(next);
  const TransportFaults watch;
  EXPECT_EQ(nextWhole, receive());
  EXPECT_EQ(framesOf(next) * oneFrame, watch.texts());
}

TEST_P(TornRequestTest, AnAnswerIsOutOfTurnWhileTheRequestHasARest) {
  tear(readMore, 2);
  Message answer = messageOf({"sorry"});
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to send messagepart : Operation cannot be accomplished in current state"
                 "zeromq:17530931",
                 channel->send("answer", &answer));
  expectDiscarded(2);
  expectExchange();
}

TEST_P(TornRequestTest, AMessageWithoutPartsIsNoAnswer) {
  tearAtItsEnd();
  Message nothing;
  EXPECT_EQ(0, support::TestPeer::patternOf(*channel)->send(&nothing));
  expectDiscarded(0);
  expectExchange();
}

TEST_P(TornRequestTest, AnEmptyAnswerThatIsNotSentIsTriedAgain) {
  tear(closeFrame, 1);
  for (const char* const call : {"zmq_msg_init_size", "zmq_msg_send"}) {
    TransportFaults faults;
    faults.fail(call, EDOM);
    EXPECT_THROW(receive(), std::runtime_error);
  }
  {
    const AllocationFailure failure(1);
    EXPECT_THROW(receive(), std::bad_alloc);
  }
  expectDiscarded(0);
  expectExchange();
}

TEST_P(TornRequestTest, ARequesterReceivesTheEmptyAnswerAsNothingAndAsksAgain) {
  const std::string endpoint = dir.ipcEndpoint();
  const links::Channel server = links::make(links::replier);
  const links::Channel requester = links::make(links::requester);
  links::setEndpoint(*server, endpoint);
  links::connect(*server);
  links::setEndpoint(*requester, endpoint);
  Message request = messageOf({"1"});
  ASSERT_EQ(1, requester->send("ask", &request));
  ASSERT_TRUE(links::becomesReadable(*server));
  {
    TransportFaults faults;
    faults.fail(readMore, EDOM, 2);
    EXPECT_THROW(server->receive(subject, &message, 0), std::runtime_error);
  }
  EXPECT_EQ(0, server->receive(subject, &message, 0));
  ASSERT_TRUE(links::becomesReadable(*requester));
  EXPECT_EQ(0, requester->receive(subject, &message, 0));
  ASSERT_EQ(1, requester->send("ask", &request));
  EXPECT_EQ(1, server->receive(subject, &message, patience));
  EXPECT_EQ((Parts{"1"}), partsOf(message));
}

// While it lives, sending a frame takes some time.
class SlowSends {
 public:
  explicit SlowSends(long milliseconds) {
    duration() = std::chrono::milliseconds(milliseconds);
    support::onFrameSent = [] {
      const auto end = std::chrono::steady_clock::now() + duration();
      while (std::chrono::steady_clock::now() < end) {
      }
    };
  }
  ~SlowSends() { support::onFrameSent = nullptr; }
  SlowSends(const SlowSends&) = delete;
  SlowSends& operator=(const SlowSends&) = delete;

 private:
  static std::chrono::milliseconds& duration() {
    static std::chrono::milliseconds value;
    return value;
  }
};

TEST_P(TornRequestTest, TheReceiveWaitsForTheTimeThatRemains) {
  tear(closeFrame, 1);
  const SlowSends slow(40);
  const TransportFaults watch;
  expectNothing(100);
  Calls calls = watch.texts();
  const std::string poll = "zmq_poll 1 ";
  ASSERT_EQ(poll, calls.back().substr(0, poll.size()));
  const long remaining = std::stol(calls.back().substr(poll.size()));
  EXPECT_LE(remaining, 60);
  EXPECT_GE(remaining, 0);
  calls.pop_back();
  EXPECT_EQ(discarding(framesOf(torn) - 1) + nothingReceived, calls);
}

TEST_P(TornRequestTest, WithoutTimeLeftTheReceiveDoesNotWait) {
  tear(closeFrame, 1);
  const SlowSends slow(2);
  const TransportFaults watch;
  expectNothing(1);
  EXPECT_EQ(discarding(framesOf(torn) - 1) + nothingReceived, watch.texts());
}

INSTANTIATE_TEST_SUITE_P(, TornRequestTest, testing::Values(links::replier),
                         [](const auto& test) { return test.param.name; });

}  // namespace
