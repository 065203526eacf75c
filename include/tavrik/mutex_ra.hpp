/**
 * @file
 * The scoped lock that the library uses for every mutex.
 */
#ifndef TAVRIK_MUTEX_RA_HPP
#define TAVRIK_MUTEX_RA_HPP

#include <tavrik/export.h>

#include <pthread.h>

namespace tavrik {

/** Locks a POSIX mutex in the constructor and unlocks it in the destructor. */
class TAVRIK_API MutexRA {
 public:
  /**
   * Locks the mutex.
   * @param mutex an initialised mutex that outlives the guard
   * @throws std::runtime_error -31 when @p mutex is null; nothing is locked
   */
  explicit MutexRA(pthread_mutex_t* mutex);

  /** Unlocks the mutex. */
  ~MutexRA();

  MutexRA(const MutexRA&) = delete;
  MutexRA& operator=(const MutexRA&) = delete;

 private:
  pthread_mutex_t* held;
};

}  // namespace tavrik

#endif
