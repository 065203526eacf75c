// Compiled into two programs: one whose process has an entry point for installing routines into
// the transport, defined here, and one whose process has none.
#include <tavrik/tavrik.h>

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

#ifdef TRANSPORT_TAKES_ROUTINES
namespace {

void* transportTable = nullptr;
tavrik_mm_routines_t transportEntries;  // what the table held when the transport got it
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

struct Calls {
  int mallocs = 0;
  int callocs = 0;
  int reallocs = 0;
} calls;

std::size_t lastSize = 0;
std::size_t lastCount = 0;
void* lastBlock = nullptr;

void* countedMalloc(std::size_t size) {
  ++calls.mallocs;
  lastSize = size;
  return std::malloc(size);
}

void* countedCalloc(std::size_t count, std::size_t size) {
  ++calls.callocs;
  lastCount = count;
  lastSize = size;
  return std::calloc(count, size);
}

void* countedRealloc(void* block, std::size_t size) {
  ++calls.reallocs;
  lastBlock = block;
  lastSize = size;
  return std::realloc(block, size);
}

char anyBlock;

void* otherMalloc(std::size_t) {
  return &anyBlock;
}

void* otherCalloc(std::size_t, std::size_t) {
  return &anyBlock;
}

void* otherRealloc(void*, std::size_t) {
  return nullptr;
}

// Every test starts from the state at load.
class MemoryRoutines : public testing::Test {
 protected:
  MemoryRoutines() {
    tavrik_mm_routines = {nullptr, nullptr, nullptr};
    tavrikmalloccount = tavrikcalloccount = tavrikrealloccount = 0;
    calls = {};
  }

