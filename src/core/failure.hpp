// The error convention: how the library composes, throws and logs failures.
#ifndef TAVRIK_CORE_FAILURE_HPP
#define TAVRIK_CORE_FAILURE_HPP

#include <core/failure_table.hpp>
#include <core/log_line.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace tavrik {

// The markers that decode_error() searches for.
inline constexpr std::string_view libraryMarker = "tavrik:";
inline constexpr std::string_view transportMarker = "zeromq:";

// Composes description + detail + "tavrik:" + code, with nothing between them.
std::string libraryErrorText(std::string_view description, std::string_view detail, int code);

// Composes description + error text + detail + "zeromq:" + code, with nothing between them.
std::string transportErrorText(std::string_view description, std::string_view errorText,
                               std::string_view detail, int code);

// Returns the status code in the text of an exception, as decode_error() does, but allocates
// nothing. The text is NUL-terminated.
int statusCode(std::string_view text);

// Throws a library failure. The detail is usually the offending value.
template <class Exception>
[[noreturn]] void fail(const Failure<Exception>& failure, std::string_view detail = {}) {
  throw Exception(libraryErrorText(failure.description, detail, failure.code));
}

// Runs a member's body. Logs an exception at debug level with the member's prefix and rethrows it
// unchanged, so each layer that it passes through logs one line.
template <class Body>
decltype(auto) logged(const char* prefix, Body&& body) {
  try {
    return body();
  } catch (const std::exception& exception) {
    logLine(TAVRIK_LOG_DEBUG, prefix, exception.what());
    throw;
  }
}

}  // namespace tavrik

#endif
