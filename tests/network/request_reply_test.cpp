// A request between two hosts whose cable is cut.
#include "remote_channel.hpp"
#include "two_hosts_test.hpp"

namespace {

class RequestReplyOverTwoHosts : public TwoHostsTest {};

TEST_F(RequestReplyOverTwoHosts, ARequestSentWhileTheCableIsCutGetsItsReplyAfterwards) {
  const std::string endpoint = endpointOn(hosts->addressOfA);
  const auto server = hosts->a.start({ECHO_SERVER, endpoint});
  ASSERT_EQ("ready", server->line());
  RemoteChannel client(hosts->b, "network", REQUEST_REPLY_PATTERN, REQ_CLIENT,
                       {{REQ_REP_SERVER_ENDPOINT, endpoint}});
  ASSERT_EQ(sent, client.send("ask", "before"));
  ASSERT_EQ("ask before", client.receive());

  cutCable(hosts->a);
  EXPECT_EQ(sent, client.send("ask", "during"));
  untilRestored([&] { EXPECT_EQ("", client.receive(aMoment)); });
  EXPECT_EQ("ask during", client.receive());
  EXPECT_EQ(sent, client.send("ask", "after"));
  EXPECT_EQ("ask after", client.receive());
}

}  // namespace
