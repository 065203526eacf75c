/* cmocka with the headers that it needs, and what the C tests share. */
#ifndef TAVRIK_TESTS_C_C_TEST_H
#define TAVRIK_TESTS_C_C_TEST_H

/* clang-format off */
#include <setjmp.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <cmocka.h>
/* clang-format on */

#include <support/c_support.h>
#include <tavrik/tavrik.h>

/* Longer than any event takes on a loaded machine, in milliseconds. */
#define PATIENCE 20000

#define TEST(name) static void name(void** state __attribute__((unused)))

/* The whole log since capture_log(). Each line ends in \n. */
#define assert_log(expected) assert_string_equal(expected, captured_log())

static inline void assert_part(tavrik_message_t* message, unsigned int index,
                               const char* expected) {
  char part[64];
  assert_int_equal(0, tavrik_getPart(message, index, part));
  assert_string_equal(expected, part);
}

#endif
