// Death and return: processes of servers, workers and clients are killed, stopped, continued and
// started again at random, links are cut or fall silent, and signals storm in, while a ledger
// accounts for each request. Takes the seconds, and optionally a seed and what the servers do
// wrong. Prints a line a second. The exit status is 1 if an answer is wrong or arrives twice, if a
// request is lost although it is asked again and again, if a client is not served at the end, if a
// process ends by itself, or if one that survives keeps taking more memory or descriptors.
#include "ledger.hpp"
#include "storm.hpp"

#include <support/child_process.hpp>
#include <support/footprint.hpp>
#include <support/relay.hpp>
#include <support/require.hpp>
#include <support/steadiness.hpp>
#include <support/temp_dir.hpp>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

using Command = std::vector<std::string>;

// Keeps in a file what this process and those that it starts print on the error output.
class Errors {
 public:
  explicit Errors(std::string file) : path(std::move(file)) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    support::require(descriptor != -1 && dup2(descriptor, STDERR_FILENO) != -1, "errors");
    close(descriptor);
  }

  std::string text() const {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Whether ZeroMQ has ended a process once more in the way that the guide describes under
  // "Connections".
  bool haveNewAbort() {
    const std::string all = text();
    const std::size_t found = all.find("(src/session_base.cpp:260)", searched);
    if (found == std::string::npos) return false;
    searched = found + 1;
    return true;
  }

 private:
  const std::string path;
  std::size_t searched = 0;
};

// A process that is dead or stopped for a while.
class Process {
 public:
  Process(std::string processName, Command processCommand, bool willSurvive)
      : name(std::move(processName)), survives(willSurvive), command(std::move(processCommand)) {
    start();
  }

  void start() { child = std::make_unique<support::ChildProcess>(command); }

  void kill() {
    child.reset();
    stopped = false;
  }

  void stop() {
    child->signal(SIGSTOP);
    stopped = true;
  }

  void resume() {
    if (stopped) child->signal(SIGCONT);
    stopped = false;
  }

  void heal() {
    if (isDead()) start();
    resume();
  }

  // Returns how many signals it has sent.
  int storm(milliseconds duration) const {
    int sent = 0;
    for (const auto end = steady_clock::now() + duration; steady_clock::now() < end; ++sent) {
      child->signal(deaths::stormSignal);
      std::this_thread::yield();
    }
    return sent;
  }

  bool isDead() const { return child == nullptr; }
  bool isStopped() const { return stopped; }

  bool hasEnded() const { return !isDead() && child->hasEnded(); }

  // Starts one that has ended by itself again, if it was aborted. Returns whether it was.
  bool restartIfAborted() {
    constexpr int aborted = 128 + SIGABRT;
    if (child->wait() != aborted) return false;
    kill();
    steadiness = support::Steadiness(connections);
    start();
    return true;
  }

  void report() {
    if (!survives || stopped) return;
    tell("report");
    read();
    steadiness.add(footprint);
  }

  void tell(const std::string& order) const { child->tell(order); }

  // Reads what it prints after an order.
  void read() { std::istringstream(child->line()) >> footprint; }

  void end() {
    tell("end");
    const int status = child->wait();
    if (status != 0)
      throw std::runtime_error(name + " ended with status " + std::to_string(status));
    if (!steadiness.isKept(name)) throw std::runtime_error(name + " is not steady");
  }

  const std::string name;
  const bool survives;
  support::Footprint footprint;  // the last one, of a process that survives

 private:
  static constexpr long connections = 2L * deaths::clients;  // of a process, broken ones included

  const Command command;
  std::unique_ptr<support::ChildProcess> child;  // null: dead
  bool stopped = false;
  support::Steadiness steadiness{connections};
};

