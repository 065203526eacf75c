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

  bool operator==(const SystemLogLine& other) const {
    return priority == other.priority && format == other.format && text == other.text;
  }
};
using SystemLog = std::vector<SystemLogLine>;
SystemLog systemLog;

}  // namespace

// Replaces the C library's function, so that the default sink can be observed.
extern "C" void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  systemLog.push_back({priority, format, text});
}

namespace {

using namespace support;
using tavrik::Logger;

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() { systemLog.clear(); }
  ~LoggerTest() override { tavrik_Install_Logfn(syslog_Logfn); }
};

TEST_F(LoggerTest, PublishesANameAndAFacilityForTheSystemLog) {
  EXPECT_EQ("Tavrik", Logger::app_name);
  EXPECT_EQ(136, Logger::facility);
  EXPECT_EQ(LOG_LOCAL1, Logger::facility);
}

TEST_F(LoggerTest, CallsTheInstalledFunctionWithTheLevel) {
  const LogCapture log;
  Logger::error("broken");
  Logger::info("known");
  Logger::debug("detail");
  EXPECT_EQ((Log{{3, "broken"}, {2, "known"}, {1, "detail"}}), LogCapture::lines());
}

TEST_F(LoggerTest, WritesToTheSystemLogUntilAFunctionIsInstalled) {
  Logger::debug("detail");
  Logger::info("known");
  Logger::error("%s%n%d");
  EXPECT_EQ((SystemLog{{7, "%s", "detail"}, {6, "%s", "known"}, {3, "%s", "%s%n%d"}}), systemLog);
}

TEST_F(LoggerTest, DefaultSinkLogsAnUnknownLevelAsInformation) {
  for (const int level : {0, 4, -1, 100}) syslog_Logfn(level, "odd");
  EXPECT_EQ(SystemLog(4, {6, "%s", "odd"}), systemLog);
}

TEST_F(LoggerTest, DropsLinesWhileTheFunctionIsNull) {
  tavrik_Install_Logfn(nullptr);
  Logger::error("dropped");
  EXPECT_EQ(SystemLog{}, systemLog);
}

TEST_F(LoggerTest, CallsOnlyTheLatestFunction) {
  static std::vector<std::string> first;
  static std::vector<std::string> second;
  tavrik_Install_Logfn([](int, const char* text) { first.emplace_back(text); });
  Logger::info("one");
  tavrik_Install_Logfn([](int, const char* text) { second.emplace_back(text); });
  Logger::info("two");
  EXPECT_EQ((std::vector<std::string>{"one"}), first);
  EXPECT_EQ((std::vector<std::string>{"two"}), second);
}

TEST_F(LoggerTest, DropsExceptionsOfTheFunction) {
  tavrik_Install_Logfn([](int, const char*) { throw 1; });
  EXPECT_NO_THROW(Logger::error("x"));
  tavrik_Install_Logfn([](int, const char*) { throw std::runtime_error("no"); });
  EXPECT_NO_THROW(Logger::error("x"));
  tavrik::Message message;
  EXPECT_THROW(message.removePart(0), std::logic_error) << "the failure that is being logged";
}

// System calls that write are cancellation points.
bool functionReturned = false;
bool loggerReturned = false;
int cancelState = PTHREAD_CANCEL_DISABLE;

void* logOnce(void*) {
  Logger::error("the last line of this thread");
  loggerReturned = true;
  // Keeps the cancellation pending, so that the thread returns normally.
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  return nullptr;
}

TEST_F(LoggerTest, DefersTheCancellationOfAThreadWhileALineIsLogged) {
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
}

TEST_F(LoggerTest, DropsALineOnAllocationFailureAndTheFirstFailurePropagates) {
  const LogCapture log;
  const AllocationFailure noMemory(1, AllocationFailure::Span::all);
  EXPECT_THROW(tavrik::Message(1), std::bad_alloc);
  EXPECT_TRUE(noMemory.happened());
  const AllocationTruce truce;
  EXPECT_EQ(Log{}, LogCapture::lines());
}

}  // namespace
