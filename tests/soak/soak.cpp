// Soaks the library: all three patterns at once, over ipc and tcp, between three processes, with
// every byte checked. Takes the seconds, and optionally what a server does wrong. Prints a line a
// second. The exit status is 1 if a message is wrong, lost or duplicated, or if a process keeps
// taking more memory or descriptors.
#include <support/child_process.hpp>
#include <support/footprint.hpp>
#include <support/steadiness.hpp>
#include <support/temp_dir.hpp>

#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <list>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using std::chrono::steady_clock;
using support::ChildProcess;

constexpr int clientProcesses = 2;
constexpr int subscribersOfFeed = clientProcesses;  // one in each process
constexpr int numbersOfProcess = 2;                 // clients of a process, one over each transport

struct Report {
  long requests = 0;
  long jobs = 0;
  long news = 0;
  long faults = 0;
  support::Footprint footprint;

  Report& operator+=(const Report& other) {
    requests += other.requests;
    jobs += other.jobs;
    news += other.news;
    faults += other.faults;
    footprint.memory += other.footprint.memory;
    footprint.descriptors += other.footprint.descriptors;
    return *this;
  }
};

class Process {
 public:
  Process(std::string processName, const std::vector<std::string>& command)
      : name(std::move(processName)), child(command) {}

  std::string line() { return child.line(); }

  Report report(const std::string& order = "report") {
    child.tell(order);
    Report report;
    std::istringstream(child.line()) >> report.requests >> report.jobs >> report.news >>
        report.faults >> report.footprint;
    steadiness.add(report.footprint);
    return report;
  }

  // Returns whether it ends as it should.
  bool end() {
    child.tell("end");
    return child.wait() == 0;
  }

  bool isSteady() const { return steadiness.isKept(name); }

 private:
  const std::string name;
  ChildProcess child;
  support::Steadiness steadiness;
};

class Soak {
 public:
  explicit Soak(const std::string& sabotage)
      : servers("servers", {SOAK_PROCESS, "servers", dir.path(), std::to_string(subscribersOfFeed),
                            sabotage}) {
    std::istringstream endpoints(servers.line());
    const std::vector<std::string> all{std::istream_iterator<std::string>(endpoints), {}};
    for (int i = 0; i < clientProcesses; ++i) {
      std::vector<std::string> command = {SOAK_PROCESS, "clients",
                                          std::to_string(i * numbersOfProcess)};
      command.insert(command.end(), all.begin(), all.end());
      clients.emplace_back("clients " + std::to_string(i + 1), command);
    }
  }

  // Returns whether all is well.
  bool run(std::chrono::seconds duration) {
    constexpr std::chrono::milliseconds interval(250);
    constexpr int intervalsOfLine = 4;
    const auto start = steady_clock::now();
    auto next = start;
    for (int i = 1; next < start + duration; ++i) {
      next += interval;
      std::this_thread::sleep_until(next);
      Report server;
      Report client;
      report(server, client);
      if (i % intervalsOfLine == 0) print(server, client);
      if (server.faults + client.faults > 0) return false;
    }
    return finish();
  }

 private:
  void report(Report& server, Report& client) {
    server = servers.report();
    for (Process& process : clients) client += process.report();
  }

  void print(const Report& server, const Report& client) {
    ++seconds;
    const auto rate = [](long now, long before) { return now - before; };
    std::printf(
        "%5d s  request/reply %6ld/s  publish/subscribe %6ld/s  router/dealer %6ld/s  memory %6.1f "
        "MB  descriptors %4ld\n",
        seconds, rate(client.requests, last.requests), rate(client.news, last.news),
        rate(client.jobs, last.jobs),
        static_cast<double>(server.footprint.memory + client.footprint.memory) / 1024,
        server.footprint.descriptors + client.footprint.descriptors);
    std::fflush(stdout);
    last = client;
  }

  // Stops the publishers, then the clients, then the servers, so that nothing is under way when its
  // receiver stops.
  bool finish() {
    Report server = servers.report("finish");
    Report client;
    for (Process& process : clients) client += process.report("finish");
    server = servers.report();
    bool good = server.faults + client.faults == 0;
    good &= isSame("requests", server.requests, client.requests);
    good &= isSame("jobs", server.jobs, client.jobs);
    good &= isSame("news", server.news * subscribersOfFeed, client.news);
    good &= servers.isSteady() && servers.end();
    for (Process& process : clients) good &= process.isSteady() && process.end();
    return good;
  }

  // Prints a total. Returns whether there was traffic, and both sides counted the same.
  static bool isSame(const char* what, long servers, long clients) {
    const bool same = clients > 0 && servers == clients;
    std::cout << what << ": " << clients << (same ? ", each once and unchanged\n" : "");
    if (!same) std::cout << " received by clients, " << servers << " by servers\n";
    return same;
  }

  support::TempDir dir;
  Process servers;
  std::list<Process> clients;
  Report last;
  int seconds = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) return 2;
  bool good = false;
  try {
    good = Soak(argc == 3 ? argv[2] : "none").run(std::chrono::seconds(std::stol(argv[1])));
  } catch (const std::exception& failure) {
    std::cout << failure.what() << '\n';
  }
  if (!support::memoryIsMeaningful) std::cout << "Memory is not judged under a sanitizer.\n";
  std::cout << (good ? "PASSED" : "FAILED") << std::endl;
  return good ? 0 : 1;
}
