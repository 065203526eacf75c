// Every point of failure of every operation: each allocation and each call of ZeroMQ that an action
// makes fails once. The tests print how many points they visited.
#include "expected.hpp"
#include "operation.hpp"

#include <support/counted_handle.hpp>
#include <support/failing_allocator.hpp>
#include <support/failing_malloc.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <tavrik/error.hpp>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <iostream>
#include <new>
#include <stdexcept>
#include <typeinfo>

namespace points {
namespace {

using support::AllocationFailure;
using support::Call;
using support::debugLines;
using support::Log;
using support::LogCapture;
using support::partsOf;
using support::TransportFaults;
using CallList = std::vector<Call>;

constexpr int outOfMemory = -3;
constexpr int noThread = -30;

enum class Face { classes, c };

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

int countWorked(const CallList& calls, const std::string& start) {
  return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&](const Call& call) {
    return call.worked && startsWith(call.text, start);
  }));
}

int openSockets(const CallList& calls) {
  return countWorked(calls, "zmq_socket ") - countWorked(calls, "zmq_close");
}
int openFrames(const CallList& calls) {
  return countWorked(calls, "zmq_msg_init") - countWorked(calls, "zmq_msg_close");
}

struct Outcome {
  int result = 0;      // the code, if the action threw
  std::string type{};  // of the exception
  std::string text{};
};

Outcome run(const Action& action, Scene& scene) {
  Outcome outcome;
  try {
    outcome.result = action(scene);
  } catch (const std::exception& failure) {
    const support::AllocationTruce truce;
    outcome.type = typeid(failure).name();
    outcome.text = failure.what();
    const bool exhausted = dynamic_cast<const std::bad_alloc*>(&failure) != nullptr;
    outcome.result = exhausted ? outOfMemory : decode_error(outcome.text);
  }
  return outcome;
}

