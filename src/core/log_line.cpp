// The installed log function, and the lines that go to it.
#include <core/log_line.hpp>

#include <pthread.h>
#include <syslog.h>

#include <atomic>
#include <string>

namespace tavrik {
namespace {

std::atomic<LogFunction> logFunction{logToSystem};

// Disables cancellation of this thread until it is destroyed. A log function calls many functions
// that are cancellation points, and the library logs in places that must not throw.
class CancellationPause {
 public:
  CancellationPause() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
  ~CancellationPause() { pthread_setcancelstate(before, nullptr); }
  CancellationPause(const CancellationPause&) = delete;
  CancellationPause& operator=(const CancellationPause&) = delete;

 private:
  int before = PTHREAD_CANCEL_ENABLE;
};

// Runs a step of logging and drops what it throws: the library cannot report that a log line
// failed.
template <class Step>
void dropExceptions(Step&& step) {
  try {
    step();
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

void logToSystem(int level, const char* text) {
  const auto priority = [level] {
    switch (level) {
      case TAVRIK_LOG_DEBUG:
        return LOG_DEBUG;
      case TAVRIK_LOG_ERROR:
        return LOG_ERR;
      default:
        return LOG_INFO;
    }
  };
  syslog(priority(), "%s", text);
}

// Pairs with the load in emitLine: the function sees what its program wrote before installing it.
void setLogFunction(LogFunction function) {
  logFunction.store(function, std::memory_order_release);
}

void emitLine(tavrik_loglevel_t level, const char* text) {
  dropExceptions([&] {
    if (const LogFunction function = logFunction.load(std::memory_order_acquire)) {
      const CancellationPause pause;
      function(level, text);
    }
  });
}

void logLine(tavrik_loglevel_t level, const char* prefix, const char* text) {
  dropExceptions([&] { emitLine(level, (std::string(prefix) + text).c_str()); });
}

}  // namespace tavrik
