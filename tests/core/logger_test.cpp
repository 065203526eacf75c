#include <support/failing_allocator.hpp>
#include <support/log_capture.hpp>
#include <tavrik/logger.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>

#include <pthread.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct SystemLogLine {
  int priority;
  std::string format;
  std::string text;
};
std::vector<SystemLogLine> systemLog;

}  // namespace

// Stands in front of the C library's, so that the default sink can be watched.
extern "C" void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  systemLog.push_back({priority, format, text});
}

namespace {

using support::debugLine;
using support::errorLine;
using support::infoLine;
using support::Log;
using support::LogCapture;
using tavrik::Logger;

TEST(Logger, publishes_a_name_and_a_facility_for_the_system_log) {
  EXPECT_EQ("Tavrik", Logger::app_name);
  EXPECT_EQ(136, Logger::facility);
  EXPECT_EQ(LOG_LOCAL1, Logger::facility);
}

TEST(Logger, calls_the_installed_function_with_the_level) {
  LogCapture log;
  Logger::error("broken");
  Logger::info("known");
  Logger::debug("detail");
  EXPECT_EQ((Log{errorLine("broken"), infoLine("known"), debugLine("detail")}), log.lines());
  EXPECT_EQ((Log{{3, "broken"}, {2, "known"}, {1, "detail"}}), log.lines());
}

TEST(Logger, writes_to_the_system_log_until_a_function_is_installed) {
  systemLog.clear();
  Logger::debug("detail");
  Logger::info("known");
  Logger::error("broken");
  ASSERT_EQ(3U, systemLog.size());
  EXPECT_EQ(7, systemLog[0].priority);
  EXPECT_EQ("detail", systemLog[0].text);
  EXPECT_EQ(6, systemLog[1].priority);
  EXPECT_EQ("known", systemLog[1].text);
  EXPECT_EQ(3, systemLog[2].priority);
  EXPECT_EQ("broken", systemLog[2].text);
}

TEST(Logger, never_takes_a_text_for_a_format) {
  systemLog.clear();
  Logger::error("%s%n%d");
  ASSERT_EQ(1U, systemLog.size());
  EXPECT_EQ("%s", systemLog[0].format);
  EXPECT_EQ("%s%n%d", systemLog[0].text);
}

TEST(Logger, default_sink_logs_an_unknown_level_as_information) {
  systemLog.clear();
  for (const int level : {0, 4, -1, 100}) syslog_Logfn(level, "odd");
  ASSERT_EQ(4U, systemLog.size());
  for (const SystemLogLine& line : systemLog) EXPECT_EQ(6, line.priority);
}

TEST(Logger, drops_lines_while_the_function_is_null) {
  systemLog.clear();
  tavrik_Install_Logfn(nullptr);
  Logger::error("nobody hears");
  tavrik_Install_Logfn(syslog_Logfn);
  EXPECT_TRUE(systemLog.empty());
}

TEST(Logger, the_latest_function_wins) {
  static std::vector<std::string> first;
  static std::vector<std::string> second;
  tavrik_Install_Logfn([](int, const char* text) { first.emplace_back(text); });
  Logger::info("one");
  tavrik_Install_Logfn([](int, const char* text) { second.emplace_back(text); });
  Logger::info("two");
  tavrik_Install_Logfn(syslog_Logfn);
  EXPECT_EQ((std::vector<std::string>{"one"}), first);
  EXPECT_EQ((std::vector<std::string>{"two"}), second);
}

TEST(Logger, lets_no_exception_of_the_function_out) {
  tavrik_Install_Logfn([](int, const char*) { throw std::runtime_error("no"); });
  EXPECT_NO_THROW(Logger::error("x"));
  tavrik_Install_Logfn([](int, const char*) { throw 1; });
  EXPECT_NO_THROW(Logger::error("x"));
  tavrik_Install_Logfn(syslog_Logfn);
}

TEST(Logger, a_failing_function_does_not_hide_the_failure_being_logged) {
  tavrik_Install_Logfn([](int, const char*) { throw std::runtime_error("no"); });
  tavrik::Message message;
  EXPECT_THROW(message.removePart(0), std::logic_error);
  tavrik_Install_Logfn(syslog_Logfn);
}

// System calls that write are often where a thread is cancelled.
bool functionReturned = false;
bool loggerReturned = false;
int cancelState = PTHREAD_CANCEL_DISABLE;

void* logOnce(void*) {
  Logger::error("the last words of this thread");
  loggerReturned = true;
  // What is pending stays pending, so that the thread ends in an orderly way.
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  return nullptr;
}

TEST(Logger, puts_off_the_cancellation_of_a_thread_while_a_line_is_logged) {
  tavrik_Install_Logfn([](int, const char*) {
    pthread_cancel(pthread_self());
    pthread_testcancel();
    functionReturned = true;
  });
  pthread_t thread{};
  ASSERT_EQ(0, pthread_create(&thread, nullptr, logOnce, nullptr));
  ASSERT_EQ(0, pthread_join(thread, nullptr));
  EXPECT_TRUE(functionReturned);
  EXPECT_TRUE(loggerReturned);
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, cancelState) << "afterwards it may be cancelled again";
  tavrik_Install_Logfn(syslog_Logfn);
}

TEST(Logger, drops_a_line_that_cannot_be_composed_and_lets_the_first_failure_go_on) {
  LogCapture log;
  const support::AllocationFailure noMemory(1, support::AllocationFailure::Span::all);
  EXPECT_THROW(tavrik::Message(1), std::bad_alloc);
  EXPECT_TRUE(noMemory.happened());
  const support::AllocationTruce truce;
  EXPECT_EQ(Log{}, log.lines());
}

}  // namespace
