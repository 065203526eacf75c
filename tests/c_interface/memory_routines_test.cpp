// Compiled into two programs: one that defines ZeroMQ's entry point for allocation routines, and
// one whose process has no such entry point.
#include <tavrik/tavrik.h>

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#ifdef TRANSPORT_TAKES_ROUTINES
namespace {

void* transportTable = nullptr;
tavrik_mm_routines_t transportEntries;  // the contents of the table when the transport got it
int transportCalls = 0;
constexpr int transportResult = 42;

}  // namespace

extern "C" int zmq_install_mmfns(void* table) {
  ++transportCalls;
  transportTable = table;
  transportEntries = *static_cast<tavrik_mm_routines_t*>(table);
  return transportResult;
}
#endif

namespace {

// Routines that note their arguments and call the C library.
struct Call {
  std::size_t first;
  std::size_t second;

  bool operator==(const Call& other) const {
    return first == other.first && second == other.second;
  }
};
std::vector<Call> mallocs;
std::vector<Call> callocs;
std::vector<Call> reallocs;

void* notedMalloc(std::size_t size) {
  mallocs.push_back({size, 0});
  return std::malloc(size);
}

void* notedCalloc(std::size_t count, std::size_t size) {
  callocs.push_back({count, size});
  return std::calloc(count, size);
}

void* notedRealloc(void* block, std::size_t size) {
  reallocs.push_back({reinterpret_cast<std::size_t>(block), size});
  return std::realloc(block, size);
}

// Routines that return a fixed result.
char anyBlock;

void* fixedMalloc(std::size_t) {
  return &anyBlock;
}

void* fixedCalloc(std::size_t, std::size_t) {
  return &anyBlock;
}

void* fixedRealloc(void*, std::size_t) {
  return nullptr;
}

using Counters = std::vector<uint32_t>;

Counters counters() {
  return {tavrikmalloccount, tavrikcalloccount, tavrikrealloccount};
}

// Every test starts from the state at load.
class MemoryRoutinesTest : public testing::Test {
 protected:
  MemoryRoutinesTest() {
    tavrik_mm_routines = {nullptr, nullptr, nullptr};
    tavrikmalloccount = tavrikcalloccount = tavrikrealloccount = 0;
    mallocs.clear();
    callocs.clear();
    reallocs.clear();
  }

  static void install(const tavrik_mm_routines_t& routines) {
    tavrik_Install_mm_routines(&routines);
  }

  static void expectInstalled(const tavrik_mm_routines_t& expected,
                              const tavrik_mm_routines_t& installed = tavrik_mm_routines) {
    EXPECT_EQ(expected.malloc_routine, installed.malloc_routine);
    EXPECT_EQ(expected.calloc_routine, installed.calloc_routine);
    EXPECT_EQ(expected.realloc_routine, installed.realloc_routine);
  }

  const tavrik_mm_routines_t noted = {notedMalloc, notedCalloc, notedRealloc};
};

TEST(MemoryRoutinesAtLoadTest, TableAndCountersAreZero) {
  EXPECT_EQ(nullptr, tavrik_mm_routines.malloc_routine);
  EXPECT_EQ(nullptr, tavrik_mm_routines.calloc_routine);
  EXPECT_EQ(nullptr, tavrik_mm_routines.realloc_routine);
  EXPECT_EQ((Counters{0, 0, 0}), counters());
}

TEST_F(MemoryRoutinesTest, TableIsThreePointersInARow) {
  EXPECT_EQ(3 * sizeof(void*), sizeof tavrik_mm_routines);
  install(noted);
  void* entries[3];
  std::memcpy(entries, &tavrik_mm_routines, sizeof entries);
  EXPECT_EQ(reinterpret_cast<void*>(notedMalloc), entries[0]);
  EXPECT_EQ(reinterpret_cast<void*>(notedCalloc), entries[1]);
  EXPECT_EQ(reinterpret_cast<void*>(notedRealloc), entries[2]);
}

TEST_F(MemoryRoutinesTest, EmptyTableMeansTheCLibrary) {
  void* block = tavrik_malloc(16);
  ASSERT_NE(nullptr, block);
  std::memset(block, 0x5a, 16);
  block = tavrik_realloc(block, 4096);
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(0x5a, static_cast<char*>(block)[15]);
  std::free(block);

  auto* const array = static_cast<char*>(tavrik_calloc(4, 8));
  ASSERT_NE(nullptr, array);
  for (int i = 0; i < 32; ++i) EXPECT_EQ(0, array[i]);
  std::free(array);
}

TEST_F(MemoryRoutinesTest, EachCallIncrementsItsOwnCounterOnly) {
  for (const bool installed : {false, true}) {
    if (installed) install(noted);
    tavrikmalloccount = tavrikcalloccount = tavrikrealloccount = 0xffffffffU;
    std::free(tavrik_malloc(1));
    EXPECT_EQ((Counters{0, 0xffffffffU, 0xffffffffU}), counters());
    std::free(tavrik_calloc(1, 1));
    EXPECT_EQ((Counters{0, 0, 0xffffffffU}), counters());
    std::free(tavrik_realloc(nullptr, 1));
    EXPECT_EQ((Counters{0, 0, 0}), counters());
  }
}

TEST_F(MemoryRoutinesTest, PassesArgumentsToTheInstalledRoutines) {
  install(noted);
  void* const block = tavrik_malloc(17);
  void* const array = tavrik_calloc(3, 5);
  const auto address = reinterpret_cast<std::size_t>(block);
  void* const resized = tavrik_realloc(block, 99);
  EXPECT_EQ((std::vector<Call>{{17, 0}}), mallocs);
  EXPECT_EQ((std::vector<Call>{{3, 5}}), callocs);
  EXPECT_EQ((std::vector<Call>{{address, 99}}), reallocs);
  std::free(array);
  std::free(resized);
}

TEST_F(MemoryRoutinesTest, ReturnsTheResultOfTheRoutineInTheTable) {
  install({fixedMalloc, fixedCalloc, fixedRealloc});
  EXPECT_EQ(&anyBlock, tavrik_malloc(1));
  EXPECT_EQ(&anyBlock, tavrik_calloc(1, 1));
  EXPECT_EQ(nullptr, tavrik_realloc(&anyBlock, 1));
  tavrik_mm_routines.malloc_routine = nullptr;  // the table is read at each call
  void* const block = tavrik_malloc(1);
  EXPECT_NE(&anyBlock, block);
  std::free(block);
}

TEST_F(MemoryRoutinesTest, AnEmptyEntryKeepsTheInstalledRoutine) {
  install({notedMalloc, nullptr, nullptr});
  expectInstalled({notedMalloc, nullptr, nullptr});
  install({nullptr, notedCalloc, notedRealloc});
  expectInstalled(noted);
  install({fixedMalloc, nullptr, nullptr});
  expectInstalled({fixedMalloc, notedCalloc, notedRealloc});
}

#ifdef TRANSPORT_TAKES_ROUTINES
TEST_F(MemoryRoutinesTest, PassesItsTableToTheTransportAndReturnsTheResult) {
  const int callsBefore = transportCalls;
  EXPECT_EQ(transportResult, tavrik_Install_mm_routines(&noted));
  EXPECT_EQ(callsBefore + 1, transportCalls);
  EXPECT_EQ(&tavrik_mm_routines, transportTable);
  expectInstalled(noted, transportEntries);
}
#else
TEST_F(MemoryRoutinesTest, ATransportWithoutTheEntryPointIsNoFailure) {
  EXPECT_EQ(0, tavrik_Install_mm_routines(&noted));
  expectInstalled(noted);
}
#endif

}  // namespace
