// The example clients get their replies although the clients' side of their connections breaks
// alone, so that the server still holds the old connections.
#include <support/child_process.hpp>
#include <support/plain_socket.hpp>
#include <support/relay.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>

namespace {

using support::ChildProcess;
using support::patience;
using tavrik::Message;

// Starts a client, and calls @p serve repeatedly until the client has ended. Returns the client's
// only line of output.
template <class Serve>
std::string outputOf(ChildProcess& client, Serve serve) {
  auto ended = std::async(std::launch::async, [&] {
    std::string line = client.line();
    EXPECT_EQ(0, client.wait());
    return line;
  });
  while (ended.wait_for(std::chrono::seconds(0)) != std::future_status::ready) serve();
  return ended.get();
}

TEST(LostReplies, ARequestReplyClientAsksAgainOverANewChannel) {
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  tavrik::TavrikChannel server("server", REQUEST_REPLY_PATTERN, REP_SERVER);
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message request;
  char subject[SUBJECT_BUFFER_SIZE];
  ASSERT_EQ(0, server.receive(subject, &request, 0));  // binds

  support::Relay relay(endpoint);
  ChildProcess client({LOST_REPLY, relay.endpoint()});
  ASSERT_EQ(1, server.receive(subject, &request, patience));
  relay.dropClients();
  ASSERT_EQ(1, server.send(subject, &request));  // lost

  int requests = 1;
  EXPECT_EQ("answered: are you there?", outputOf(client, [&] {
              if (server.receive(subject, &request, 10) == 0) return;
              ++requests;
              server.send(subject, &request);
            }));
  EXPECT_GT(requests, 1);
}

// The name of the channel that sent a request: its identity without the thread and the number, each
// of which follows an underscore.
std::string clientOf(const Message& request) {
  const std::unique_ptr<tavrik::MsgHandle> handle(request.getHandle());
  const std::string identity =
      dynamic_cast<const tavrik::AsyncRouterDealerMsgHandle&>(*handle).getIdentity();
  return identity.substr(0, identity.rfind('_', identity.rfind('_') - 1));
}

TEST(LostReplies, ARouterDealerClientAsksAgainUnderANewName) {
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  const auto worker = support::newWorker({endpoint}, support::inprocEndpoint());
  Message request;
  ASSERT_EQ(0, worker->receive(&request, 1));  // starts the proxy

  support::Relay relay(endpoint);
  ChildProcess client({ROUTER_DEALER_LOST_REPLY, relay.endpoint()});
  ASSERT_EQ(3, worker->receive(&request, patience));
  std::set<std::string> clients{clientOf(request)};
  relay.dropClients();
  worker->send(&request);  // lost

  // Replies to the first name go to the connection that the proxy still holds.
  EXPECT_EQ("answered: spring summer autumn", outputOf(client, [&] {
              if (worker->receive(&request, 10) == 0) return;
              clients.insert(clientOf(request));
              worker->send(&request);
            }));
  EXPECT_GT(clients.size(), 1U);
}

}  // namespace
