// Captures the library's log lines while it lives, then restores the default sink.
#ifndef TAVRIK_TESTS_SUPPORT_LOG_CAPTURE_HPP
#define TAVRIK_TESTS_SUPPORT_LOG_CAPTURE_HPP

#include <iosfwd>
#include <string>
#include <vector>

namespace support {

struct LogLine {
  int level;
  std::string text;

  bool operator==(const LogLine& other) const { return level == other.level && text == other.text; }
};

// Prints a line for GoogleTest.
std::ostream& operator<<(std::ostream& out, const LogLine& line);

using Log = std::vector<LogLine>;

// One at a time in a process.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  static Log lines();
  static void clear();
};

// Lines by level, for expected logs.
LogLine debugLine(const std::string& text);
LogLine infoLine(const std::string& text);
LogLine errorLine(const std::string& text);

}  // namespace support

#endif
