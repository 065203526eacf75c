// decode_error() against a decoder that reads the text byte by byte.
#include "support.hpp"

#include <tavrik/error.hpp>

namespace {

using fuzz::Input;

// Reads as strtol() does where long has 64 bits, then keeps the low 32 bits.
std::uint32_t numberAt(const std::string& text, std::size_t position) {
  const auto at = [&](std::size_t index) { return index < text.size() ? text[index] : '\0'; };
  while (at(position) == ' ' || (at(position) >= '\t' && at(position) <= '\r')) ++position;
  const bool negative = at(position) == '-';
  if (negative || at(position) == '+') ++position;
  // One more than the largest number: the magnitude of the least one.
  const std::uint64_t limit = std::uint64_t{INT64_MAX} + (negative ? 1 : 0);
  std::uint64_t magnitude = 0;
  for (; at(position) >= '0' && at(position) <= '9'; ++position) {
    const auto digit = static_cast<std::uint64_t>(at(position) - '0');
    magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
  }
  const auto low = static_cast<std::uint32_t>(magnitude);
  return negative ? 0U - low : low;
}

// The position after the first occurrence, or 0 if there is none.
std::size_t after(const std::string& text, const std::string& marker) {
  for (std::size_t start = 0; start + marker.size() <= text.size(); ++start) {
    if (text.compare(start, marker.size(), marker) == 0) return start + marker.size();
  }
  return 0;
}

int expectedCode(const std::string& text) {
  constexpr int noMarker = -33;
  if (const std::size_t number = after(text, "tavrik:"); number != 0) {
    return static_cast<int>(numberAt(text, number));
  }
  if (const std::size_t number = after(text, "zeromq:"); number != 0) {
    return static_cast<int>(0U - numberAt(text, number));
  }
  return noMarker;
}

std::string errorText(Input& input) {
  std::string text;
  while (!input.empty()) {
    switch (input.between(0, 4)) {
      case 0:
        text += "tavrik:";
        break;
      case 1:
        text += "zeromq:";
        break;
      case 2:
        text += std::to_string(input.any<std::int64_t>());
        break;
      case 3:
        text += std::to_string(input.any<std::int8_t>());
        break;
      default:
        text += input.bytes();
    }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::string text = errorText(input);
  fuzz::requireEqual(expectedCode(text), decode_error(text), "decode_error");
  fuzz::requireNoLog("decode_error");
  return 0;
}
