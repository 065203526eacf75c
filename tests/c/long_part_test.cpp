// A part that is longer than INT_MAX bytes. The C functions over messages cannot measure it.
#include <support/log_capture.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>

#include <climits>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace {

using support::debugLine;
using support::Log;

TEST(LongPart, IsNeitherMeasuredNorCopied) {
  if (sizeof(std::size_t) == sizeof(int)) GTEST_SKIP() << "no string has this length";
  const support::LogCapture log;
  char buffer[1];
  tavrik::Message message(1);
  std::string& part = message[0];
  constexpr auto largest = static_cast<std::size_t>(INT_MAX);
  part.resize(largest + 1);
  EXPECT_EQ(-34, tavrik_getPartlength(&message, 0));
  EXPECT_EQ(-34, tavrik_getBinPart(&message, 0, buffer));
  EXPECT_EQ((Log{debugLine("Error : tavrik_getPartlength() : Message part is too longtavrik:-34"),
                 debugLine("Error : tavrik_getBinPart() : Message part is too longtavrik:-34")}),
            log.lines());
  part.resize(largest);
  EXPECT_EQ(INT_MAX, tavrik_getPartlength(&message, 0));
}

}  // namespace