// One run of an operation on a new object, and what has to hold in every run.
class Trial {
 public:
  Trial(const Operation& tried, Face face)
      : operation(tried), inC(face == Face::c), action(inC ? tried.inC : tried.inClasses) {
    // ZeroMQ destroys sockets in a thread of its own, and a context has a limited number.
    static int trials = 0;
    if (++trials % 20 == 0) Scene::settleDeletions();
    scene = operation.prepare();
    wasConnected = scene->channel != nullptr && scene->isConnected();
    state = scene->state();
    parts = partsOf(scene->message);
    identity = support::identityOf(scene->message);
    first = faults.calls().size();
    if (operation.firstAttemptFails) faults.fail("zmq_msg_recv", EAGAIN);
    LogCapture::clear();
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  ~Trial() {
    scene.reset();
    const int open = openSockets(faults.calls());
    EXPECT_TRUE(open == lastingSockets || (mayLeaveSocket && open == 1)) << open << " sockets";
    EXPECT_EQ(0, openFrames(faults.calls())) << "frames";
    if (notClosed == nullptr) return;
    const int linger = 0;
    zmq_setsockopt(notClosed, ZMQ_LINGER, &linger, sizeof linger);
    zmq_close(notClosed);
  }

  void go() {
    outcome = run(action, *scene);
    const support::AllocationTruce truce;
    log = LogCapture::lines();
    calls.assign(faults.calls().begin() + static_cast<long>(first), faults.calls().end());
  }

  const CallList& made() const { return calls; }
  void fail(std::size_t call, int error) { faults.fail("", error, static_cast<int>(call) + 1); }

  void expectResult() {
    EXPECT_EQ(operation.result, outcome.result) << outcome.text;
    if (operation.startsProxy) lastingSockets = 2;
  }

  // An allocation of the action failed.
  void expectOutOfMemory() {
    const bool isRefused = operation.result < 0 && outcome.result == operation.result;
    const bool hasNoThread = operation.startsProxy && outcome.result == noThread;
    const bool hasNoBuffer = !log.empty() && !operation.noBufferText.empty() &&
                             log.back().text.find(operation.noBufferText) != std::string::npos;
    if (hasNoBuffer) {
      EXPECT_EQ(outOfMemory, outcome.result);
      if (!inC) {
        EXPECT_EQ(operation.noBufferText, outcome.text);
      }
      support::Prefixes prefixes{operation.members.back()};
      if (inC) prefixes.push_back("Error : " + operation.function + "() : ");
      EXPECT_EQ(debugLines(prefixes, operation.noBufferText), log);
    } else if (!isRefused && !hasNoThread) {
      EXPECT_EQ(outOfMemory, outcome.result) << outcome.text;
      if (!inC) {
        EXPECT_EQ("std::bad_alloc", outcome.text);
      }
      for (const support::LogLine& line : log) {
        EXPECT_EQ(TAVRIK_LOG_DEBUG, line.level) << line;
        EXPECT_TRUE(startsWith(line.text, "Error : Tavrik::")) << line;
        EXPECT_NE(std::string::npos, line.text.find("() : std::bad_alloc")) << line;
      }
    }
    expectObject({}, true);
  }

  // An allocation inside ZeroMQ failed, and ZeroMQ has not aborted.
  void expectReported() {
    if (outcome.result == outOfMemory) {
      EXPECT_EQ("std::bad_alloc", outcome.text);
    } else if (outcome.result != operation.result) {
      EXPECT_EQ(ENOMEM, -outcome.result & 0xffff) << outcome.text;
    }
    EXPECT_EQ(parts, partsOf(scene->message));
    mayLeaveSocket = true;
    const bool isClosed = std::any_of(calls.begin(), calls.end(), [](const Call& call) {
      return startsWith(call.text, "zmq_setsockopt 17");
    });
    EXPECT_TRUE(isClosed || !operation.failsQuietly) << "a deletion closes its socket";
  }

  // A call of the action failed.
  void expectFailure(std::size_t index, int error) {
    ASSERT_LT(index, calls.size());
    const Call& failed = calls[index];
    const Exempt* const exempt = exemption(index, error);
    if (exempt != nullptr) {
      EXPECT_EQ(exempt->result, outcome.result) << outcome.text;
      Log lines;
      if (!exempt->info.empty()) lines.push_back(support::infoLine(exempt->info));
      EXPECT_EQ(lines, log);
    } else {
      expectReport(Expected(failed.text, index > 0 ? calls[index - 1].text : "", error));
    }
    if (operation.failsQuietly) expectLeftOpen(failed, exempt == nullptr, error);
    expectObject(failed.text, exempt == nullptr || exempt->result != operation.result);
  }

 private:
  // The code, the text and the log lines of a failure of ZeroMQ.
  void expectReport(const Expected& expected) {
    support::Prefixes prefixes;
    if (!expected.memberPrefix.empty()) prefixes.push_back(expected.memberPrefix);
    if (expected.connecting && scene->role >= ASYNC_DEALER_CLIENT) {
      prefixes.emplace_back("Error : Tavrik::AsyncRouterDealerMsgPattern::connectEndpoint() : ");
    }
    prefixes.insert(prefixes.end(), operation.members.begin(), operation.members.end());
    Log lines = debugLines(prefixes, expected.text);
    if (inC && !operation.function.empty()) {
      const std::string line = "Error : " + operation.function + "() : " + expected.text;
      lines.push_back(operation.makesObject ? support::errorLine(line) : support::debugLine(line));
    }
    EXPECT_EQ(lines, log);
    if (operation.failsQuietly || (operation.makesObject && inC)) {
      EXPECT_EQ(operation.failsQuietly ? operation.result : outOfMemory, outcome.result);
      return;
    }
    EXPECT_EQ(expected.code, outcome.result) << outcome.text;
    if (inC) return;
    EXPECT_EQ(expected.text, outcome.text);
    EXPECT_EQ(typeid(std::runtime_error).name(), outcome.type);
  }

  // A socket that could not be closed stays open, and the monitor of one that still exists.
  void expectLeftOpen(const Call& failed, bool isLogged, int error) {
    const bool isClosing =
        failed.text == "zmq_close" || startsWith(failed.text, "zmq_setsockopt 17");
    if (isClosing) {
      notClosed = const_cast<void*>(failed.object);
      ++lastingSockets;
    }
    const bool hasMonitor = calls.front().text == "zmq_socket 0";
    const bool isPoll = startsWith(failed.text, "zmq_poll") && error != EINTR;
    if (hasMonitor && ((isClosing && isLogged) || isPoll)) ++lastingSockets;
  }

  // The objects after a failure.
  void expectObject(const std::string& call, bool failed) {
    EXPECT_EQ(parts, partsOf(scene->message));
    if (operation.failsQuietly) return;
    if (scene->channel == nullptr) {
      EXPECT_EQ(operation.result, run(action, *scene).result) << "the second time";
      return;
    }
    EXPECT_EQ(identity, support::identityOf(scene->message));
    const bool connects = scene->isConnected() != wasConnected;
    const bool isLate = startsWith(call, "zmq_connect") || startsWith(call, "zmq_poll");
    if (operation.startsProxy && isLate) lastingSockets = 2;
    EXPECT_EQ((connects ? 1 : 0) + lastingSockets, openSockets(calls));
    if (!failed) return;
    if (connects) return expectCountsAsConnected();
    if (call.empty()) {
      EXPECT_EQ(state, scene->state());
    }
    if (operation.afterwards) {
      const Failed done{call, countWorked(calls, "zmq_msg_send"),
                        countWorked(calls, "zmq_msg_recv"),
                        countWorked(calls, "zmq_getsockopt 13")};
      operation.afterwards(*scene, done, action);
    } else {
      // Each proxy stays until the process ends, so not every point starts one.
      if (operation.startsProxy && !call.empty()) return;
      const Outcome again = run(action, *scene);
      EXPECT_EQ(operation.result, again.result) << "the second time: " << again.text;
      if (operation.startsProxy) lastingSockets = 2;
    }
  }

  // What is set before connecting is refused.
  void expectCountsAsConnected() {
    const support::AllocationTruce truce;  // GoogleTest keeps what it allocates here
    EXPECT_FAILURE(std::logic_error, "channel is already connected1tavrik:-11",
                   scene->channel->setProperty(CHANNEL_TOS_PRIORITY, "1"));
    if (!operation.startsProxy || lastingSockets > 0) return;
    EXPECT_FAILURE(std::logic_error, "Thread entry not found in proxythreadstavrik:-29",
                   scene->channel->receive(scene->buffer, &scene->other, 0));
  }

  const Exempt* exemption(std::size_t index, int error) const {
    for (const Exempt& exempt : operation.exempt) {
      if (!startsWith(calls[index].text, exempt.call)) continue;
      if (exempt.error != 0 && exempt.error != error) continue;
      const auto end = calls.begin() + static_cast<long>(index) + 1;
      const auto nth = std::count_if(
          calls.begin(), end, [&](const Call& call) { return startsWith(call.text, exempt.call); });
      if (nth == exempt.nth) return &exempt;
    }
    return nullptr;
  }

  const Operation& operation;
  const bool inC;
  const Action& action;
  TransportFaults faults;
  std::unique_ptr<Scene> scene;
  bool wasConnected = false;
  Parts state;
  Parts parts;
  std::string identity;
  std::size_t first = 0;
  Outcome outcome;
  Log log;
  CallList calls;  // of the action
  void* notClosed = nullptr;
  int lastingSockets = 0;
  bool mayLeaveSocket = false;  // ZeroMQ could not close one, or does not destroy it
};

// What an operation keeps on purpose after a failure: the record of a proxy that was not started,
// or the list of monitors whose socket still exists.
std::size_t keptBlocks(const Operation& operation) {
  if (operation.startsProxy) return 2;
  return operation.failsQuietly ? 1 : 0;
}

// Fails each allocation of the action, once alone and once with all that follow. Returns how many
// points there are.
int visitAllocations(const Operation& operation, Face face) {
  {
    Trial trial(operation, face);  // allocates what the library keeps
    trial.go();
    trial.expectResult();
  }
  int points = 0;
  for (const auto span : {AllocationFailure::Span::one, AllocationFailure::Span::all}) {
    for (int nth = 1;; ++nth, ++points) {
      SCOPED_TRACE("allocation " + std::to_string(nth));
      const support::Blocks blocks;
      bool happened = false;
      {
        Trial trial(operation, face);
        {
          const AllocationFailure failure(nth, span);
          trial.go();
          happened = failure.happened();
        }
        happened ? trial.expectOutOfMemory() : trial.expectResult();
      }
      if (!happened) break;
      EXPECT_LE(support::Blocks::left(), keptBlocks(operation)) << "blocks";
    }
  }
  return points;
}

// Fails each call of the action with each plausible error. Returns how many points there are.
int visitCalls(const Operation& operation, Face face) {
  CallList calls;
  {
    Trial trial(operation, face);
    trial.go();
    trial.expectResult();
    calls = trial.made();
  }
  int points = 0;
  for (std::size_t index = 0; index < calls.size(); ++index) {
    for (const int error : plausibleErrors(calls[index].text)) {
      SCOPED_TRACE(calls[index].text + ", call " + std::to_string(index) + ": " +
                   zmq_strerror(error));
      const support::Blocks blocks;
      {
        Trial trial(operation, face);
        trial.fail(index, error);
        trial.go();
        trial.expectFailure(index, error);
      }
      // A failure to connect to a proxy leaves the proxy.
      if (!operation.startsProxy) {
        EXPECT_LE(support::Blocks::left(), keptBlocks(operation)) << "blocks";
      }
      ++points;
    }
  }
  return points;
}

enum Ending { survived, failed, notReached, endedByZeromq, crashed, numberOfEndings };

void onFatalSignal(int) {
  const bool isLibrary = getpid() == gettid() && support::isOutsideZeromq();
  _exit(isLibrary ? crashed : endedByZeromq);
}

// Runs the body in a child process. ZeroMQ's context exists only there: its threads do not survive
// fork(). The body returns whether it has reached its point. A failure of the test before makes
// every child fail.
template <class Body>
Ending inChild(Body body) {
  std::cout << std::flush;
  const pid_t child = fork();
  if (child == 0) {
    // ZeroMQ prints why it aborts.
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    for (const int fatal : {SIGABRT, SIGSEGV, SIGBUS}) std::signal(fatal, onFatalSignal);
    alarm(60);  // ends a child that hangs
    const bool reached = body();
    std::cout << std::flush;
    _exit(testing::Test::HasFailure() ? failed : reached ? survived : notReached);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status)) return static_cast<Ending>(WEXITSTATUS(status));
  // ZeroMQ's threads block the signals, so one of them was in the way of the handler.
  return WTERMSIG(status) == SIGALRM ? crashed : endedByZeromq;
}

