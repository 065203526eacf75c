// What the tests of the patterns share: refusals and how they are logged.
#ifndef TAVRIK_TESTS_SUPPORT_PATTERN_TEST_HPP
#define TAVRIK_TESTS_SUPPORT_PATTERN_TEST_HPP

#include <support/failure.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/msg_pattern.hpp>

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace support {

class PatternTest : public testing::Test {
 protected:
  explicit PatternTest(const std::string& className)
      : classPrefix("Error : Tavrik::" + className + "::") {}

  void expectSetRefused(tavrik::MsgPattern& pattern, unsigned prop, const std::string& value,
                        const std::string& text) {
    SCOPED_TRACE(prop);
    EXPECT_LOGGED_FAILURE(std::logic_error, text, {setPrefix},
                          pattern.setProperty(static_cast<channel_prop_t>(prop), value));
  }

  void expectNotReadable(tavrik::MsgPattern& pattern, unsigned prop, int code) {
    SCOPED_TRACE(prop);
    EXPECT_LOGGED_FAILURE(std::logic_error,
                          "Invalid property queriedtavrik:" + std::to_string(code), {getPrefix},
                          pattern.getProperty(static_cast<channel_prop_t>(prop)));
  }

  const std::string classPrefix;
  const std::string setPrefix = classPrefix + "setProperty() : ";
  const std::string getPrefix = classPrefix + "getProperty() : ";
  LogCapture log;
  TempDir dir;
};

}  // namespace support

#endif
