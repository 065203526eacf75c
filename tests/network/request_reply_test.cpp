// A request over two hosts whose cable is cut meanwhile.
#include "remote_channel.hpp"
#include "two_hosts_test.hpp"

namespace {

class RequestReplyOverTwoHosts : public TwoHostsTest {};

TEST_F(RequestReplyOverTwoHosts, a_request_sent_into_a_cut_is_answered_after_it) {
  const std::string endpoint = endpointOn(hosts->addressOfA);
  const auto server = hosts->a.start({ECHO_SERVER, endpoint});
  ASSERT_EQ("ready", server->line());
  RemoteChannel client(hosts->b, "network", REQUEST_REPLY_PATTERN, REQ_CLIENT,
                       {{REQ_REP_SERVER_ENDPOINT, endpoint}});
  ASSERT_EQ(sent, client.send("ask", "before"));
  ASSERT_EQ("ask before", client.receive());

  cutCable(hosts->a);
  EXPECT_EQ(sent, client.send("ask", "meanwhile"));
  untilRestored([&] { EXPECT_EQ("", client.receive(aMoment)); });
  EXPECT_EQ("ask meanwhile", client.receive());
  EXPECT_EQ(sent, client.send("ask", "after"));
  EXPECT_EQ("ask after", client.receive());
}

}  // namespace
