// A client whose server process is killed and started again: what the application sees at each
// step, and how it continues.
#include <support/child_process.hpp>
#include <support/connections.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/error.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using support::ChildProcess;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using tavrik::Message;
using tavrik::TavrikChannel;

enum class Kind { tcp, ipc };

class ServerRestart : public testing::TestWithParam<Kind> {
 protected:
  // Starts the server, the first time at a free endpoint and later at the same one.
  void startServer() {
    constexpr int attempts = 100;
    const bool restart = !endpoint.empty();
    for (int i = 0; i < attempts; ++i) {
      if (!restart) {
        endpoint = GetParam() == Kind::tcp ? support::tcpEndpoint() : dir.ipcEndpoint();
      }
      server = std::make_unique<ChildProcess>(std::vector<std::string>{ECHO_SERVER, endpoint});
      if (server->line() == "ready") return;
    }
    throw std::runtime_error("the server cannot be bound");
  }

  // Kills the server and waits until the client has lost its connection.
  void killServer() {
    server->kill();
    waitForConnections(0);
  }

  void waitForConnections(std::size_t count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
    while (support::connectionsTo(endpoint).size() != count) {
      ASSERT_LT(std::chrono::steady_clock::now(), end);
      std::this_thread::yield();
    }
  }

  std::unique_ptr<TavrikChannel> newClient() {
    auto channel = std::make_unique<TavrikChannel>("echo", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    channel->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    return channel;
  }

  void expectEcho(TavrikChannel& client, const std::string& text) {
    Message message = messageOf({text});
    char subject[SUBJECT_BUFFER_SIZE];
    ASSERT_EQ(1, client.send("echo", &message));
    ASSERT_EQ(1, client.receive(subject, &message, patience));
    EXPECT_EQ((Parts{text}), partsOf(message));
  }

  support::LogCapture log;
  support::TempDir dir;
  std::string endpoint;
  std::unique_ptr<ChildProcess> server;
};

TEST_P(ServerRestart, BetweenTwoExchangesIsNotVisibleToTheClient) {
  startServer();
  const auto client = newClient();
  expectEcho(*client, "before");
  killServer();
  startServer();
  expectEcho(*client, "after");
}

TEST_P(ServerRestart, ARequestSentInBetweenReachesTheNewServer) {
  startServer();
  const auto client = newClient();
  expectEcho(*client, "before");
  killServer();

  Message message = messageOf({"in between"});
  char subject[SUBJECT_BUFFER_SIZE];
  EXPECT_EQ(1, client->send("echo", &message)) << "the request is queued";
  EXPECT_EQ(0, client->receive(subject, &message, 0)) << "no server runs";
  startServer();
  EXPECT_EQ(1, client->receive(subject, &message, patience));
  EXPECT_EQ((Parts{"in between"}), partsOf(message));
}

TEST_P(ServerRestart, AfterALostReplyTheClientNeedsANewChannel) {
  startServer();
  auto client = newClient();
  expectEcho(*client, "before");

  Message message = messageOf({"lost"});
  char subject[SUBJECT_BUFFER_SIZE];
  ASSERT_EQ(1, client->send("hang", &message));
  ASSERT_EQ("hanging", server->line()) << "the server has the request";
  killServer();
  startServer();

  // The new server replies in order. A reply to another client after this one has connected again
  // shows that there is none to this one.
  waitForConnections(1);
  const auto other = newClient();
  expectEcho(*other, "other");
  EXPECT_EQ(0, client->receive(subject, &message, 0)) << "the reply is lost";
  message = messageOf({"again"});
  const std::string text =
      "Failed to send messagepart : Operation cannot be accomplished in current "
      "statezeromq:17530931";
  EXPECT_FAILURE(std::runtime_error, text, client->send("echo", &message));
  EXPECT_EQ((Parts{"again"}), partsOf(message));

  client = newClient();
  expectEcho(*client, "again");
}

INSTANTIATE_TEST_SUITE_P(Over, ServerRestart, testing::Values(Kind::tcp, Kind::ipc),
                         [](const auto& kind) { return kind.param == Kind::tcp ? "tcp" : "ipc"; });

}  // namespace
