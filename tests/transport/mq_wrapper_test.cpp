// The context, and sockets from their creation to their closing.
#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <support/transport_socket.hpp>
#include <tavrik/error.hpp>
#include <tavrik/tavrik.h>

#include <zmq.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace support;
using tavrik::MQWrapper;

// Errors that nothing else in a test causes: EDOM, and EXDEV for a second failure.
const std::string domain = "Numerical argument out of domain";
const std::string crossDevice = "Invalid cross-device link";

const std::string member = "Error : Tavrik::MQWrapper::";
const std::string createPrefix = member + "createEndpt() : ";

// The end of a transport failure's text. Each of them decodes to a large negative number.
std::string zeromq(int code) {
  std::string marked = "zeromq:" + std::to_string(code);
  EXPECT_EQ(-code, decode_error("any text" + marked));
  EXPECT_LE(decode_error("any text" + marked), -16777216);
  return marked;
}

class MQWrapperTest : public testing::Test {
 protected:
  LogCapture log;
  MQWrapper& transport = *MQWrapper::getInstance();
};

TEST_F(MQWrapperTest, IsOnePerProcess) {
  EXPECT_EQ(&transport, MQWrapper::getInstance());
}

TEST_F(MQWrapperTest, CreatesSocketsWithKeepAlive) {
  TransportFaults watch;
  const TransportSocket socket(ZMQ_DEALER);
  EXPECT_EQ(making("5"), watch.texts());
}

TEST_F(MQWrapperTest, SenderBindsAndReceiverConnects) {
  TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  const TransportSocket bound(ZMQ_PAIR);
  const TransportSocket connected(ZMQ_PAIR);
  EXPECT_EQ(0, transport.registerSender(bound, endpoint));
  EXPECT_EQ(0, transport.registerReceiver(connected, endpoint));
  tavrik::Message message = messageOf({"hello"});
  EXPECT_EQ(1, transport.send(connected, &message));
  EXPECT_EQ(1, transport.receive(bound, &message, patience));
}

TEST_F(MQWrapperTest, SetsEachOptionByItsNumberAndInItsForm) {
  const TransportSocket socket(ZMQ_SUB);
  TransportFaults faults;
  for (const auto& [option, value] :
       std::vector<std::pair<tavrik::option_t, std::string>>{{tavrik::OPT_SUBSCRIBE, "1"},
                                                             {tavrik::OPT_UNSUBSCRIBE, "1"},
                                                             {tavrik::OPT_SNDHWM, "12abc"},
                                                             {tavrik::OPT_TOS, "8"},
                                                             {tavrik::OPT_RCVHWM, "4294967303"}}) {
    EXPECT_EQ(0, transport.setOption(socket, option, value));
  }
  EXPECT_EQ((Calls{"zmq_setsockopt 6 \"1\"", "zmq_setsockopt 7 \"1\"", "zmq_setsockopt 23 12",
                   "zmq_setsockopt 57 8", "zmq_setsockopt 24 7"}),
            faults.texts());
  const TransportSocket dealer(ZMQ_DEALER);
  EXPECT_EQ(0, transport.setOption(dealer, tavrik::OPT_IDENTITY, "a\0b"s));
  EXPECT_EQ("zmq_setsockopt 5 \"a\0b\""s, faults.texts().back());
}

TEST_F(MQWrapperTest, SetsAnUnknownOptionAsNumber0WhichZeroMQRejects) {
  const TransportSocket socket(ZMQ_SUB);
  const TransportFaults watch;
  for (const char* const value : {"7", "1234"}) {
    EXPECT_LOGGED_FAILURE(
        std::runtime_error,
        "Failed to set ZeroMQ Socket Option : Invalid argument" + zeromq(0x1070000 | EINVAL),
        {member + "setOption() : "},
        transport.setOption(socket, static_cast<tavrik::option_t>(6), value));
  }
  EXPECT_EQ((Calls{"zmq_setsockopt 0 of 1", "zmq_setsockopt 0 of 4"}), watch.texts());
}

TEST_F(MQWrapperTest, DeleteEndptClosesWithoutLingeringAndIgnoresNull) {
  void* const socket = transport.createEndpt(ZMQ_REQ);
  const TransportFaults watch;
  transport.deleteEndpt(socket);
  EXPECT_EQ((Calls{"zmq_setsockopt 17 0", "zmq_close"}), watch.texts());
  EXPECT_NO_THROW(transport.deleteEndpt(nullptr));
  EXPECT_EQ(2U, watch.calls().size());
}

