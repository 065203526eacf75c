/* What channels answer when properties are set and read, one row each. */
#ifndef TAVRIK_TESTS_C_PROPERTY_TABLES_H
#define TAVRIK_TESTS_C_PROPERTY_TABLES_H

#include "c_test.h"

#include <stdio.h>

/* A setting: 0, or a code with the refusal's text. A refusal without a text is not logged. */
typedef struct setting_t {
  tavrik_channel_t* const* channel;
  unsigned int prop;
  const char* value;
  int code;
  const char* text;
} setting_t;

/* A reading: 0 and the value, or a code with the refusal's text. */
typedef struct reading_t {
  tavrik_channel_t* const* channel;
  unsigned int prop;
  int code;
  const char* text;
} reading_t;

static void assert_answer(unsigned int prop, const char* value, int expected, int answered) {
  if (answered == expected) return;
  fail_msg("property %u, value \"%s\": %d instead of %d", prop, value, answered, expected);
}

/* The line of each member that a refusal passes on its way out of the class, and of the function.
 */
static void assert_refusal_logged(const char* class_name, const char* member, int code,
                                  const char* text) {
  char failure[512];
  char expected[2048];
  const int is_base = code == -9 || code == -11; /* the type of service is the base's */
  if (text == NULL) {
    assert_log("");
    return;
  }
  snprintf(failure, sizeof failure, "%stavrik:%d\n", text, code);
  snprintf(expected, sizeof expected,
           "%s%s1 Error : Tavrik::%s::%s() : %s1 Error : tavrik_%s() : %s",
           is_base ? "1 Error : Tavrik::MsgPattern::setTosPropVal() : " : "",
           is_base ? failure : "", class_name, member, failure, member, failure);
  assert_log(expected);
}

/* Sets each in turn; so an earlier row may prepare a later one. */
static void assert_settings(const char* class_name, const setting_t* rows, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const setting_t* const row = &rows[i];
    capture_log();
    assert_answer(row->prop, row->value, row->code,
                  tavrik_setProperty(*row->channel, (channel_prop_t)row->prop, row->value));
    assert_refusal_logged(class_name, "setProperty", row->code, row->text);
  }
}

static void assert_readings(const char* class_name, const reading_t* rows, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const reading_t* const row = &rows[i];
    char value[PROPERTY_BUFFER_SIZE] = "untouched";
    capture_log();
    assert_answer(row->prop, row->text, row->code,
                  tavrik_getProperty(*row->channel, (channel_prop_t)row->prop, value));
    assert_string_equal(row->code == 0 ? row->text : "untouched", value);
    assert_refusal_logged(class_name, "getProperty", row->code, row->code == 0 ? NULL : row->text);
  }
}

#define ROWS(table) (table), sizeof(table) / sizeof((table)[0])

#endif
