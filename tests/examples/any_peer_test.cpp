// A peer that uses ZeroMQ without the library sends malformed requests to the demo's servers and to
// the example server. They still serve others.
#include <support/child_process.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <zmq.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::ChildProcess;
using support::Frames;
using support::patience;
using support::PlainSocket;
using tavrik::Message;

// A request of request/reply has an empty frame, the delimiter, in front of its subject.
const std::vector<Frames> withoutDelimiter = {{"x"}, {""}, {"a", "b"}, {"a", "b", "c"}};
const std::vector<Frames> unusual = {{"", ""},
                                     {"", "subject alone"},
                                     {"", std::string(300, 's'), "part"},
                                     {"", std::string("a\0b", 3), ""},
                                     {"envelope", "", "", std::string(100000, 'p')}};

// Sends what no client of the library sends, then a request, and expects a reply to each message
// that has a delimiter.
void sendMalformed(const std::string& endpoint, const Frames& request) {
  PlainSocket peer(ZMQ_DEALER);
  peer.connect(endpoint);
  for (const Frames& frames : withoutDelimiter) peer.send(frames);
  for (const Frames& frames : unusual) {
    peer.send(frames);
    const Frames reply = peer.receive();
    EXPECT_EQ(frames.front(), reply.front());
  }
  for (const Frames& frames : withoutDelimiter) peer.send(frames);
  peer.send(request);
  const Frames reply = peer.receive();
  ASSERT_GE(reply.size(), 2U);
  EXPECT_EQ(request[1], reply[1]);
}

// A client of the library gets a reply with the subject of its request.
void expectReply(const std::string& endpoint, const std::string& subject, Message message) {
  tavrik::TavrikChannel client("client", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  char heard[SUBJECT_BUFFER_SIZE] = "";
  ASSERT_EQ(message.getnumParts(), client.send(subject.c_str(), &message));
  EXPECT_GT(client.receive(heard, &message, patience), 0);
  EXPECT_EQ(subject, heard);
}

TEST(AnyPeer, CannotStopTheExampleServer) {
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  ChildProcess server({REQUEST_REPLY_SERVER, endpoint});
  ASSERT_EQ("listens on " + endpoint, server.line());
  sendMalformed(endpoint, {"", "subject", "part"});
  expectReply(endpoint, "echo", support::messageOf({"part"}));
}

// Starts a service of the demo, which announces its endpoint on its output.
class Service {
 public:
  explicit Service(const std::string& program) : process({program, "/dev/stdout", ipc}) {
    const std::string tcpScheme = "tcp://";
    do {
      tcp = process.line();
    } while (tcp.compare(0, tcpScheme.size(), tcpScheme) != 0);
  }

  support::TempDir dir;
  std::string ipc = dir.ipcEndpoint();
  std::string tcp;
  ChildProcess process;
};

TEST(AnyPeer, CannotStopTheDemosServer) {
  const Service server(HOST_SERVER);
  for (const std::string& endpoint : {server.ipc, server.tcp}) {
    sendMalformed(endpoint, {"", "load"});
    expectReply(endpoint, "load", Message());
  }
}

// A device, for example, may have no end.
TEST(AnyPeer, GetsNoAnswerAboutAFileThatIsNone) {
  const Service server(HOST_SERVER);
  for (const std::string path : {"/dev/zero", server.dir.path().c_str(), "", "/nowhere"}) {
    PlainSocket peer(ZMQ_REQ);
    peer.connect(server.tcp);
    peer.send({"file", path});
    EXPECT_EQ((Frames{"no answer"}), peer.receive());
  }
}

TEST(AnyPeer, CannotStopTheDemosWorkers) {
  const Service workers(DIGEST_WORKERS);
  PlainSocket peer(ZMQ_DEALER);
  peer.connect(workers.tcp);
  const std::vector<Frames> jobless = {{"x"}, {""}, {"a", "b"}, {"", "a", "b", "c"}};
  for (const Frames& frames : jobless) {
    peer.send(frames);
    EXPECT_EQ("not a job", peer.receive().front());
  }
  // The digest of three bytes: a well-known test vector.
  peer.send({"job", "peer", "0", "path", "abc"});
  EXPECT_EQ((Frames{"digest", "peer", "0", "path",
                    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}),
            peer.receive());
}

}  // namespace
