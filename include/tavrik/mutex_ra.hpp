/**
 * @file
 * The scoped lock through which the library takes every mutex.
 */
#ifndef TAVRIK_MUTEX_RA_HPP
#define TAVRIK_MUTEX_RA_HPP

#include <tavrik/export.h>

#include <pthread.h>

namespace tavrik {

/** Holds a POSIX mutex from its construction to its destruction. */
class TAVRIK_API MutexRA {
 public:
  /**
   * Locks.
   * @param mutex an initialised mutex that outlives the guard
   * @throws std::runtime_error -31 when @p mutex is null; nothing is locked
   */
  explicit MutexRA(pthread_mutex_t* mutex);

  /** Unlocks. */
  ~MutexRA();

  MutexRA(const MutexRA&) = delete;
  MutexRA& operator=(const MutexRA&) = delete;

 private:
  pthread_mutex_t* held;
};

}  // namespace tavrik

#endif