class Trouble {
 public:
  Trouble(std::uint32_t seed, const std::string& sabotage)
      : random(seed), contents(std::to_string(seed)) {
    signal(deaths::stormSignal, SIG_IGN);  // in processes that do not handle it yet
    signal(SIGPIPE, SIG_IGN);              // an order to a process that has just ended
    Command clients = {"clients", ""};
    for (int i = 1; i <= processesOfKind; ++i) {
      const std::string requests = dir.ipcEndpoint();
      const std::string jobs = dir.ipcEndpoint();
      // Without a heartbeat, connections whose other side is gone stay until the process ends.
      const std::string heartbeat = i == 1 ? "200" : "0";
      start(i, {"servers", requests, jobs, heartbeat, sabotage});
      clients.insert(clients.end(), {requests, jobs});
      clients.push_back(relays.emplace_back(requests).endpoint());
      clients.push_back(relays.emplace_back(jobs).endpoint());
    }
    for (int i = 1; i <= processesOfKind; ++i) {
      clients[1] = std::to_string((i - 1) * clientsOfProcess);
      start(i, clients);
    }
  }

  ~Trouble() { std::cout << errors.text(); }
  Trouble(const Trouble&) = delete;
  Trouble& operator=(const Trouble&) = delete;

  // Throws at the first breach.
  void run(std::chrono::seconds duration) {
    begin = steady_clock::now();
    later(milliseconds(0), [this] { strike(); });
    later(lookInterval, [this] { look(); });
    for (;;) {
      const auto [time, action] = *agenda.begin();
      if (time > begin + duration) break;
      std::this_thread::sleep_until(time);
      agenda.erase(agenda.begin());
      action();
    }
    for (support::Relay& relay : relays) relay.setSilent(false);
    for (Process& process : processes) process.heal();
    finish();
  }

 private:
  static constexpr int processesOfKind = 2;  // the first one survives, the others are killed
  static constexpr int clientsOfProcess = processesOfKind * 4;  // directly and through a relay
  static_assert(deaths::clients == processesOfKind * clientsOfProcess);
  static constexpr milliseconds lookInterval{250};

  void start(int number, const Command& role) {
    Command command = {DEATH_AND_RETURN_PROCESS, ledgerPath, contents};
    command.insert(command.end(), role.begin(), role.end());
    processes.emplace_back(role[0] + ' ' + std::to_string(number), command, number == 1);
  }

  void later(milliseconds wait, std::function<void()> action) {
    agenda.emplace(steady_clock::now() + wait, std::move(action));
  }

  int between(int first, int last) {
    return first + static_cast<int>(random() % static_cast<unsigned>(last - first + 1));
  }
  milliseconds time(int first, int last) { return milliseconds(between(first, last)); }

  template <class List>
  auto& oneOf(List& list) {
    return *std::next(list.begin(), between(0, static_cast<int>(list.size()) - 1));
  }

  // One kind after the other, each at a random victim.
  void strike() {
    constexpr std::array<void (Trouble::*)(), 6> kinds = {&Trouble::kill,       &Trouble::stop,
                                                          &Trouble::cutOneSide, &Trouble::silence,
                                                          &Trouble::cutBoth,    &Trouble::storm};
    (this->*kinds[strikes++ % kinds.size()])();
    later(time(20, 140), [this] { strike(); });
  }

  void kill() {
    Process& victim = *std::next(processes.begin(), 1 + 2 * between(0, 1));
    if (victim.isDead() || victim.hasEnded()) return;  // how it ended is still to be explained
    victim.kill();
    ++kills;
    later(between(0, 1) * time(0, 400), [&] { victim.start(); });
  }

  void stop() {
    Process& victim = oneOf(processes);
    if (victim.isDead() || victim.isStopped()) return;
    victim.stop();
    ++stops;
    later(time(20, 900), [&] { victim.resume(); });
  }

  // The server does not notice.
  void cutOneSide() {
    oneOf(relays).dropClients();
    ++cuts;
  }

  void cutBoth() {
    oneOf(relays).dropAll();
    ++cuts;
  }

  void silence() {
    support::Relay& victim = oneOf(relays);
    victim.setSilent(true);
    ++silences;
    later(time(50, 900), [&] { victim.setSilent(false); });
  }

