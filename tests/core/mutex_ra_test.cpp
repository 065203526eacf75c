#include <support/failure.hpp>
#include <support/mutex_watch.hpp>
#include <tavrik/mutex_ra.hpp>

#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace {

using tavrik::MutexRA;

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

// pthread_mutex_trylock() fails for the thread that holds a default mutex too.
bool isLocked() {
  if (pthread_mutex_trylock(&mutex) == EBUSY) return true;
  pthread_mutex_unlock(&mutex);
  return false;
}

TEST(MutexRATest, HoldsTheMutexUntilItIsDestroyed) {
  {
    const MutexRA guard(&mutex);
    EXPECT_TRUE(isLocked());
  }
  EXPECT_FALSE(isLocked());
}

TEST(MutexRATest, ReleasesTheMutexWhenAnExceptionPropagates) {
  try {
    const MutexRA guard(&mutex);
    throw std::runtime_error("any");
  } catch (const std::runtime_error&) {
    EXPECT_FALSE(isLocked());
  }
}

TEST(MutexRATest, BlocksWhileAnotherThreadHoldsTheMutex) {
  std::atomic<bool> entered{false};
  std::thread second;
  {
    const MutexRA guard(&mutex);
    second = std::thread([&] {
      const MutexRA other(&mutex);
      entered = true;
    });
    EXPECT_FALSE(support::happensWithoutTheMutex([&] { return entered.load(); }));
  }
  second.join();
  EXPECT_TRUE(entered);
}

TEST(MutexRATest, RefusesNull) {
  const support::LogCapture log;
  EXPECT_LOGGED_FAILURE(std::runtime_error,
                        "Mutex received does not refer to an initialised mutex object.tavrik:-31",
                        {"Error : Tavrik::MutexRA() : "}, const MutexRA guard(nullptr));
}

TEST(MutexRATest, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible<MutexRA>::value);
  EXPECT_FALSE(std::is_copy_assignable<MutexRA>::value);
}

}  // namespace
