// Limits that several floors enforce.
#ifndef TAVRIK_CORE_LIMITS_HPP
#define TAVRIK_CORE_LIMITS_HPP

#include <tavrik/types.h>

#include <cstddef>

namespace tavrik {

// Characters in a name, a subject or a property value.
inline constexpr std::size_t maxTextLength = 255;

// A time-out in milliseconds: -1 waits for ever.
constexpr bool isTimeout(long timeout) {
  return timeout >= -1;
}

constexpr bool isPoll(const tavrik_pollitem_t* items, unsigned int count, long timeout) {
  return items != nullptr && count >= 1 && count <= TAVRIK_MAX_POLL_ITEMS && isTimeout(timeout);
}

}  // namespace tavrik

#endif