// A call into ZeroMQ that fails.
struct Failure {
  std::string name;
  std::string function;
  std::string text;  // without the code
  int code;
  Calls calls;
  Prefixes prefixes;
  std::function<void(const MQWrapper&, void*)> action;
};

void PrintTo(const Failure& row, std::ostream* out) {
  *out << row.name;
}

const std::vector<Failure> failures = {
    {"CreateSocket",
     "zmq_socket",
     "Failed to create ZeroMQ Socket : " + domain,
     0x1010021,
     {"zmq_socket 3"},
     {createPrefix},
     [](const MQWrapper& transport, void*) { transport.createEndpt(ZMQ_REQ); }},
    {"SetLinger",
     "zmq_setsockopt",
     "Failed to  set ZeroMQ Socket Linger Period : " + domain,
     0x1060021,
     {"zmq_setsockopt 17 0"},
     {},
     [](const MQWrapper& transport, void* socket) { transport.deleteEndpt(socket); }},
    {"CloseSocket",
     "zmq_close",
     "Failed to  close ZeroMQ Socket : " + domain,
     0x10c0021,
     {"zmq_setsockopt 17 0", "zmq_close"},
     {},
     [](const MQWrapper& transport, void* socket) { transport.deleteEndpt(socket); }},
    {"SetOption",
     "zmq_setsockopt",
     "Failed to set ZeroMQ Socket Option : " + domain,
     0x1070021,
     {"zmq_setsockopt 6 \"news\""},
     {member + "setOption() : "},
     [](const MQWrapper& transport, void* socket) {
       transport.setOption(socket, tavrik::OPT_SUBSCRIBE, "news");
     }},
    {"Bind",
     "zmq_bind",
     "Failed to bind ZeroMQ Socket : " + domain + " : End Point : inproc://x",
     0x1090021,
     {"zmq_bind inproc://x"},
     {member + "registerSender() : "},
     [](const MQWrapper& transport, void* socket) {
       transport.registerSender(socket, "inproc://x");
     }},
    {"Connect",
     "zmq_connect",
     "Failed to connect ZeroMQ Socket : " + domain + " : End Point : inproc://x",
     0x10a0021,
     {"zmq_connect inproc://x"},
     {member + "registerReceiver() : "},
     [](const MQWrapper& transport, void* socket) {
       transport.registerReceiver(socket, "inproc://x");
     }},
};

class MQWrapperFailureTest : public MQWrapperTest, public testing::WithParamInterface<Failure> {};

TEST_P(MQWrapperFailureTest, ReportsTheSiteAndTheError) {
  const TransportSocket socket(ZMQ_SUB);
  TransportFaults faults;
  faults.fail(GetParam().function, EDOM);
  EXPECT_LOGGED_FAILURE(std::runtime_error, GetParam().text + zeromq(GetParam().code),
                        GetParam().prefixes, GetParam().action(transport, socket));
  EXPECT_EQ(GetParam().calls, faults.texts());
}

INSTANTIATE_TEST_SUITE_P(Each, MQWrapperFailureTest, testing::ValuesIn(failures),
                         [](const auto& row) { return row.param.name; });

struct KeepAlive {
  std::string name;
  std::size_t calls;  // how many calls creating a socket makes up to this option
  std::string description;
  int site;
  int notClosedSite;
};

void PrintTo(const KeepAlive& row, std::ostream* out) {
  *out << row.name;
}

class KeepAliveFailureTest : public MQWrapperTest, public testing::WithParamInterface<KeepAlive> {
 protected:
  // Lets the option fail, and checks the failure and that the socket was closed once.
  void expectFailure(TransportFaults& faults, const std::string& text) {
    Calls expected = making("5");
    expected.resize(GetParam().calls);
    faults.fail(expected.back(), EDOM);
    expected.emplace_back("zmq_close");
    EXPECT_LOGGED_FAILURE(std::runtime_error, GetParam().description + domain + text,
                          {createPrefix}, transport.createEndpt(ZMQ_DEALER));
    EXPECT_EQ(expected, faults.texts());
    EXPECT_EQ(faults.calls()[1].object, faults.calls().back().object) << "another socket";
  }
};

TEST_P(KeepAliveFailureTest, ClosesTheSocketAndReportsTheErrorFromBeforeTheClose) {
  TransportFaults faults;
  faults.disturb("zmq_close", EXDEV);
  expectFailure(faults, zeromq(GetParam().site | EDOM));
}

TEST_P(KeepAliveFailureTest, ReportsAFailedCloseTooWithItsErrorInTheCode) {
  TransportFaults faults;
  faults.fail("zmq_close", EXDEV);
  expectFailure(faults, "\nFailed to close ZMQ socket : " + crossDevice +
                            zeromq(GetParam().notClosedSite | EXDEV));
}

