#include <support/failing_allocator.hpp>
#include <support/log_capture.hpp>
#include <tavrik/tavrik.h>

#include <mutex>
#include <ostream>

namespace support {
namespace {

std::mutex captureMutex;
Log captured;

void capture(int level, const char* text) {
  const AllocationTruce truce;
  const std::lock_guard<std::mutex> lock(captureMutex);
  captured.push_back({level, text});
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << line.level << " \"" << line.text << '"';
}

LogCapture::LogCapture() {
  clear();
  tavrik_Install_Logfn(capture);
}

LogCapture::~LogCapture() {
  tavrik_Install_Logfn(syslog_Logfn);
}

Log LogCapture::lines() {
  const std::lock_guard<std::mutex> lock(captureMutex);
  return captured;
}

void LogCapture::clear() {
  const std::lock_guard<std::mutex> lock(captureMutex);
  captured.clear();
}

LogLine debugLine(const std::string& text) {
  return {TAVRIK_LOG_DEBUG, text};
}
LogLine infoLine(const std::string& text) {
  return {TAVRIK_LOG_INFO, text};
}
LogLine errorLine(const std::string& text) {
  return {TAVRIK_LOG_ERROR, text};
}

}  // namespace support
