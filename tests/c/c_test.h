/* cmocka with the headers that it needs before it. */
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

/* Long enough for anything that will happen at all, on a loaded machine too; milliseconds. */
#define PATIENCE 20000

/* The whole log since capture_log(); lines end in \n. */
#define assert_log(expected) assert_string_equal(expected, captured_log())

#endif
