// The check that the high-water mark properties have in common.
#ifndef TAVRIK_PATTERNS_HIGH_WATER_MARK_HPP
#define TAVRIK_PATTERNS_HIGH_WATER_MARK_HPP

#include <core/error.hpp>
#include <core/number.hpp>
#include <tavrik/types.h>

#include <string>

namespace tavrik {

// Who may set a mark, and what its refusals are.
struct HighWaterMarkRule {
  role_t role;
  LogicFault wrongRole;
  LogicFault badValue;
  LogicFault afterConnecting;
};

// Throws unless a pattern in this role may set the mark to the value now: role before value before
// time.
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
