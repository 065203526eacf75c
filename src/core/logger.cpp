// Log lines of applications, one member for each level.
#include <core/log_line.hpp>
#include <tavrik/logger.hpp>

#include <syslog.h>

namespace tavrik {

std::string Logger::app_name = "Tavrik";
int Logger::facility = LOG_LOCAL1;

void Logger::error(std::string text) {
  emitLine(TAVRIK_LOG_ERROR, text.c_str());
}
void Logger::info(std::string text) {
  emitLine(TAVRIK_LOG_INFO, text.c_str());
}
void Logger::debug(std::string text) {
  emitLine(TAVRIK_LOG_DEBUG, text.c_str());
}

}  // namespace tavrik
