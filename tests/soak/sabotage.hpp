// What the servers do wrong on request, so that the tests see the soak notice it.
#ifndef TAVRIK_TESTS_SOAK_SABOTAGE_HPP
#define TAVRIK_TESTS_SOAK_SABOTAGE_HPP

#include <sys/eventfd.h>

#include <atomic>
#include <list>
#include <mutex>
#include <string>
#include <utility>

namespace soak {

class Sabotage {
 public:
  // @p whatToDo is "none", "lost", "wrong", "duplicated", "memory" or "descriptors".
  explicit Sabotage(std::string whatToDo) : kind(std::move(whatToDo)) {}

  // Returns true once, in the middle of the traffic, for the requested kind.
  bool isDue(const char* asked) { return kind == asked && ++calls == 1000; }

  // Keeps memory or a descriptor with each call.
  void waste() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (kind == "memory") memory.emplace_back(10000, 'm');
    if (kind == "descriptors" && ++calls % 100 == 0) eventfd(0, EFD_CLOEXEC);
  }

 private:
  const std::string kind;
  std::atomic<int> calls{0};
  std::mutex mutex;
  std::list<std::string> memory;
};

}  // namespace soak

#endif
