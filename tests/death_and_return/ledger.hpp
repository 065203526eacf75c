// The ledger of every request. It is a file that all processes map, so it survives each of them.
#ifndef TAVRIK_TESTS_DEATH_AND_RETURN_LEDGER_HPP
#define TAVRIK_TESTS_DEATH_AND_RETURN_LEDGER_HPP

#include <support/require.hpp>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iostream>
#include <iterator>
#include <set>
#include <string>

namespace deaths {

constexpr int clients = 16;

struct Request {
  std::atomic<int> tries;
  std::atomic<int> answers;
};

// The requests of a client, by number. Only the client writes to it.
struct Account {
  static constexpr int kept = 1 << 16;  // the last ones

  Request& at(int number) { return requests[static_cast<std::size_t>(number % kept)]; }

  // Returns the number of the new request.
  int begin() {
    at(begun).tries = 0;
    at(begun).answers = 0;
    return begun++;
  }

  std::set<int> unanswered() {
    std::set<int> numbers;
    for (int number = std::max(0, begun - kept); number < begun; ++number) {
      if (at(number).answers == 0) numbers.insert(number);
    }
    return numbers;
  }

  // Whether the client was served, every request was answered, and none more often than it was
  // asked.
  bool isBalanced() {
    if (begun == 0 || !unanswered().empty()) return false;
    const auto isExplained = [](const Request& one) { return one.answers <= one.tries; };
    return std::all_of(std::begin(requests), std::end(requests), isExplained);
  }

  std::atomic<int> begun;
  std::atomic<int> channels;     // that the client has used, each under a name of its own
  std::atomic<long> askedAgain;  // tries beyond the first of each request
  std::atomic<long> late;        // answers beyond the first of each request
  Request requests[kept];
};

struct Ledger {
  std::atomic<long> faults;
  Account accounts[clients];

  Account& of(int client) { return accounts[static_cast<std::size_t>(client)]; }

  void addFault(const std::string& text) {
    constexpr long shown = 20;
    // In one write, because several processes print to the same terminal.
    if (++faults <= shown) std::cerr << "fault: " + text + '\n';
  }
};

// The ledger in a file. A new one is empty.
class SharedLedger {
 public:
  explicit SharedLedger(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    support::require(file != -1 && ftruncate(file, sizeof(Ledger)) == 0, "ledger");
    // All pages at once, so that they are no growth of the process.
    void* const address =
        mmap(nullptr, sizeof(Ledger), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0);
    close(file);
    support::require(address != MAP_FAILED, "mmap");
    ledger = static_cast<Ledger*>(address);
  }
  ~SharedLedger() { munmap(ledger, sizeof(Ledger)); }
  SharedLedger(const SharedLedger&) = delete;
  SharedLedger& operator=(const SharedLedger&) = delete;

  Ledger& operator*() const { return *ledger; }
  Ledger* operator->() const { return ledger; }

 private:
  Ledger* ledger;
};

static_assert(std::atomic<long>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "processes share it");

}  // namespace deaths

#endif
