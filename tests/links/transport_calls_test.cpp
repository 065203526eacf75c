// Every call into ZeroMQ that a program makes which sets none of the optional properties, from the
// creation of a channel to its deletion. The lists must not change.
#include "roles.hpp"

#include <support/parts.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/mq_wrapper.hpp>

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using links::Peer;
using links::Role;
using support::partsOf;
using support::patience;
using support::TransportFaults;

using Calls = std::vector<std::string>;

// What the application does with a channel of the role, and the calls that each step makes.
struct Life {
  Role role;
  Calls connecting;
  Calls sending;    // the subject "ask" and the part "1"; empty for a role that does not send
  Calls receiving;  // three frames that have arrived; empty for a role that does not receive
};

void PrintTo(const Life& life, std::ostream* out) {
  *out << life.role.name;
}

// FRONT and BACK stand for the endpoints.
const Calls twoFramesSent{"zmq_msg_init_size 3", "zmq_msg_send 3", "zmq_msg_close",
                          "zmq_msg_init_size 1", "zmq_msg_send 1", "zmq_msg_close"};
const Calls threeFramesReceived{
    "zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4",
    "zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4",
    "zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4"};
const Calls identityFrameSent{"zmq_msg_init_size 5", "zmq_msg_send 3", "zmq_msg_close"};
const Calls identityFrameReceived{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close",
                                  "zmq_getsockopt 13 of 4"};

Calls operator+(Calls first, const Calls& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

const std::vector<Life> lives{
    {links::requester,
     {"zmq_socket 3", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9", "zmq_setsockopt 57 0", "zmq_connect FRONT", "zmq_poll 1 0"},
     twoFramesSent,
     threeFramesReceived},
    {links::replier,
     {"zmq_socket 4", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9", "zmq_setsockopt 57 0", "zmq_bind FRONT", "zmq_poll 1 0"},
     twoFramesSent,
     threeFramesReceived},
    {links::publisher,
     {"zmq_socket 1", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9", "zmq_setsockopt 57 0", "zmq_setsockopt 23 10", "zmq_bind FRONT"},
     twoFramesSent,
     {}},
    {links::subscriber,
     {"zmq_socket 2", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9", "zmq_setsockopt 24 10", "zmq_setsockopt 6 \"\"", "zmq_setsockopt 57 0",
      "zmq_connect FRONT", "zmq_poll 1 0"},
     {},
     threeFramesReceived},
    {links::client,
     {"zmq_socket 5", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9", "zmq_setsockopt 5 IDENTITY", "zmq_setsockopt 57 0",
      "zmq_connect FRONT", "zmq_poll 1 0"},
     twoFramesSent,
     threeFramesReceived},
    {links::worker,
     {"zmq_socket 5",           "zmq_setsockopt 34 1",
      "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9",    "zmq_socket 6",
      "zmq_setsockopt 34 1",    "zmq_setsockopt 36 7200",
      "zmq_setsockopt 37 75",   "zmq_setsockopt 35 9",
      "zmq_socket 5",           "zmq_setsockopt 34 1",
      "zmq_setsockopt 36 7200", "zmq_setsockopt 37 75",
      "zmq_setsockopt 35 9",    "zmq_setsockopt 57 0",
      "zmq_bind FRONT",         "zmq_bind BACK",
      "zmq_connect BACK",       "zmq_poll 1 0"},
     identityFrameSent + twoFramesSent,
     identityFrameReceived + threeFramesReceived},
};

// Replaces what differs from run to run.
Calls named(const std::vector<support::Call>& calls, const std::string& front) {
  Calls texts;
  for (const support::Call& call : calls) {
    std::string text = call.text;
    const std::string identity = "zmq_setsockopt 5 \"";
    if (text.compare(0, identity.size(), identity) == 0) text = "zmq_setsockopt 5 IDENTITY";
    const std::size_t address = text.find(front);
    if (address != std::string::npos) text.replace(address, front.size(), "FRONT");
    const std::size_t start = text.find("inproc://");
    if (start != std::string::npos) text = text.substr(0, start) + "BACK";
    texts.push_back(text);
  }
  return texts;
}

const Calls nothingReceived{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"};

class TransportCallsTest : public testing::TestWithParam<Life> {
 protected:
  template <class Step>
  Calls callsOf(Step step) {
    const TransportFaults watch;
    step();
    return named(watch.calls(), endpoint);
  }

  void expectSent() {
    // A worker's message carries the handle of the message that was received.
    message.setnumParts(1);
    message.setPart(0, "1");
    EXPECT_EQ(GetParam().sending, callsOf([&] { EXPECT_EQ(1, channel->send("ask", &message)); }));
  }

  void expectNothingReceived() {
    EXPECT_EQ(nothingReceived,
              callsOf([&] { EXPECT_EQ(0, channel->receive(subject, &message, 0)); }));
    EXPECT_EQ(nothingReceived + Calls{"zmq_poll 1 1"},
              callsOf([&] { EXPECT_EQ(0, channel->receive(subject, &message, 1)); }));
  }

  void expectReceived() {
    peer.send({"answer", "2", ""});
    ASSERT_TRUE(links::becomesReadable(*channel));
    EXPECT_EQ(GetParam().receiving,
              callsOf([&] { EXPECT_EQ(2, channel->receive(subject, &message, patience)); }));
    EXPECT_EQ((support::Parts{"2", ""}), partsOf(message));
  }

  // The first channel of a process creates the context.
  const tavrik::MQWrapper& transport = *tavrik::MQWrapper::getInstance();
  const Role& role = GetParam().role;
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  char subject[SUBJECT_BUFFER_SIZE] = "";
  tavrik::Message message;
  Peer peer{role};
  links::Channel channel;
};

TEST_P(TransportCallsTest, AProgramWithoutOptionalPropertiesMakesTheseCalls) {
  EXPECT_EQ(Calls{}, callsOf([&] { channel = links::make(role); }));
  peer.bindIfFirst(endpoint);
  EXPECT_EQ(GetParam().connecting, callsOf([&] {
              links::setEndpoint(*channel, endpoint);
              links::connect(*channel);
            }));
  peer.connectIfSecond(endpoint);
  if (peer.speaksFirst()) {
    expectSent();
    peer.hear();
  }
  if (role.role != PUBLISHER) {
    expectNothingReceived();
    expectReceived();
  }
  if (!peer.speaksFirst() && role.role != SUBSCRIBER) expectSent();
  EXPECT_EQ((Calls{"zmq_setsockopt 17 0", "zmq_close"}), callsOf([&] { channel.reset(); }));
}

INSTANTIATE_TEST_SUITE_P(, TransportCallsTest, testing::ValuesIn(lives),
                         [](const auto& test) { return test.param.role.name; });

}  // namespace
