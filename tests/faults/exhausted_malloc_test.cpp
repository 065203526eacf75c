// receiveBinary() allocates its buffer with malloc, and so does the start of a proxy thread its
// record. Here malloc and calloc fail for one size each.
#include <support/failure.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/router_dealer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <string>

namespace {

constexpr std::size_t refusedSize = 54321;
std::atomic<bool> refusing{false};

constexpr std::size_t startRecordSize = 3 * sizeof(void*);  // two sockets and a name
std::atomic<bool> refusingStartRecord{false};

}  // namespace

#ifdef __SANITIZE_ADDRESS__
#define REAL_MALLOC __interceptor_malloc
#define REAL_CALLOC __interceptor_calloc
#else
#define REAL_MALLOC __libc_malloc
#define REAL_CALLOC __libc_calloc
#endif

extern "C" void* REAL_MALLOC(std::size_t size);
extern "C" void* REAL_CALLOC(std::size_t count, std::size_t size);

extern "C" void* malloc(std::size_t size) noexcept {
  if (size == refusedSize && refusing) return nullptr;
  return REAL_MALLOC(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) noexcept {
  if (count == 1 && size == startRecordSize && refusingStartRecord) return nullptr;
  return REAL_CALLOC(count, size);
}

// The address sanitizer's strdup() would not call the malloc() above.
extern "C" char* strdup(const char* text) noexcept {
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = std::malloc(size);
  return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, size)) : nullptr;
}

namespace {

class ReceiveBinaryOutOfMemoryTest : public testing::Test {
 protected:
  // Sends a buffer, and refuses to allocate its size from the moment it has arrived.
  ReceiveBinaryOutOfMemoryTest() {
    tavrik_pollitem_t item = {&pair.server, TAVRIK_POLLIN, 0};
    EXPECT_EQ(0, tavrik_poll(&item, 1, 0));
    std::string file(refusedSize, 'x');
    EXPECT_EQ(1, pair.client.sendBinary("file", file.data(), refusedSize));
    EXPECT_EQ(1, tavrik_poll(&item, 1, support::patience));
    refusing = true;
  }
  ~ReceiveBinaryOutOfMemoryTest() override { refusing = false; }

  support::LogCapture log;
  support::RequestReply pair;
  char subject[SUBJECT_BUFFER_SIZE] = "";
  void* data = subject;
  unsigned int size = 0;
};

const std::string text = "Failed to allocate memory to buffertavrik:-3";
const std::string channelPrefix = "Error : Tavrik::TavrikChannel::receiveBinary() : ";

TEST_F(ReceiveBinaryOutOfMemoryTest, TheChannelFailsAndSetsTheBufferToNull) {
  EXPECT_LOGGED_FAILURE(std::runtime_error, text, {channelPrefix},
                        pair.server.receiveBinary(subject, &data, &size, support::patience));
  EXPECT_EQ(nullptr, data);
  EXPECT_EQ(refusedSize, size);
  EXPECT_STREQ("file", subject);
}

TEST_F(ReceiveBinaryOutOfMemoryTest, TheCInterfaceLogsItLikeAnyFailure) {
  EXPECT_EQ(-3, tavrik_receiveBinary(&pair.server, subject, &data, &size, support::patience));
  EXPECT_EQ(nullptr, data);
  EXPECT_EQ(support::debugLines({channelPrefix, "Error : tavrik_receiveBinary() : "}, text),
            log.lines());
}

class ProxyStartOutOfMemoryTest : public support::PatternTest {
 protected:
  ProxyStartOutOfMemoryTest() : PatternTest("AsyncRouterDealerMsgPattern") {}

  // A worker cannot start its proxy; another one of the name can.
  void expectNoStart(const std::string& name, std::atomic<bool>& refuse) {
    const std::string front = dir.ipcEndpoint();
    const std::string back = dir.ipcEndpoint();
    const support::Worker worker = support::newWorker({front}, back, name);
    const support::TransportFaults watch;
    refuse = true;
    EXPECT_THROW(worker->connectEndpoint(), std::bad_alloc);
    refuse = false;
    EXPECT_EQ(support::making("5"), watch.texts()) << "a socket of the proxy was created";
    support::newWorker({front}, back, name)->connectEndpoint();
    tavrik::Message message;
    EXPECT_EQ(0, worker->receive(&message, 0));
  }
};

TEST_F(ProxyStartOutOfMemoryTest, FailsWithoutTheStartRecordOrItsName) {
  expectNoStart("any", refusingStartRecord);
  expectNoStart(std::string(refusedSize - 1, 'n'), refusing);
}

}  // namespace
