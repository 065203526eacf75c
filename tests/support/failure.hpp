// Runs a statement that has to fail, and compares what it throws and what it logs.
#ifndef TAVRIK_TESTS_SUPPORT_FAILURE_HPP
#define TAVRIK_TESTS_SUPPORT_FAILURE_HPP

#include <support/failing_allocator.hpp>
#include <support/log_capture.hpp>

#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <typeinfo>
#include <vector>

namespace support {

template <class Exception, class Body>
void expectFailure(const std::string& text, Body body) {
  try {
    body();
    ADD_FAILURE() << "nothing was thrown; expected: " << text;
  } catch (const std::exception& exception) {
    EXPECT_STREQ(typeid(Exception).name(), typeid(exception).name());
    EXPECT_EQ(text, exception.what());
  }
}

using Prefixes = std::vector<std::string>;

// The lines of a failure that several members log at debug level, in this order.
inline Log debugLines(const Prefixes& prefixes, const std::string& text) {
  Log lines;
  for (const std::string& prefix : prefixes) lines.push_back(debugLine(prefix + text));
  return lines;
}

template <class Exception, class Body>
void expectLoggedFailure(const std::string& text, const Prefixes& prefixes, Body body) {
  LogCapture::clear();
  expectFailure<Exception>(text, body);
  EXPECT_EQ(debugLines(prefixes, text), LogCapture::lines());
}

}  // namespace support

// EXPECT_FAILURE(std::logic_error, "description" "tavrik:-5", statement);
#define EXPECT_FAILURE(type, text, ...)                       \
  do {                                                        \
    SCOPED_TRACE(#__VA_ARGS__);                               \
    support::expectFailure<type>(text, [&] { __VA_ARGS__; }); \
  } while (false)

// The same while the log is captured: each prefix stands before the text in a line of its own, and
// there is no other line.
#define EXPECT_LOGGED_FAILURE(type, text, prefixes, ...)                      \
  do {                                                                        \
    SCOPED_TRACE(#__VA_ARGS__);                                               \
    support::expectLoggedFailure<type>(text, prefixes, [&] { __VA_ARGS__; }); \
  } while (false)

// The same with the nth allocation of the statement failing.
#define EXPECT_OUT_OF_MEMORY(nth, prefixes, ...)                      \
  EXPECT_LOGGED_FAILURE(std::bad_alloc, "std::bad_alloc", prefixes, { \
    const support::AllocationFailure failure(nth);                    \
    __VA_ARGS__;                                                      \
  })

#endif