  void storm() {
    const Process& victim = oneOf(processes);
    if (victim.isDead()) return;
    signals += victim.storm(time(20, 100));
  }

  void look() {
    for (Process& process : processes) {
      try {
        if (!process.hasEnded()) process.report();
      } catch (const std::exception&) {
        // It ended before it could report.
      }
      if (process.hasEnded()) explainEndOf(process);
    }
    throwIfFault();
    const auto passed = steady_clock::now() - begin;
    if (passed >= std::chrono::seconds(lines + 1)) {
      lines = std::chrono::duration_cast<std::chrono::seconds>(passed).count();
      print();
    }
    later(lookInterval, [this] { look(); });
  }

  void explainEndOf(Process& process) {
    if (!process.restartIfAborted() || !errors.haveNewAbort()) {
      throw std::runtime_error(process.name + " ended by itself");
    }
    ++aborts;
  }

  void throwIfFault() const {
    if (ledger->faults > 0) throw std::runtime_error("the ledger has faults");
  }

  void print() const {
    long begun = 0;
    for (const deaths::Account& account : ledger->accounts) begun += account.begun;
    support::Footprint survivors;
    for (const Process& process : processes) {
      survivors.memory += process.footprint.memory;
      survivors.descriptors += process.footprint.descriptors;
    }
    std::printf(
        "%5ld s  requests %8ld  kills %4d  stops %4d  cuts %4d  silences %4d  signals %8ld  "
        "survivors: memory %6.1f MB  descriptors %4ld\n",
        lines, begun, kills, stops, cuts, silences, signals,
        static_cast<double>(survivors.memory) / 1024, survivors.descriptors);
    std::fflush(stdout);
  }

  // Every client is served once more, and every request that was ever begun is answered.
  void finish() {
    for (const Process& process : processes) process.tell("finish");
    for (Process& process : processes) process.read();
    throwIfFault();
    long begun = 0;
    long askedAgain = 0;
    long late = 0;
    for (deaths::Account& account : ledger->accounts) {
      if (!account.isBalanced()) throw std::runtime_error("an account is not balanced");
      begun += account.begun;
      askedAgain += account.askedAgain;
      late += account.late;
    }
    for (Process& process : processes) process.end();
    std::cout << kills << " kills, " << stops << " stops, " << cuts << " cuts, " << silences
              << " silent links, " << signals << " signals, " << aborts << " aborts of ZeroMQ's\n"
              << begun << " requests, all answered and right; asked again: " << askedAgain
              << ", of which answered as well: " << late << '\n';
  }

  std::mt19937 random;
  const std::string contents;
  support::TempDir dir;
  Errors errors{dir.path() + "/errors"};
  const std::string ledgerPath = dir.path() + "/ledger";
  deaths::SharedLedger ledger{ledgerPath};
  std::list<support::Relay> relays;
  std::list<Process> processes;
  std::multimap<steady_clock::time_point, std::function<void()>> agenda;
  steady_clock::time_point begin;
  std::size_t strikes = 0;
  int kills = 0;
  int stops = 0;
  int cuts = 0;
  int silences = 0;
  int aborts = 0;
  long signals = 0;
  long lines = 0;  // the second of the last one
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 4) return 2;
  bool good = false;
  try {
    const auto seed =
        argc > 2 ? static_cast<std::uint32_t>(std::stoul(argv[2])) : std::random_device()();
    std::cout << "seed " << seed << std::endl;
    Trouble(seed, argc > 3 ? argv[3] : "none").run(std::chrono::seconds(std::stol(argv[1])));
    good = true;
  } catch (const std::exception& failure) {
    std::cout << failure.what() << '\n';
  }
  if (!support::memoryIsMeaningful) std::cout << "Memory is not judged under a sanitizer.\n";
  std::cout << (good ? "PASSED" : "FAILED") << std::endl;
  return good ? 0 : 1;
}
