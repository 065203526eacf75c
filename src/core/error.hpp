// The error convention: how failures are composed, thrown, and logged on their way out.
#ifndef TAVRIK_CORE_ERROR_HPP
#define TAVRIK_CORE_ERROR_HPP

#include <core/faults.hpp>
#include <core/log_line.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace tavrik {

// Marks that decode_error() looks for.
inline constexpr std::string_view libraryMarker = "tavrik:";
inline constexpr std::string_view transportMarker = "zeromq:";

// Composes description + detail + "tavrik:" + code, with nothing between them.
std::string libraryErrorText(std::string_view description, std::string_view detail, int code);

// Composes description + error text + detail + "zeromq:" + code, with nothing between them.
std::string transportErrorText(std::string_view description, std::string_view errorText,
                               std::string_view detail, int code);

// The status code in the text of an exception; decode_error() without its string, so that it needs
// no memory. The text has a NUL behind it.
int statusCode(std::string_view text);

// Throws a failure of the library's own. The detail is most often the offending value.
template <class Exception>
[[noreturn]] void fail(const Fault<Exception>& fault, std::string_view detail = {}) {
  throw Exception(libraryErrorText(fault.description, detail, fault.code));
}

// Runs a member's body. An exception that leaves it is logged at debug level behind the member's
// prefix and goes on unchanged, so each floor it passes adds one line.
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
