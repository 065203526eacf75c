// Workers and their proxy on one host, clients on another.
#include "remote_channel.hpp"
#include "two_hosts_test.hpp"

#include <set>
#include <string>
#include <utility>

namespace {

// A client in its own process, and its requests without a reply. Each client needs its own channel
// name: without address randomisation, two processes have the same thread id, and the identities of
// clients that start in the same second would be equal.
class Client {
 public:
  Client(const support::Host& host, const std::string& endpoint, std::string clientName)
      : name(std::move(clientName)),
        channel(host, name, ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT,
                {{ASYNC_DEALER_CLIENT_ENDPOINT, endpoint}, {ASYNC_DEALER_CLIENT_SNDHWM, "20"}}) {}

  // Sends a unique request. Returns whether it was queued; a full queue refuses it.
  bool ask(const std::string& subject = "ask") {
    const std::string text = name + "/" + std::to_string(++asked);
    const std::string result = channel.send(subject, text, large);
    if (result == sent) {
      open.insert(text);
      return true;
    }
    EXPECT_EQ("Failed to send messagepart : Resource temporarily unavailablezeromq:17498123",
              result);
    return false;
  }

  void askUntilRefused() {
    constexpr int farTooMany = 500;
    for (int i = 0; i < farTooMany; ++i) {
      if (!ask()) return;
    }
    ADD_FAILURE() << "the queue has no limit";
  }

  // Receives a reply, which has to be the first one to one of its own requests.
  void expectReply() {
    const std::string received = channel.receive();
    const std::size_t blank = received.find(' ');
    ASSERT_NE(std::string::npos, blank) << received;
    workers.insert(received.substr(0, blank));
    ASSERT_EQ(1U, open.erase(received.substr(blank + 1))) << received;
  }

  void expectAllReplies() {
    while (!open.empty()) ASSERT_NO_FATAL_FAILURE(expectReply());
  }

  void expectNoReply() { EXPECT_EQ("", channel.receive(aMoment)); }

  // The names of the workers that have replied.
  std::set<std::string> workers;

 private:
  std::string name;
  RemoteChannel channel;
  std::set<std::string> open;
  int asked = 0;
};

class RouterDealerOverTwoHosts : public TwoHostsTest {
 protected:
  void SetUp() override {
    TwoHostsTest::SetUp();
    if (hosts == nullptr) return;
    const std::string endpoint = endpointOn(hosts->addressOfA);
    workers = hosts->a.start({WORKER_PROCESS, "3", endpoint, "inproc://workers"});
    ASSERT_EQ("ready", workers->line());
    for (const char* name : {"first", "second"}) {
      clients.push_back(std::make_unique<Client>(hosts->b, endpoint, name));
    }
  }

  // Fails also if a reply to an earlier request arrives a second time.
  void exchange() {
    for (int i = 0; i < 6; ++i) {
      for (const auto& client : clients) EXPECT_TRUE(client->ask());
    }
    for (const auto& client : clients) client->expectAllReplies();
  }

  std::unique_ptr<support::ChildProcess> workers;
  std::vector<std::unique_ptr<Client>> clients;
};

TEST_F(RouterDealerOverTwoHosts, EachReplyGoesToItsOwnClient) {
  for (int i = 0; i < 10; ++i) exchange();
  const std::set<std::string> all = {"worker-1", "worker-2", "worker-3"};
  for (const auto& client : clients) EXPECT_EQ(all, client->workers);
}

TEST_F(RouterDealerOverTwoHosts,
       every_request_queued_before_or_during_a_cut_gets_one_reply_afterwards) {
  exchange();
  ASSERT_TRUE(clients.front()->ask("hold"));
  ASSERT_EQ("holding", workers->line());

  cutCable(hosts->a);
  for (const auto& client : clients) client->askUntilRefused();
  workers->tell("continue");
  untilRestored([&] {
    for (const auto& client : clients) {
      client->expectNoReply();
      client->ask();
    }
  });
  for (const auto& client : clients) client->expectAllReplies();
  exchange();
}

}  // namespace
