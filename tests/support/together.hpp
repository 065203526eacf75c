// Threads that start at the same moment.
#ifndef TAVRIK_TESTS_SUPPORT_TOGETHER_HPP
#define TAVRIK_TESTS_SUPPORT_TOGETHER_HPP

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace support {

// Runs the body in so many threads, which start it together. Each thread gets its number.
inline void together(int count, const std::function<void(int)>& body) {
  std::atomic<int> waiting{0};
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      ++waiting;
      while (waiting < count) std::this_thread::yield();
      body(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace support

#endif
