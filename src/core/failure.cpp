// Composes the texts of failures and reads the codes in them.
#include <core/failure.hpp>
#include <core/number.hpp>

namespace tavrik {
namespace {

std::string joined(std::string_view a, std::string_view b, std::string_view c,
                   std::string_view marker, int code) {
  const std::string number = std::to_string(code);
  std::string text;
  text.reserve(a.size() + b.size() + c.size() + marker.size() + number.size());
  text.append(a).append(b).append(c).append(marker).append(number);
  return text;
}

}  // namespace

std::string libraryErrorText(std::string_view description, std::string_view detail, int code) {
  return joined(description, detail, {}, libraryMarker, code);
}

std::string transportErrorText(std::string_view description, std::string_view errorText,
                               std::string_view detail, int code) {
  return joined(description, errorText, detail, transportMarker, code);
}

int statusCode(std::string_view text) {
  constexpr int noMarker = -33;
  const auto numberAfter = [&](std::string_view marker, std::size_t found) {
    return leadingNumber(text.data() + found + marker.size());
  };
  if (const auto found = text.find(libraryMarker); found != std::string_view::npos) {
    return static_cast<int>(numberAfter(libraryMarker, found));
  }
  if (const auto found = text.find(transportMarker); found != std::string_view::npos) {
    return static_cast<int>(-numberAfter(transportMarker, found));
  }
  return noMarker;
}

}  // namespace tavrik
