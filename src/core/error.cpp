#include <core/failure.hpp>
#include <tavrik/error.hpp>

int decode_error(const std::string& text) {
  return tavrik::statusCode(text);
}
