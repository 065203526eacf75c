// Limits that several layers enforce.
#ifndef TAVRIK_CORE_LIMITS_HPP
#define TAVRIK_CORE_LIMITS_HPP

#include <tavrik/types.h>

#include <cstddef>

namespace tavrik {

// Characters in a name, a subject or a property value.
inline constexpr std::size_t maxTextLength = 255;

// Checks a time-out in milliseconds. -1 waits indefinitely.
constexpr bool isValidTimeout(long timeout) {
  return timeout >= -1;
}

constexpr bool isValidPoll(const tavrik_pollitem_t* items, unsigned int count, long timeout) {
  return items != nullptr && count >= 1 && count <= TAVRIK_MAX_POLL_ITEMS &&
         isValidTimeout(timeout);
}

}  // namespace tavrik

#endif
