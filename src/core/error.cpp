// Reads the code at the end of a failure's text.
#include <core/failure.hpp>
#include <tavrik/error.hpp>

int decode_error(const std::string& text) {
  return tavrik::statusCode(text);
}
