// The exception barrier of the C interface: turns what a body throws into the function's result.
//
// std::bad_alloc gives the exhausted result at once and is not logged, because logging may
// allocate. Any other std::exception is logged with the function's prefix and gives the function's
// fixed code, or the code in the exception's text. Exceptions of other types pass through: the
// cancellation of a thread unwinds that way.
#ifndef TAVRIK_C_INTERFACE_EXCEPTION_BARRIER_HPP
#define TAVRIK_C_INTERFACE_EXCEPTION_BARRIER_HPP

#include <core/failure.hpp>
#include <core/log_line.hpp>

#include <exception>
#include <new>

namespace tavrik {

// How a function logs the failure of its body.
struct Report {
  tavrik_loglevel_t level;
  const char* prefix;  // null: not logged
};

constexpr Report atDebug(const char* prefix) {
  return {TAVRIK_LOG_DEBUG, prefix};
}
constexpr Report atError(const char* prefix) {
  return {TAVRIK_LOG_ERROR, prefix};
}
constexpr Report unlogged() {
  return {TAVRIK_LOG_DEBUG, nullptr};
}

// Runs a body. Returns exhausted after std::bad_alloc, and failed(text) after any other failure.
template <class Result, class Body, class Failed>
Result guarded(const Report& report, Result exhausted, Body&& body, Failed&& failed) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return exhausted;
  } catch (const std::exception& exception) {
    if (report.prefix != nullptr) logLine(report.level, report.prefix, exception.what());
    return failed(exception.what());
  }
}

inline constexpr int refused = -1;
inline constexpr int exhausted = -3;

// For functions that return the status in the failure's text.
template <class Body>
int decodedStatus(const Report& report, Body&& body) {
  return guarded(report, exhausted, body, statusCode);
}

// For functions that return one fixed status for every failure.
template <class Body>
int fixedStatus(int failure, const Report& report, Body&& body) {
  return guarded(report, exhausted, body, [&](const char*) { return failure; });
}

// For functions that return an object, or NULL for every failure.
template <class Object, class Body>
Object* objectOrNull(const Report& report, Body&& body) {
  return guarded<Object*>(report, nullptr, body, [](const char*) { return nullptr; });
}

}  // namespace tavrik

#endif