// Each test in here needs a process without a context.
class FirstUseTest : public testing::Test {
 protected:
  void SetUp() override {
    if (support::contextsMade() > 0) GTEST_SKIP() << "needs a process of its own";
  }
  const support::LogCapture capture;
};

TEST_F(FirstUseTest, EveryAllocationInsideZeromqFailsThatItSurvives) {
  int endings[numberOfEndings] = {};
  for (const Operation& operation : allOperations()) {
    if (!operation.inClasses || operation.startsProxy) continue;
    // What differs with every property is options of sockets.
    if (operation.name.find(", with every property") != std::string::npos) continue;
    Ending ending = survived;
    for (int nth = 1; ending == survived || ending == endedByZeromq; ++nth) {
      SCOPED_TRACE(operation.name + ": allocation " + std::to_string(nth));
      ending = inChild([&] {
        if (startsWith(operation.name, "worker")) Scene(ASYNC_DEALER_WORKER).joinProxy();
        Trial trial(operation, Face::classes);
        bool happened = false;
        {
          const AllocationFailure failure(nth, AllocationFailure::Span::one,
                                          AllocationFailure::Maker::zeromq);
          trial.go();
          happened = failure.happened();
        }
        if (happened) trial.expectReported();
        return happened;
      });
      ++endings[ending];
      ASSERT_TRUE(ending != failed && ending != crashed);
    }
  }
  std::cout << endings[survived] << " allocations inside ZeroMQ failed once; "
            << endings[endedByZeromq] << " others end the process\n";
  EXPECT_GE(endings[survived], 100);
}

