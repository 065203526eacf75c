// Reads the numbers in property values.
#include <core/number.hpp>

#include <cstdlib>

namespace tavrik {

std::uint32_t leadingNumber(const char* text) {
  constexpr int decimal = 10;
  return static_cast<std::uint32_t>(std::strtoll(text, nullptr, decimal));
}

}  // namespace tavrik