INSTANTIATE_TEST_SUITE_P(
    Each, KeepAliveFailureTest,
    testing::Values(
        KeepAlive{"Mode", 2, "Failed to configure TCP Keepalive mode on socket : ", 0x1020000,
                  0x1130000},
        KeepAlive{"Idle", 3, "Failed to configure TCP Keepalive idle value on socket : ", 0x1030000,
                  0x1140000},
        KeepAlive{"Interval", 4, "Failed to configure TCP Keepalive interval value on socket : ",
                  0x1040000, 0x1150000},
        KeepAlive{"Count", 5, "Failed to configure TCP Keepalive count on socket : ", 0x1050000,
                  0x1160000}),
    [](const auto& row) { return row.param.name; });

// The first use of the transport in a process. Each test runs in a child process. GoogleTest runs
// these tests before all others, so the transport does not exist yet.
class MQWrapperFirstUseDeathTest : public testing::Test {
 protected:
  template <class Body>
  static void inNewProcess(Body body) {
    EXPECT_EXIT(
        {
          body();
          std::exit(HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
  }

  LogCapture log;
  TransportFaults faults;
};

const std::string constructorPrefix = member + "MQWrapper() : ";

TEST_F(MQWrapperFirstUseDeathTest, MakesOneContextWithOneIoThreadThatItKeeps) {
  inNewProcess([&] {
    MQWrapper* const transport = MQWrapper::getInstance();
    EXPECT_EQ(transport, MQWrapper::getInstance());
    EXPECT_EQ((Calls{"zmq_ctx_new", "zmq_ctx_set 1 1"}), faults.texts());
    delete transport;
    EXPECT_EQ(2U, faults.calls().size());
  });
}

TEST_F(MQWrapperFirstUseDeathTest, WithoutAContextFailsAndTriesAgain) {
  inNewProcess([&] {
    faults.fail("zmq_ctx_new", EMFILE);
    EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to create ZeroMQ Context" + zeromq(0x1000018),
                          {constructorPrefix}, MQWrapper::getInstance());
    EXPECT_NE(nullptr, MQWrapper::getInstance());
    EXPECT_EQ((Calls{"zmq_ctx_new", "zmq_ctx_new", "zmq_ctx_set 1 1"}), faults.texts());
  });
}

TEST_F(MQWrapperFirstUseDeathTest, WithoutIoThreadsFailsKeepsTheContextAndTriesAgain) {
  inNewProcess([&] {
    faults.fail("zmq_ctx_set", EDOM);
    EXPECT_LOGGED_FAILURE(std::runtime_error,
                          "Failed to set ZMQ_IO_THREADS : " + domain + zeromq(0x1120021),
                          {constructorPrefix}, MQWrapper::getInstance());
    EXPECT_NE(nullptr, MQWrapper::getInstance());
    EXPECT_EQ((Calls{"zmq_ctx_new", "zmq_ctx_set 1 1", "zmq_ctx_new", "zmq_ctx_set 1 1"}),
              faults.texts());
    EXPECT_NE(faults.calls()[1].object, faults.calls()[3].object);
    zmq_ctx_term(const_cast<void*>(faults.calls()[1].object));
  });
}

// A log function that calls back into the library, which must not hold the creation lock.
void creatingLogFunction(int, const char*) {
  static bool nested = false;
  if (nested) return;
  nested = true;
  EXPECT_NE(nullptr, MQWrapper::getInstance());
}

TEST_F(MQWrapperFirstUseDeathTest, IsNotLockedWhileItsFailureIsLogged) {
  inNewProcess([&] {
    faults.fail("zmq_ctx_new", EMFILE);
    tavrik_Install_Logfn(creatingLogFunction);
    EXPECT_THROW(MQWrapper::getInstance(), std::runtime_error);
  });
}

TEST_F(MQWrapperFirstUseDeathTest, AllocationFailureReleasesTheLock) {
  inNewProcess([&] {
    const int failed = failEachAllocation([] { MQWrapper::getInstance(); }, [](bool) {});
    EXPECT_GT(failed, 0);
    EXPECT_EQ(
        debugLines(Prefixes(static_cast<std::size_t>(failed), constructorPrefix), "std::bad_alloc"),
        log.lines());
    // The library keeps the contexts of failed attempts; this test releases them.
    const auto made = faults.calls();
    for (const Call& call : made) {
      const bool last = call.object == made.back().object;
      if (call.object != nullptr && !last) zmq_ctx_term(const_cast<void*>(call.object));
    }
  });
}

}  // namespace