// The first channel of a process creates the context.
TEST_F(FirstUseTest, EveryPointOfTheFirstChannelFails) {
  const std::vector<Operation> all = allOperations();
  const auto creation = std::find_if(
      all.begin(), all.end(), [](const Operation& operation) { return operation.makesObject; });
  int points = 0;
  for (const Face face : {Face::classes, Face::c}) {
    for (std::size_t index = 0; index < 2; ++index) {
      const std::string call = index == 0 ? "zmq_ctx_new" : "zmq_ctx_set";
      for (const int error : plausibleErrors(call)) {
        SCOPED_TRACE(call + ": " + zmq_strerror(error));
        EXPECT_EQ(survived, inChild([&] {
                    Trial trial(*creation, face);
                    trial.fail(index, error);
                    trial.go();
                    trial.expectFailure(index, error);
                    return true;
                  }));
        ++points;
      }
    }
    Ending ending = survived;
    for (int nth = 1; ending == survived; ++nth, ++points) {
      SCOPED_TRACE("allocation " + std::to_string(nth));
      ending = inChild([&] {
        Trial trial(*creation, face);
        bool happened = false;
        {
          const AllocationFailure failure(nth);
          trial.go();
          happened = failure.happened();
        }
        happened ? trial.expectOutOfMemory() : trial.expectResult();
        return happened;
      });
    }
    EXPECT_EQ(notReached, ending);
    --points;
  }
  std::cout << points << " points of the first channel failed once\n";
  EXPECT_GE(points, 20);
}

class PointsTest : public testing::TestWithParam<Face> {
 protected:
  // The proxy that the scenes share belongs to none of them.
  PointsTest() { Scene(ASYNC_DEALER_WORKER).joinProxy(); }

  const support::LogCapture capture;
};

TEST_P(PointsTest, EveryAllocationAndEveryCallFails) {
  int operations = 0;
  int allocations = 0;
  int calls = 0;
  for (const Operation& operation : allOperations()) {
    if (!(GetParam() == Face::c ? operation.inC : operation.inClasses)) continue;
    SCOPED_TRACE(operation.name);
    const int allocating = visitAllocations(operation, GetParam());
    const int calling = visitCalls(operation, GetParam());
    EXPECT_EQ(operation.hasPoints, allocating + calling > 0);
    allocations += allocating;
    calls += calling;
    ++operations;
  }
  std::cout << allocations << " allocations and " << calls << " calls of ZeroMQ of " << operations
            << " operations failed once\n";
  EXPECT_GE(allocations, 2000);
  EXPECT_GE(calls, 2000);
}

INSTANTIATE_TEST_SUITE_P(Of, PointsTest, testing::Values(Face::classes, Face::c),
                         [](const auto& face) {
                           return face.param == Face::c ? "TheCInterface" : "TheClasses";
                         });

}  // namespace
}  // namespace points
