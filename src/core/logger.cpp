// The log function of the process, the facade over it and the default sink.
#include <core/log_line.hpp>
#include <tavrik/logger.hpp>
#include <tavrik/tavrik.h>

#include <cxxabi.h>
#include <syslog.h>

#include <atomic>
#include <exception>
#include <string>

namespace tavrik {
namespace {

std::atomic<tavrik_logfn_t> currentLogfn{syslog_Logfn};

// Runs a step of logging. Whatever it throws is dropped, but for the unwinding of a thread that is
// being cancelled, which may not be stopped.
template <class Step>
void dropExceptions(Step&& step) {
  try {
    step();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    // The line is lost; there is nowhere left to report it to.
  }
}

void emit(tavrik_loglevel_t level, const std::string& text) {
  dropExceptions([&] {
    if (const tavrik_logfn_t logfn = currentLogfn.load(std::memory_order_relaxed)) {
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
