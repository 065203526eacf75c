/**
 * @file
 * Writes to the log function of the process: the one installed with tavrik_Install_Logfn(), or by
 * default the system log.
 */
#ifndef TAVRIK_LOGGER_HPP
#define TAVRIK_LOGGER_HPP

#include <tavrik/export.h>

#include <string>

namespace tavrik {

/**
 * The library's log. Any thread may call its static members.
 *
 * No member throws: an exception of the log function is dropped. If the log function is null, the
 * line is dropped.
 */
class TAVRIK_API Logger {
 public:
  Logger() = delete;

  /** "Tavrik": a name for applications that open the system log themselves. */
  static std::string app_name;

  /** `LOG_LOCAL1`: a facility for applications that open the system log themselves. */
  static int facility;

  /** Logs a line at level 3. @param text the line, up to its first NUL */
  static void error(std::string text);

  /** Logs a line at level 2. @param text the line, up to its first NUL */
  static void info(std::string text);

  /** Logs a line at level 1. @param text the line, up to its first NUL */
  static void debug(std::string text);
};

}  // namespace tavrik

#endif
