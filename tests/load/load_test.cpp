// Many clients in several processes, and several workers behind one proxy: every reply reaches its
// client unchanged and once. What is lost with a worker can be sent again.
//
// The environment variable TAVRIK_LOAD_SEED, a number, changes the contents and the delays.
#include "proxy_tap.hpp"
#include "request.hpp"
#include "workers.hpp"

#include <support/child_process.hpp>

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <list>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using load::ProxyTap;
using load::RequestId;
using load::Workers;
using support::ChildProcess;

constexpr int processes = 5;
constexpr int threads = 5;  // of each process
constexpr int clientsOfProcess = threads * load::channelsPerThread;
constexpr int clients = processes * clientsOfProcess;
constexpr int workerCount = 8;
constexpr int requestsOfClient = TAVRIK_LOAD_REQUESTS / clients;
constexpr int requests = requestsOfClient * clients;
constexpr int highWaterMark = 1000;
static_assert(clients * load::window < highWaterMark, "no queue may overflow");

constexpr int allReplies = 60000;  // milliseconds, more than all replies take

std::uint32_t seed() {
  const char* const given = std::getenv("TAVRIK_LOAD_SEED");
  return given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10)) : 1;
}

// What the client processes report after an order, added up.
struct Report {
  int sent = 0;
  int answered = 0;
  std::set<RequestId> missing;
};

class Load : public testing::Test {
 protected:
  // Half of the processes connect over ipc, half over tcp.
  Load() {
    for (int i = 0; i < processes; ++i) {
      const std::string& endpoint = i % 2 == 0 ? workers.ipcEndpoint() : workers.tcpEndpoint();
      clientProcesses.emplace_back(std::vector<std::string>{
          LOAD_CLIENT, endpoint, std::to_string(i * clientsOfProcess), std::to_string(threads),
          std::to_string(requestsOfClient), std::to_string(seed())});
    }
  }

  // Has the clients send each request that has no reply yet.
  void ask(int wait) {
    for (ChildProcess& process : clientProcesses) process.tell("ask " + std::to_string(wait));
  }

  Report reports() {
    Report report;
    for (ChildProcess& process : clientProcesses) addReport(process, report);
    return report;
  }

  void expectAllToEnd() {
    for (ChildProcess& process : clientProcesses) {
      process.tell("end");
      EXPECT_EQ(0, process.wait());
    }
  }

  double seconds() const { return static_cast<double>(load::now() - start) / 1e9; }

  testing::ScopedTrace trace{__FILE__, __LINE__, "TAVRIK_LOAD_SEED=" + std::to_string(seed())};
  ProxyTap tap;
  Workers workers{workerCount, seed()};
  std::list<ChildProcess> clientProcesses;
  const std::int64_t start = load::now();

 private:
  static void addReport(ChildProcess& process, Report& report) {
    for (;;) {
      const std::string line = process.line();
      std::istringstream in(line);
      std::string word;
      int first = 0;
      int second = 0;
      in >> word >> first >> second;
      if (word == "missing") {
        report.missing.insert({first, second});
      } else if (word == "report") {
        report.sent += first;
        report.answered += second;
        return;
      } else {
        ADD_FAILURE() << line;
      }
    }
  }
};

TEST_F(Load, EveryReplyReachesItsClientUnchangedAndOnce) {
  ask(allReplies);
  const Report report = reports();
  EXPECT_EQ(requests, report.sent);
  EXPECT_EQ(requests, report.answered);
  EXPECT_EQ(std::set<RequestId>{}, report.missing);

  ASSERT_TRUE(tap.waitFor(requests, requests));
  for (const auto& [request, passed] : tap.requests()) EXPECT_EQ(1, passed.times);
  for (const auto& [request, passed] : tap.replies()) EXPECT_EQ(1, passed.times);
  expectAllToEnd();
  std::cout << clients << " clients, " << workerCount << " workers, " << requests << " requests in "
            << seconds() << " s: " << report.answered << " answered once\n";
}

