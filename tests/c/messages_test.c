/* What the C functions over messages add to the class: refused arguments, codes, and how text and
 * bytes get into a part and into the caller's buffer. */
#include "c_test.h"

#include <string.h>

static tavrik_message_t* message; /* with the parts "first" and "second" */

static int set_up(void** state) {
  (void)state;
  message = tavrik_createMessage(0);
  tavrik_insertPart(message, 0, "first");
  tavrik_insertPart(message, 1, "second");
  capture_log();
  return 0;
}

static int tear_down(void** state) {
  (void)state;
  tavrik_deleteMessage(message);
  release_log();
  return 0;
}

TEST(a_message_is_created_with_empty_parts) {
  for (unsigned int count = 0; count < 4; ++count) {
    tavrik_message_t* const created = tavrik_createMessage(count);
    assert_int_equal(count, tavrik_getnumParts(created));
    for (unsigned int i = 0; i < count; ++i) {
      assert_int_equal(0, tavrik_getPartlength(created, i));
    }
    tavrik_deleteMessage(created);
  }
}

TEST(null_arguments_are_refused_unlogged) {
  char buffer[8];
  tavrik_deleteMessage(NULL);
  assert_int_equal(-1, tavrik_getnumParts(NULL));
  assert_int_equal(-1, tavrik_setnumParts(NULL, 1));
  assert_int_equal(-1, tavrik_getPartlength(NULL, 0));
  assert_int_equal(-1, tavrik_getPart(NULL, 0, buffer));
  assert_int_equal(-1, tavrik_getPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_setPart(NULL, 0, "x"));
  assert_int_equal(-1, tavrik_setPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_getBinPart(NULL, 0, buffer));
  assert_int_equal(-1, tavrik_getBinPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_setBinPart(NULL, 0, "x", 1));
  assert_int_equal(-1, tavrik_setBinPart(message, 0, NULL, 1));
  assert_int_equal(-1, tavrik_insertPart(NULL, 0, "x"));
  assert_int_equal(-1, tavrik_insertPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_insertBinPart(NULL, 0, "x", 1));
  assert_int_equal(-1, tavrik_insertBinPart(message, 0, NULL, 1));
  assert_int_equal(-1, tavrik_removePart(NULL, 0));
  assert_null(tavrik_getHandle(NULL));
  assert_int_equal(-1, tavrik_setHandle(NULL, NULL));
  assert_int_equal(-1, tavrik_deferMsgFree(NULL, 1));
  assert_int_equal(-1, tavrik_deferMsgFree(NULL, 0));
  assert_log("");
}

TEST(a_wrong_index_has_a_code_and_changes_nothing) {
  char buffer[8] = "same";
  assert_int_equal(-34, tavrik_getPartlength(message, 2));
  assert_int_equal(-35, tavrik_getPart(message, 2, buffer));
  assert_int_equal(-5, tavrik_getBinPart(message, 2, buffer));
  assert_string_equal("same", buffer);
  assert_int_equal(-5, tavrik_setPart(message, 2, "x"));
  assert_int_equal(-5, tavrik_setBinPart(message, 2, "x", 1));
  assert_int_equal(-5, tavrik_insertPart(message, 3, "x"));
  assert_int_equal(-5, tavrik_insertBinPart(message, 3, "x", 1));
  assert_int_equal(-5, tavrik_removePart(message, 2));
  assert_int_equal(2, tavrik_getnumParts(message));
}

TEST(a_copy_has_the_parts_of_its_source_whatever_was_reserved) {
  for (unsigned int reserved = 0; reserved < 4; ++reserved) {
    tavrik_message_t* const copy = tavrik_copyMessage(message, reserved);
    assert_int_equal(2, tavrik_getnumParts(copy));
    assert_part(copy, 0, "first");
    assert_part(copy, 1, "second");
    tavrik_deferMsgFree(copy, 1); /* a copy has no reference */
    tavrik_deleteMessage(copy);
  }
}

TEST(the_number_of_parts_can_be_changed) {
  assert_int_equal(0, tavrik_setnumParts(message, 3));
  assert_int_equal(3, tavrik_getnumParts(message));
  assert_part(message, 2, "");
  assert_int_equal(0, tavrik_setnumParts(message, 1));
  assert_int_equal(1, tavrik_getnumParts(message));
}

TEST(parts_are_set_inserted_and_removed) {
  assert_int_equal(0, tavrik_setPart(message, 1, "new"));
  assert_int_equal(0, tavrik_insertPart(message, 2, "appended"));
  assert_int_equal(0, tavrik_insertBinPart(message, 1, "binary", 3));
  assert_int_equal(0, tavrik_removePart(message, 0));
  assert_int_equal(3, tavrik_getnumParts(message));
  assert_part(message, 0, "bin");
  assert_part(message, 1, "new");
  assert_part(message, 2, "appended");
  assert_log("");
}

TEST(bytes_are_written_and_read_with_their_zero_bytes) {
  char bytes[6];
  memset(bytes, '#', sizeof bytes);
  assert_int_equal(0, tavrik_setBinPart(message, 0, "a\0b\0c", 5));
  assert_int_equal(5, tavrik_getPartlength(message, 0));
  assert_int_equal(0, tavrik_getBinPart(message, 0, bytes));
  assert_memory_equal("a\0b\0c#", bytes, sizeof bytes);
  assert_int_equal(0, tavrik_insertBinPart(message, 0, "\0", 1));
  assert_int_equal(1, tavrik_getPartlength(message, 0));
  assert_int_equal(0, tavrik_setBinPart(message, 0, "ignored", 0));
  assert_int_equal(0, tavrik_getPartlength(message, 0));
}

TEST(text_is_read_up_to_its_first_zero_byte) {
  char text[8];
  memset(text, '#', sizeof text);
  assert_int_equal(0, tavrik_setBinPart(message, 0, "ab\0cd", 5));
  assert_int_equal(0, tavrik_getPart(message, 0, text));
  assert_memory_equal("ab\0#####", text, sizeof text);
}

TEST(a_message_without_a_handle_returns_null) {
  assert_null(tavrik_getHandle(message));
  assert_int_equal(0, tavrik_setHandle(message, NULL));
  assert_log("");
}

#define with_message(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      with_message(a_message_is_created_with_empty_parts),
      with_message(null_arguments_are_refused_unlogged),
      with_message(a_wrong_index_has_a_code_and_changes_nothing),
      with_message(a_copy_has_the_parts_of_its_source_whatever_was_reserved),
      with_message(the_number_of_parts_can_be_changed),
      with_message(parts_are_set_inserted_and_removed),
      with_message(bytes_are_written_and_read_with_their_zero_bytes),
      with_message(text_is_read_up_to_its_first_zero_byte),
      with_message(a_message_without_a_handle_returns_null),
  };
  return cmocka_run_group_tests_name("messages", tests, NULL, NULL);
}
