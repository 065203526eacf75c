#include <support/c_support.h>
#include <support/failing_allocator.hpp>
#include <support/log_capture.hpp>
#include <support/temp_dir.hpp>

#include <memory>
#include <optional>
#include <string>

namespace {

std::optional<support::LogCapture> capture;
std::optional<support::AllocationFailure> failure;

}  // namespace

void capture_log() {
  capture.reset();
  capture.emplace();
}

void release_log() {
  capture.reset();
}

const char* captured_log() {
  static std::string text;
  text.clear();
  if (capture) {
    for (const support::LogLine& line : capture->lines()) {
      text += std::to_string(line.level) + " " + line.text + "\n";
    }
  }
  return text.c_str();
}

void fail_allocation(int nth) {
  failure.emplace(nth);
}

int allocation_failed() {
  const bool happened = failure && failure->happened();
  failure.reset();
  return happened ? 1 : 0;
}

const char* ipc_endpoint() {
  static support::TempDir dir;
  static std::string endpoint;
  endpoint = dir.ipcEndpoint();
  return endpoint.c_str();
}
