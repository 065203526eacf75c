// Which threads wait for a mutex. A test program that links this stands in front of
// pthread_mutex_lock() and pthread_mutex_unlock().
#ifndef TAVRIK_TESTS_SUPPORT_MUTEX_WATCH_HPP
#define TAVRIK_TESTS_SUPPORT_MUTEX_WATCH_HPP

#include <pthread.h>

#include <gtest/gtest.h>
#include <thread>

namespace support {

// How many threads have called pthread_mutex_lock() for the mutex and do not hold it yet.
int waitersFor(const pthread_mutex_t* mutex);

// The mutex that this thread locked last and still holds, or null.
const pthread_mutex_t* heldMutex();

// For a thread that holds a mutex: returns once so many threads wait for that mutex or the
// condition holds, and says whether the condition holds.
template <class Condition>
bool happensWithoutTheMutex(Condition condition, int waiters = 1) {
  const pthread_mutex_t* const mutex = heldMutex();
  EXPECT_NE(nullptr, mutex) << "no mutex is held";
  while (mutex != nullptr && waitersFor(mutex) < waiters && !condition()) {
    std::this_thread::yield();
  }
  return condition();
}

}  // namespace support

#endif
