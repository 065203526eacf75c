// Many clients in several processes, several workers behind one proxy: every reply reaches its
// sender whole and once; what is lost when workers go, and how the clients go on.
//
// TAVRIK_LOAD_SEED, a number, changes the contents and the delays.
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

using load::End;
using load::ProxyTap;
using load::Receipt;
using load::RequestId;
using load::Workers;
using support::ChildProcess;

constexpr int processes = 5;
constexpr int threads = 5;  // of each
constexpr int clientsOfProcess = threads * load::channelsPerThread;
constexpr int clients = processes * clientsOfProcess;
constexpr int workerCount = 8;
constexpr int requestsOfClient = TAVRIK_LOAD_REQUESTS / clients;
constexpr int requests = requestsOfClient * clients;
constexpr int queueLimit = 1000;
static_assert(clients * load::window < queueLimit, "no queue may overflow");

std::uint32_t seed() {
  const char* const given = std::getenv("TAVRIK_LOAD_SEED");
  return given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10)) : 1;
}

// What a process of clients has to say after an order.
struct Report {
  int sent = 0;
  int answered = 0;
  int repeated = 0;
  std::uint64_t bytes = 0;
  std::map<RequestId, std::int64_t> missing;  // and when each was sent
  std::vector<std::string> faults;
};

Report sumOf(const std::vector<Report>& reports) {
  Report sum;
  for (const Report& one : reports) {
    sum.sent += one.sent;
    sum.answered += one.answered;
    sum.repeated += one.repeated;
    sum.bytes += one.bytes;
    sum.missing.insert(one.missing.begin(), one.missing.end());
  }
  return sum;
}

Report readReport(ChildProcess& process) {
  Report report;
  for (;;) {
    const std::string line = process.line();
    std::istringstream in(line);
    std::string word;
    in >> word;
    if (word == "missing") {
      RequestId request;
      in >> request.first >> request.second;
      in >> report.missing[request];
    } else if (word == "report") {
      in >> report.sent >> report.answered >> report.repeated >> report.bytes;
      return report;
    } else {
      report.faults.push_back(line);
    }
  }
}

class Load : public testing::Test {
 protected:
  // Half of the processes come over ipc, half over tcp.
  void startClients(int waitForAnswer) {
    for (int i = 0; i < processes; ++i) {
      const std::string& endpoint = i % 2 == 0 ? workers.ipcEndpoint() : workers.tcpEndpoint();
      clientProcesses.emplace_back(std::vector<std::string>{
          LOAD_CLIENT, endpoint, std::to_string(i * clientsOfProcess), std::to_string(threads),
          std::to_string(requestsOfClient), std::to_string(waitForAnswer), std::to_string(seed())});
    }
  }

  void tell(const std::string& order) {
    for (ChildProcess& process : clientProcesses) process.tell(order);
  }

  std::vector<Report> readReports() {
    std::vector<Report> reports;
    for (ChildProcess& process : clientProcesses) reports.push_back(readReport(process));
    for (const Report& report : reports) {
      for (const std::string& fault : report.faults) ADD_FAILURE() << fault;
    }
    return reports;
  }

  void expectAllToEndWell() {
    for (ChildProcess& process : clientProcesses) EXPECT_EQ(0, process.wait());
  }

  testing::ScopedTrace trace{__FILE__, __LINE__, "TAVRIK_LOAD_SEED=" + std::to_string(seed())};
  ProxyTap tap;
  Workers workers{workerCount, seed()};
  std::list<ChildProcess> clientProcesses;
  const std::int64_t start = load::now();

  double seconds() const { return static_cast<double>(load::now() - start) / 1e9; }
};

TEST_F(Load, every_reply_reaches_its_sender_whole_and_once) {
  constexpr int longEnough = 60000;
  startClients(longEnough);
  tell("go");
  const Report report = sumOf(readReports());
  EXPECT_EQ(requests, report.sent);
  EXPECT_EQ(requests, report.answered);
  EXPECT_EQ(0, report.repeated);
  EXPECT_EQ(0U, report.missing.size());

  ASSERT_TRUE(tap.waitFor(requests, requests));
  for (const auto& [request, count] : tap.requests()) EXPECT_EQ(1, count);
  for (const auto& [request, count] : tap.answers()) EXPECT_EQ(1, count);
  for (const auto& [request, receipts] : workers.ledger.receipts()) EXPECT_EQ(1U, receipts.size());

  std::cout << clients << " clients, " << workerCount << " workers, " << requests << " requests of "
            << report.bytes / 1000000 << " MB in " << seconds() << " s: " << report.answered
            << " answered once\n";
  tell("end 0");
  EXPECT_EQ(requests, sumOf(readReports()).answered) << "nothing came late";
  expectAllToEndWell();
}

// Where the missing requests are.
struct Losses {
  int queued = 0;            // passed the proxy and reached no worker
  int inHand = 0;            // of a worker that went
  int unsent = 0;            // answered by a worker that went, whose answer did not reach the proxy
  std::set<RequestId> late;  // not lost: a living worker has it or has answered it

