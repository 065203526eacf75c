// The log function of the process, the facade over it and the default sink.
#include <core/log_line.hpp>
#include <tavrik/logger.hpp>
#include <tavrik/tavrik.h>

#include <pthread.h>
#include <syslog.h>

#include <atomic>
#include <string>

namespace tavrik {
namespace {

std::atomic<tavrik_logfn_t> currentLogfn{syslog_Logfn};

// Puts off the cancellation of this thread while it lives. A log function is full of places where a
// thread is cancelled, and the library logs where nothing may be thrown.
class CancellationPause {
 public:
  CancellationPause() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
  ~CancellationPause() { pthread_setcancelstate(before, nullptr); }
  CancellationPause(const CancellationPause&) = delete;
  CancellationPause& operator=(const CancellationPause&) = delete;

 private:
  int before = PTHREAD_CANCEL_ENABLE;
};

// Runs a step of logging and drops what it throws.
template <class Step>
void dropExceptions(Step&& step) {
  try {
    step();
  } catch (...) {
    // The line is lost; there is nowhere left to report it to.
  }
}

void emit(tavrik_loglevel_t level, const std::string& text) {
  dropExceptions([&] {
    if (const tavrik_logfn_t logfn = currentLogfn.load(std::memory_order_relaxed)) {
      const CancellationPause pause;
      logfn(level, text.c_str());
    }
  });
}

}  // namespace

std::string Logger::app_name = "Tavrik";
int Logger::facility = LOG_LOCAL1;

void Logger::error(std::string text) {
  emit(TAVRIK_LOG_ERROR, text);
}
void Logger::info(std::string text) {
  emit(TAVRIK_LOG_INFO, text);
}
void Logger::debug(std::string text) {
  emit(TAVRIK_LOG_DEBUG, text);
}

void logLine(tavrik_loglevel_t level, const char* prefix, const char* text) {
  dropExceptions([&] { emit(level, std::string(prefix) + text); });
}

}  // namespace tavrik

void tavrik_Install_Logfn(tavrik_logfn_t logfn) {
  tavrik::currentLogfn.store(logfn, std::memory_order_relaxed);
}

void syslog_Logfn(int level, const char* text) {
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
