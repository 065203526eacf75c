#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <tavrik/mutex_ra.hpp>

#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace {

using support::debugLine;
using support::Log;
using support::LogCapture;
using tavrik::MutexRA;

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

// A default mutex answers EBUSY to its holder too, so one thread is enough to look.
bool isLocked() {
  if (pthread_mutex_trylock(&mutex) == EBUSY) return true;
  pthread_mutex_unlock(&mutex);
  return false;
}

TEST(MutexRA, holds_the_mutex_while_it_lives) {
  {
    const MutexRA guard(&mutex);
    EXPECT_TRUE(isLocked());
  }
  EXPECT_FALSE(isLocked());
}

TEST(MutexRA, releases_the_mutex_when_an_exception_passes) {
  try {
    const MutexRA guard(&mutex);
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
    EXPECT_FALSE(isLocked());
  }
}

TEST(MutexRA, waits_for_the_mutex) {
  std::atomic<bool> entered{false};
  std::thread second;
  {
    const MutexRA guard(&mutex);
    std::atomic<bool> started{false};
    second = std::thread([&] {
      started = true;
      const MutexRA other(&mutex);
      entered = true;
    });
    while (!started) std::this_thread::yield();
    // Time enough for a guard that does not wait; one that does is not hurried.
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    EXPECT_FALSE(entered);
  }
  second.join();
  EXPECT_TRUE(entered);
}

TEST(MutexRA, refuses_null) {
  LogCapture log;
  const std::string text =
      "Mutex received does not refer to an initialised mutex object.tavrik:-31";
  EXPECT_FAILURE(std::runtime_error, text, const MutexRA guard(nullptr));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MutexRA() : " + text)}), log.lines());
}

TEST(MutexRA, cannot_be_copied) {
  EXPECT_FALSE(std::is_copy_constructible<MutexRA>::value);
  EXPECT_FALSE(std::is_copy_assignable<MutexRA>::value);
}

}  // namespace