  static void install(const tavrik_mm_routines_t& routines) {
    tavrik_Install_mm_routines(&routines);
  }
};

TEST(MemoryRoutinesAtLoad, table_and_counters_are_zero) {
  EXPECT_EQ(nullptr, tavrik_mm_routines.malloc_routine);
  EXPECT_EQ(nullptr, tavrik_mm_routines.calloc_routine);
  EXPECT_EQ(nullptr, tavrik_mm_routines.realloc_routine);
  EXPECT_EQ(0U, tavrikmalloccount);
  EXPECT_EQ(0U, tavrikcalloccount);
  EXPECT_EQ(0U, tavrikrealloccount);
}

TEST_F(MemoryRoutines, the_table_is_three_pointers_in_a_row) {
  EXPECT_EQ(3 * sizeof(void*), sizeof tavrik_mm_routines);
  install({countedMalloc, countedCalloc, countedRealloc});
  void* entries[3];
  std::memcpy(entries, &tavrik_mm_routines, sizeof entries);
  EXPECT_EQ(reinterpret_cast<void*>(countedMalloc), entries[0]);
  EXPECT_EQ(reinterpret_cast<void*>(countedCalloc), entries[1]);
  EXPECT_EQ(reinterpret_cast<void*>(countedRealloc), entries[2]);
}

TEST_F(MemoryRoutines, fall_back_to_the_c_library) {
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

TEST_F(MemoryRoutines, each_call_raises_only_its_own_counter) {
  std::free(tavrik_malloc(1));
  EXPECT_EQ(1U, tavrikmalloccount);
  EXPECT_EQ(0U, tavrikcalloccount);
  EXPECT_EQ(0U, tavrikrealloccount);
  std::free(tavrik_calloc(1, 1));
  EXPECT_EQ(1U, tavrikmalloccount);
  EXPECT_EQ(1U, tavrikcalloccount);
  EXPECT_EQ(0U, tavrikrealloccount);
  std::free(tavrik_realloc(nullptr, 1));
  EXPECT_EQ(1U, tavrikmalloccount);
  EXPECT_EQ(1U, tavrikcalloccount);
  EXPECT_EQ(1U, tavrikrealloccount);
}

TEST_F(MemoryRoutines, counters_rise_with_installed_routines_too) {
  install({countedMalloc, countedCalloc, countedRealloc});
  std::free(tavrik_malloc(1));
  std::free(tavrik_calloc(1, 1));
  std::free(tavrik_realloc(nullptr, 1));
  EXPECT_EQ(1U, tavrikmalloccount);
  EXPECT_EQ(1U, tavrikcalloccount);
  EXPECT_EQ(1U, tavrikrealloccount);
}

TEST_F(MemoryRoutines, counters_wrap) {
  tavrikmalloccount = tavrikcalloccount = tavrikrealloccount = 0xffffffffU;
  std::free(tavrik_malloc(1));
  std::free(tavrik_calloc(1, 1));
  std::free(tavrik_realloc(nullptr, 1));
  EXPECT_EQ(0U, tavrikmalloccount);
  EXPECT_EQ(0U, tavrikcalloccount);
  EXPECT_EQ(0U, tavrikrealloccount);
}

TEST_F(MemoryRoutines, installed_routines_get_the_arguments_unchanged) {
  install({countedMalloc, countedCalloc, countedRealloc});
  void* const block = tavrik_malloc(17);
  EXPECT_EQ(17U, lastSize);
  void* const array = tavrik_calloc(3, 5);
  EXPECT_EQ(3U, lastCount);
  EXPECT_EQ(5U, lastSize);
  void* const resized = tavrik_realloc(block, 99);
  EXPECT_EQ(99U, lastSize);
  EXPECT_EQ(block, lastBlock);
  EXPECT_EQ(1, calls.mallocs);
  EXPECT_EQ(1, calls.callocs);
  EXPECT_EQ(1, calls.reallocs);
  std::free(array);
  std::free(resized);
}

TEST_F(MemoryRoutines, the_result_of_a_routine_comes_back_as_it_is) {
  install({otherMalloc, otherCalloc, otherRealloc});
  EXPECT_EQ(&anyBlock, tavrik_malloc(1));
  EXPECT_EQ(&anyBlock, tavrik_calloc(1, 1));
  EXPECT_EQ(nullptr, tavrik_realloc(&anyBlock, 1));
}

TEST_F(MemoryRoutines, the_table_is_read_at_each_call) {
  tavrik_mm_routines.malloc_routine = otherMalloc;
  EXPECT_EQ(&anyBlock, tavrik_malloc(1));
  tavrik_mm_routines.malloc_routine = nullptr;
  void* const block = tavrik_malloc(1);
  EXPECT_NE(&anyBlock, block);
  std::free(block);
}

TEST_F(MemoryRoutines, an_empty_entry_leaves_the_c_library_in_place) {
  install({countedMalloc, nullptr, nullptr});
  std::free(tavrik_malloc(1));
  std::free(tavrik_calloc(1, 1));
  std::free(tavrik_realloc(nullptr, 1));
  EXPECT_EQ(1, calls.mallocs);
  EXPECT_EQ(0, calls.callocs);
  EXPECT_EQ(0, calls.reallocs);
}

TEST_F(MemoryRoutines, an_empty_entry_never_removes_a_routine) {
  install({countedMalloc, countedCalloc, countedRealloc});
  install({nullptr, nullptr, nullptr});
  EXPECT_EQ(countedMalloc, tavrik_mm_routines.malloc_routine);
  EXPECT_EQ(countedCalloc, tavrik_mm_routines.calloc_routine);
  EXPECT_EQ(countedRealloc, tavrik_mm_routines.realloc_routine);
}

TEST_F(MemoryRoutines, a_routine_can_be_replaced) {
  install({countedMalloc, nullptr, nullptr});
  install({otherMalloc, nullptr, nullptr});
  EXPECT_EQ(otherMalloc, tavrik_mm_routines.malloc_routine);
}

#ifdef TRANSPORT_TAKES_ROUTINES
TEST_F(MemoryRoutines, the_transport_gets_the_librarys_own_table_and_its_result_comes_back) {
  const tavrik_mm_routines_t routines = {countedMalloc, countedCalloc, countedRealloc};
  const int callsBefore = transportCalls;
  EXPECT_EQ(transportResult, tavrik_Install_mm_routines(&routines));
  EXPECT_EQ(callsBefore + 1, transportCalls);
  EXPECT_EQ(&tavrik_mm_routines, transportTable);
  EXPECT_EQ(countedMalloc, transportEntries.malloc_routine) << "after the routines are installed";
  EXPECT_EQ(countedCalloc, transportEntries.calloc_routine);
  EXPECT_EQ(countedRealloc, transportEntries.realloc_routine);
}
#else
TEST_F(MemoryRoutines, a_transport_without_the_entry_point_is_no_failure) {
  const tavrik_mm_routines_t routines = {countedMalloc, nullptr, nullptr};
  EXPECT_EQ(0, tavrik_Install_mm_routines(&routines));
  EXPECT_EQ(countedMalloc, tavrik_mm_routines.malloc_routine);
}
#endif

}  // namespace