  int lost() const { return queued + inHand + unsent; }
};

class LoadWithLosses : public Load {
 protected:
  // Ends a worker in the middle of the traffic, and starts another a little later.
  void replaceWorker(std::size_t place, End how) {
    goneWorkers.insert(workers.end(place, how));
    // By then the proxy has long noticed. Until it does, it hands requests to the one that went.
    const std::size_t later = workers.ledger.receivedSoFar() + requests / 20;
    EXPECT_TRUE(workers.ledger.waitUntilReceived(later));
    lastReplacement = load::now();
    workers.startAgain(place);
  }

  // Finds out where each missing request is. What is lost and neither of the workers that went can
  // have had is a failure. To be called when nothing moves any more.
  Losses attribute(const std::map<RequestId, std::int64_t>& missing) {
    const auto requestsPassed = tap.requests();
    const auto answersPassed = tap.answers();
    const auto receipts = workers.ledger.receipts();
    Losses losses;
    for (const auto& [request, sentAt] : missing) {
      SCOPED_TRACE("client " + std::to_string(request.first) + ", request " +
                   std::to_string(request.second));
      EXPECT_EQ(1U, requestsPassed.count(request)) << "lost on the way to the proxy";
      const auto found = receipts.find(request);
      const Receipt* const receipt = found != receipts.end() ? &found->second.front() : nullptr;
      if (receipt != nullptr && goneWorkers.count(receipt->worker) == 0) {
        EXPECT_EQ(receipt->answered, answersPassed.count(request) == 1)
            << "lost by a worker that is still there";
        losses.late.insert(request);
        continue;
      }
      EXPECT_LT(sentAt, lastReplacement) << "sent when both workers had been replaced";
      EXPECT_EQ(0U, answersPassed.count(request)) << "lost on the way back from the proxy";
      if (receipt == nullptr) {
        ++losses.queued;  // in the queue of a worker that went: the others' are empty
      } else {
        ++(receipt->answered ? losses.unsent : losses.inHand);
      }
    }
    return losses;
  }

  std::set<int> goneWorkers;
  std::int64_t lastReplacement = 0;
};

TEST_F(LoadWithLosses, what_went_with_its_worker_is_asked_again_until_all_is_answered) {
  constexpr int bounded = 2000;
  startClients(bounded);
  workers.keepOneAside(2);
  tell("go");
  ASSERT_TRUE(workers.ledger.waitUntilReceived(requests / 4));
  replaceWorker(0, End::silent);
  ASSERT_TRUE(workers.ledger.waitUntilReceived(requests / 2));
  replaceWorker(1, End::talking);

  const std::vector<Report> onceByProcess = readReports();
  const Report once = sumOf(onceByProcess);
  EXPECT_EQ(requests, once.sent);
  EXPECT_EQ(0, once.repeated) << "asked once, answered once";
  EXPECT_EQ(static_cast<std::size_t>(requests - once.answered), once.missing.size());
  ASSERT_TRUE(workers.waitUntilIdle());
  ASSERT_TRUE(tap.waitFor(requests, static_cast<std::size_t>(once.answered)));
  const Losses losses = attribute(once.missing);
  EXPECT_GT(losses.queued, 0);
  EXPECT_EQ(1, losses.inHand);
  ASSERT_TRUE(workers.keptAside());
  EXPECT_EQ(1U, losses.late.count(*workers.keptAside()));

  tell("again");
  const std::vector<Report> againByProcess = readReports();
  const Report again = sumOf(againByProcess);
  EXPECT_EQ(requests, again.answered);
  EXPECT_EQ(0U, again.missing.size());

  // Every repetition and every late answer arrives, one of them for each missing request as the
  // answer and the others as repeated.
  auto process = clientProcesses.begin();
  int repeated = 0;
  for (std::size_t i = 0; i < processes; ++i, ++process) {
    const auto& missing = onceByProcess[i].missing;
    const auto isLate = [&](const auto& one) { return losses.late.count(one.first) > 0; };
    const auto late = std::count_if(missing.begin(), missing.end(), isLate);
    const int askedAgain = againByProcess[i].sent - onceByProcess[i].sent;
    const int toRepeat = askedAgain + static_cast<int>(late) - static_cast<int>(missing.size());
    process->tell("end " + std::to_string(toRepeat));
    repeated += toRepeat;
  }
  EXPECT_GE(repeated, 1) << "what was kept aside is answered twice";
  EXPECT_EQ(repeated, sumOf(readReports()).repeated);
  expectAllToEndWell();

  std::cout << clients << " clients, " << requests << " requests, 2 of " << workerCount
            << " workers gone and replaced: " << once.answered << " answered once, "
            << losses.lost() << " lost (" << losses.queued << " in the queues of the two, "
            << losses.inHand << " in hand, " << losses.unsent << " answered and not handed on), "
            << losses.late.size() << " late; " << again.sent - once.sent
            << " asked again, all answered, " << repeated << " of them twice; " << seconds()
            << " s\n";
}

}  // namespace
