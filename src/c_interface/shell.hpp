// The shell around the body of every C function: what its exceptions become.
//
// Memory exhaustion is answered at once and never logged: there may be no memory to do it with.
// Any other std::exception is logged behind the function's prefix and answered by the function's
// fixed code or by the code in its text. Exceptions of other types pass through; a thread that is
// being cancelled unwinds that way.
#ifndef TAVRIK_C_INTERFACE_SHELL_HPP
#define TAVRIK_C_INTERFACE_SHELL_HPP

#include <core/error.hpp>
#include <core/log_line.hpp>

#include <exception>
#include <new>

namespace tavrik {

// Where a function reports the failure of its body.
struct Report {
  tavrik_loglevel_t level;
  const char* prefix;  // null: not at all
};

constexpr Report atDebug(const char* prefix) {
  return {TAVRIK_LOG_DEBUG, prefix};
}
constexpr Report atError(const char* prefix) {
  return {TAVRIK_LOG_ERROR, prefix};
}
constexpr Report unreported() {
  return {TAVRIK_LOG_DEBUG, nullptr};
}

// Runs a body; answers exhausted when memory is short, and failed(text) for any other failure.
template <class Result, class Body, class Failed>
Result shielded(const Report& report, Result exhausted, Body&& body, Failed&& failed) {
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

// A function that returns a status decoded from the failure's text.
template <class Body>
int status(const Report& report, Body&& body) {
  return shielded(report, exhausted, body, statusCode);
}

// A function that returns one fixed status whatever the failure.
template <class Body>
int statusOr(int failure, const Report& report, Body&& body) {
  return shielded(report, exhausted, body, [&](const char*) { return failure; });
}

// A function that returns an object, or NULL whatever the failure.
template <class Object, class Body>
Object* objectOrNull(const Report& report, Body&& body) {
  return shielded<Object*>(report, nullptr, body, [](const char*) { return nullptr; });
}

}  // namespace tavrik

#endif
