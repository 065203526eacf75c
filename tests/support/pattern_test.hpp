// What the tests of the patterns share: refusals and how they are logged, and what connecting asks
// of the transport.
#ifndef TAVRIK_TESTS_SUPPORT_PATTERN_TEST_HPP
#define TAVRIK_TESTS_SUPPORT_PATTERN_TEST_HPP

#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/msg_pattern.hpp>

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

// Calls into ZeroMQ, as TransportFaults records them.
using Calls = std::vector<std::string>;

// What it takes to make a socket of each type, and what follows.
inline Calls afterMaking(const std::vector<std::string>& types, const Calls& calls) {
  Calls all;
  for (const std::string& type : types) {
    all.insert(all.end(), {"zmq_socket " + type, "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200",
                           "zmq_setsockopt 37 75", "zmq_setsockopt 35 9"});
  }
  all.insert(all.end(), calls.begin(), calls.end());
  return all;
}

inline int count(const Calls& calls, const std::string& call) {
  return static_cast<int>(std::count(calls.begin(), calls.end(), call));
}

// The prefix of what the patterns' base logs when it refuses a type of service.
const std::string tosPrefix = "Error : Tavrik::MsgPattern::setTosPropVal() : ";

class PatternTest : public testing::Test {
 protected:
  // The class under test, and the code of its refusals of properties that it does not have.
  PatternTest(const std::string& className, int propertyCode)
      : classPrefix("Error : Tavrik::" + className + "::"), code(std::to_string(propertyCode)) {}

  // A refusal: the text, logged behind the prefix and by nobody else.
  template <class Body>
  void expectRefusal(const std::string& text, const std::string& prefix, Body body) {
    log.clear();
    EXPECT_FAILURE(std::logic_error, text, body());
    EXPECT_EQ((Log{debugLine(prefix + text)}), log.lines());
  }

  void expectSetRefused(tavrik::MsgPattern& pattern, unsigned prop, const std::string& value,
                        const std::string& text) {
    SCOPED_TRACE(prop);
    expectRefusal(text, setPrefix,
                  [&] { pattern.setProperty(static_cast<channel_prop_t>(prop), value); });
  }

  // The pattern has no such property to set, whatever the value.
  void expectNotSettable(tavrik::MsgPattern& pattern, const std::vector<unsigned>& props) {
    for (const unsigned prop : props) {
      expectSetRefused(pattern, prop, "*value",
                       "Invalid property - cannot be set : *valuetavrik:" + code);
    }
  }

  // The pattern has no such property to read.
  void expectNotReadable(tavrik::MsgPattern& pattern, const std::vector<unsigned>& props) {
    for (const unsigned prop : props) {
      SCOPED_TRACE(prop);
      expectRefusal("Invalid property queriedtavrik:" + code, getPrefix,
                    [&] { pattern.getProperty(static_cast<channel_prop_t>(prop)); });
    }
  }

  const std::string classPrefix;
  const std::string setPrefix = classPrefix + "setProperty() : ";
  const std::string getPrefix = classPrefix + "getProperty() : ";
  LogCapture log;
  TempDir dir;

 private:
  const std::string code;
};

}  // namespace support

#endif
