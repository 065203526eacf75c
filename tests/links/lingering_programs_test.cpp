// The linger of a channel: what a program has sent before it deletes the channel and ends.
#include "../network/remote_channel.hpp"
#include "process_pair.hpp"

#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/raw_connection.hpp>
#include <tavrik/message.hpp>

#include <chrono>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <set>
#include <string>

namespace {

using links::Channel;
using links::Role;
using std::chrono::milliseconds;
using support::Log;
using support::patience;
using tavrik::Message;

constexpr int programs = 20;

// Deletes the channel and returns how long that takes.
milliseconds deletion(Channel& channel) {
  const auto start = Clock::now();
  channel.reset();
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

class LingeringProgramsTest : public testing::Test {
 protected:
  // A channel in a process of its own that lingers as long as it takes.
  RemoteChannel& start(const Role& role, const std::string& endpoint,
                       const links::Properties& more = {}) {
    links::Properties properties{{CHANNEL_LINGER, std::to_string(patience)}};
    properties.insert(properties.end(), more.begin(), more.end());
    for (auto& property : links::endpointProperties(role.role, endpoint)) {
      properties.push_back(property);
    }
    const std::string name = "program-" + std::to_string(running.size());
    return running.emplace_back(nullptr, name, role.pattern, role.role, properties);
  }

  // Lets each program send so many messages. Returns their texts.
  std::multiset<std::string> sendFromEach(int count) {
    std::multiset<std::string> texts;
    for (RemoteChannel& program : running) {
      for (int n = 0; n < count; ++n) {
        const std::string text = std::to_string(texts.size());
        EXPECT_EQ(sent, program.send("ask", text, large));
        texts.insert(text);
      }
    }
    return texts;
  }

  // Deletes a channel whose message nobody takes.
  void runOut(const Role& role, const std::string& endpoint) {
    constexpr milliseconds linger{20};
    constexpr milliseconds atMost{5000};
    auto channel = std::make_unique<tavrik::TavrikChannel>("hasty", role.pattern, role.role);
    channel->setProperty(CHANNEL_LINGER, std::to_string(linger.count()));
    links::setEndpoint(*channel, endpoint);
    Message nothing;
    channel->send("ask", &nothing);
    log.clear();
    const milliseconds took = deletion(channel);
    EXPECT_GE(took, linger);
    EXPECT_LT(took, atMost);
    EXPECT_EQ((Log{support::infoLine(
                  "Info : CHANNEL_LINGER ended before every message was sent on channel hasty")}),
              log.lines());
  }

  static bool receives(tavrik::TavrikChannel& channel, long timeout) {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    Message message;
    return channel.receive(subject, &message, timeout) != 0;
  }

  // Lets all programs delete their channels and end.
  void endAll() {
    for (RemoteChannel& program : running) program.process().closeInput();
  }
  void expectEnded() {
    for (RemoteChannel& program : running) EXPECT_EQ(0, program.process().wait());
  }

  // Receives what the programs have sent. It consists of these texts, each once, in any order.
  void expectReceived(tavrik::TavrikChannel& channel, std::multiset<std::string> texts) {
    while (!texts.empty()) {
      char subject[SUBJECT_BUFFER_SIZE] = "";
      Message message;
      ASSERT_EQ(2, channel.receive(subject, &message, patience)) << texts.size() << " are lost";
      const auto found = texts.find(message[0]);
      ASSERT_NE(texts.end(), found) << message[0];
      texts.erase(found);
      if (channel.getRole() == REP_SERVER) channel.send("answer", &message);
    }
  }

  support::LogCapture log;
  support::TempDir dir;
  std::list<RemoteChannel> running;
};

// Nobody listens before the clients delete their channels.
TEST_F(LingeringProgramsTest, EveryRequestOfProgramsThatSendAndEndArrives) {
  for (const Role* client : {&links::requester, &links::client}) {
    SCOPED_TRACE(client->name);
    const bool takesTurns = client == &links::requester;
    const Role& server = takesTurns ? links::replier : links::worker;
    const std::string at = dir.ipcEndpoint();
    for (int i = 0; i < programs; ++i) start(*client, at);
    const auto texts = sendFromEach(takesTurns ? 1 : 100);
    endAll();
    const Channel channel = links::make(server);
    links::setEndpoint(*channel, at);
    links::connect(*channel);
    expectReceived(*channel, texts);
    expectEnded();
    running.clear();
  }
}

TEST_F(LingeringProgramsTest, EveryPublicationOfProgramsThatPublishAndEndArrives) {
  const Channel subscriber = links::make(links::subscriber);
  subscriber->setProperty(PUB_SUB_SET_SUB_RCVHWM, "1000");
  for (int i = 0; i < programs; ++i) {
    const std::string at = dir.ipcEndpoint();
    RemoteChannel& program = start(links::publisher, at, {{PUB_SUB_SET_PUB_SNDHWM, "1000"}});
    links::setEndpoint(*subscriber, at);
    // The subscription has arrived when a publication does.
    do {
      ASSERT_EQ(sent, program.send("news", "first"));
    } while (!receives(*subscriber, aMoment));
    while (receives(*subscriber, aMoment)) continue;
  }
  const auto texts = sendFromEach(100);
  endAll();
  expectReceived(*subscriber, texts);
  expectEnded();
}

TEST_F(LingeringProgramsTest, TheReplyOfEveryServerThatRepliesAndEndsArrives) {
  std::list<Channel> clients;
  for (int i = 0; i < programs; ++i) {
    const std::string at = dir.ipcEndpoint();
    RemoteChannel& program = start(links::replier, at);
    program.echo(1);  // binds
    Channel& client = clients.emplace_back(links::make(links::requester));
    links::setEndpoint(*client, at);
    Message request = support::messageOf({std::to_string(i), std::string(large, 'r')});
    ASSERT_EQ(sent, std::to_string(client->send("ask", &request)));
    ASSERT_EQ(sent, program.echo());
  }
  endAll();
  int i = 0;
  for (const Channel& client : clients) expectReceived(*client, {std::to_string(i++)});
  expectEnded();
}

// The listener accepts no connection, and there is none at the other endpoint.
TEST_F(LingeringProgramsTest, RunsOutWhenNobodyAccepts) {
  const std::string refused = dir.ipcEndpoint();
  const support::RawListener listener(refused);
  for (const Role* role : {&links::requester, &links::client}) {
    for (const std::string& at : {refused, dir.ipcEndpoint()}) {
      SCOPED_TRACE(role->name + " at " + at);
      // ZeroMQ's clock may end the linger a little earlier, depending on when it begins.
      for (int i = 0; i < 15; ++i) runOut(*role, at);
    }
  }
}

TEST_F(LingeringProgramsTest, DeletionReturnsAtOnceWhenNothingWaitsToBeSent) {
  for (const Role& role : links::allRoles) {
    SCOPED_TRACE(role.name);
    Channel channel = links::make(role);
    channel->setProperty(CHANNEL_LINGER, std::to_string(patience));
    links::setEndpoint(*channel, dir.ipcEndpoint());
    links::connect(*channel);
    log.clear();
    EXPECT_LT(deletion(channel), milliseconds(patience));
    EXPECT_EQ(Log{}, log.lines());
  }
}

TEST_F(LingeringProgramsTest, UnsetDeletionReturnsAtOnceAndDropsWhatWaits) {
  for (const Role* role : {&links::requester, &links::client}) {
    SCOPED_TRACE(role->name);
    const std::string at = dir.ipcEndpoint();
    Channel deleted = links::make(*role);
    links::setEndpoint(*deleted, at);
    Message nothing;
    deleted->send("dropped", &nothing);
    log.clear();
    EXPECT_LT(deletion(deleted), milliseconds(1000));
    EXPECT_EQ(Log{}, log.lines());

    const Channel kept = links::make(*role);
    links::setEndpoint(*kept, at);
    links::Peer peer(*role);
    peer.bindIfFirst(at);
    kept->send("kept", &nothing);
    EXPECT_EQ("kept", peer.plain.receive().back());
    EXPECT_FALSE(peer.plain.hasMessage(aMoment));
  }
}

}  // namespace
