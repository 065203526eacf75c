// Runs a statement that has to fail and holds what it throws against the exact type and text.
#ifndef TAVRIK_TESTS_SUPPORT_FAILURE_HPP
#define TAVRIK_TESTS_SUPPORT_FAILURE_HPP

#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <typeinfo>

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

}  // namespace support

// EXPECT_FAILURE(std::logic_error, "description" "tavrik:-5", statement);
#define EXPECT_FAILURE(type, text, ...)                       \
  do {                                                        \
    SCOPED_TRACE(#__VA_ARGS__);                               \
    support::expectFailure<type>(text, [&] { __VA_ARGS__; }); \
  } while (false)

#endif
