// The check that all high-water mark properties share.
#ifndef TAVRIK_PATTERNS_HIGH_WATER_MARK_HPP
#define TAVRIK_PATTERNS_HIGH_WATER_MARK_HPP

#include <core/failure.hpp>
#include <core/number.hpp>
#include <tavrik/types.h>

#include <string>

namespace tavrik {

// The role that may set a high-water mark, and the refusals.
struct HighWaterMarkRule {
  role_t role;
  LogicFailure wrongRole;
  LogicFailure badValue;
  LogicFailure afterConnecting;
};

// Throws unless a pattern in this role may set the high-water mark to the value now. The order of
// the checks is required: role, value, connected.
inline void checkHighWaterMark(const HighWaterMarkRule& rule, role_t role, const std::string& value,
                               bool connected) {
  constexpr std::int32_t minimum = 1;
  constexpr std::int32_t maximum = 1000;
  if (role != rule.role) fail(rule.wrongRole, value);
  const auto mark = static_cast<std::int32_t>(leadingNumber(value));
  if (mark < minimum || mark > maximum) fail(rule.badValue, value);
  if (connected) fail(rule.afterConnecting, value);
}

}  // namespace tavrik

#endif