// Where the missing requests were lost.
struct Losses {
  int queued = 0;    // forwarded by the proxy, not received by any worker
  int received = 0;  // received by a worker that ended without a reply
  int replied = 0;   // the worker had sent the reply, and ended before the proxy had received it
  int late = 0;      // not lost: a worker that still runs has sent the reply
};

class LoadWithLosses : public Load {
 protected:
  // Ends a worker under load and starts another when the proxy no longer forwards to the first.
  void replaceWorker(int worker) {
    workers.end(worker);
    ended.insert(worker);
    // Until the proxy notices, it forwards requests to the worker that has ended.
    constexpr int untilNoticed = requests / 20;
    EXPECT_TRUE(workers.receiveMore(untilNoticed));
    lastReplacement = load::now();
    workers.startOneMore();
  }

  // Finds out where each missing request was lost. A loss that an ended worker does not explain is
  // a failure.
  void explain(const std::set<RequestId>& missing) {
    workers.drain();
    const auto receipts = workers.receipts();
    const auto repliesExpected = std::count_if(
        receipts.begin(), receipts.end(),
        [&](const auto& one) { return one.second.replied && ended.count(one.second.worker) == 0; });
    EXPECT_TRUE(tap.waitFor(requests, static_cast<int>(repliesExpected)));
    const auto forwarded = tap.requests();
    const auto repliesForwarded = tap.replies();
    for (const RequestId& request : missing) {
      SCOPED_TRACE("client " + std::to_string(request.first) + ", request " +
                   std::to_string(request.second));
      ASSERT_EQ(1U, forwarded.count(request)) << "lost between its client and the proxy";
      const auto found = receipts.find(request);
      const bool isReceived = found != receipts.end();
      if (isReceived && ended.count(found->second.worker) == 0) {
        EXPECT_TRUE(found->second.replied);
        EXPECT_EQ(1U, repliesForwarded.count(request)) << "lost by a worker that still runs";
        ++losses.late;
        continue;
      }
      EXPECT_EQ(0U, repliesForwarded.count(request)) << "lost between the proxy and its client";
      EXPECT_LT(forwarded.at(request).sentAt, lastReplacement) << "lost by no worker";
      ++(!isReceived ? losses.queued : found->second.replied ? losses.replied : losses.received);
    }
  }

  Losses losses;
  std::set<int> ended;
  std::int64_t lastReplacement = 0;
};

TEST_F(LoadWithLosses, RequestsThatAreLostWithTheirWorkerCanBeSentAgain) {
  constexpr int bounded = 2000;
  ask(bounded);
  ASSERT_TRUE(workers.receiveMore(requests / 4));
  replaceWorker(0);
  ASSERT_TRUE(workers.receiveMore(requests / 4));
  replaceWorker(1);

  const Report once = reports();
  EXPECT_EQ(requests, once.sent);
  EXPECT_EQ(static_cast<std::size_t>(requests - once.answered), once.missing.size());
  explain(once.missing);
  EXPECT_GT(losses.queued, 0);
  EXPECT_EQ(2, losses.received) << "one for each worker that has ended";

  ask(allReplies);
  const Report again = reports();
  EXPECT_EQ(requests, again.answered);
  EXPECT_EQ(std::set<RequestId>{}, again.missing);
  expectAllToEnd();
  std::cout << clients << " clients, " << requests << " requests, 2 of " << workerCount
            << " workers replaced: " << once.answered << " answered; lost " << losses.queued
            << " in queues, " << losses.received << " received, " << losses.replied
            << " replied to; " << losses.late << " late; " << again.sent - once.sent
            << " sent again, all answered; " << seconds() << " s\n";
}

}  // namespace

extern "C" int zmq_proxy(void* frontend, void* backend, void* capture) {
  return ProxyTap::runProxy(frontend, backend, capture);
}
