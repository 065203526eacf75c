/* The C functions over messages, called the way a C program calls them. */
#include "c_test.h"

#include <string.h>

static tavrik_message_t* message; /* of two parts, "first" and "second" */

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

static void assert_part(tavrik_message_t* msg, unsigned int index, const char* expected) {
  char part[64];
  assert_int_equal(0, tavrik_getPart(msg, index, part));
  assert_string_equal(expected, part);
}

static void create_makes_empty_parts(void** state) {
  (void)state;
  tavrik_message_t* const empty = tavrik_createMessage(0);
  assert_int_equal(0, tavrik_getnumParts(empty));
  tavrik_deleteMessage(empty);
  tavrik_message_t* const three = tavrik_createMessage(3);
  assert_int_equal(3, tavrik_getnumParts(three));
  for (unsigned int i = 0; i < 3; ++i) assert_int_equal(0, tavrik_getPartlength(three, i));
  tavrik_deleteMessage(three);
}

static void delete_ignores_null(void** state) {
  (void)state;
  tavrik_deleteMessage(NULL);
  assert_log("");
}

static void deferred_message_survives_one_deletion(void** state) {
  (void)state;
  tavrik_message_t* const kept = tavrik_createMessage(1);
  assert_int_equal(0, tavrik_deferMsgFree(kept, 1));
  tavrik_deleteMessage(kept);
  assert_int_equal(1, tavrik_getnumParts(kept));
  tavrik_deleteMessage(kept); /* the sanitized build notices if this frees nothing */
}

static void any_non_zero_value_defers(void** state) {
  (void)state;
  tavrik_message_t* const kept = tavrik_createMessage(1);
  assert_int_equal(0, tavrik_deferMsgFree(kept, -5));
  tavrik_deleteMessage(kept);
  assert_int_equal(1, tavrik_getnumParts(kept));
  tavrik_deleteMessage(kept);
}

static void clearing_the_deferral_takes_no_reference_back(void** state) {
  (void)state;
  tavrik_message_t* const kept = tavrik_createMessage(1);
  tavrik_deferMsgFree(kept, 1);
  assert_int_equal(0, tavrik_deferMsgFree(kept, 0));
  tavrik_deleteMessage(kept);
  assert_int_equal(1, tavrik_getnumParts(kept));
  tavrik_deleteMessage(kept);
}

static void defer_refuses_null_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_deferMsgFree(NULL, 1));
  assert_int_equal(-1, tavrik_deferMsgFree(NULL, 0));
  assert_log("");
}

static void copy_has_the_parts_of_the_source_whatever_was_reserved(void** state) {
  (void)state;
  for (unsigned int reserved = 0; reserved < 4; ++reserved) {
    tavrik_message_t* const copy = tavrik_copyMessage(message, reserved);
    assert_int_equal(2, tavrik_getnumParts(copy));
    assert_part(copy, 0, "first");
    assert_part(copy, 1, "second");
    assert_int_equal(0, tavrik_setPart(copy, 0, "changed"));
    assert_part(message, 0, "first");
    tavrik_deferMsgFree(copy, 1);
    tavrik_deleteMessage(copy);
  }
  assert_log("");
}

static void copy_survives_deletion_until_it_is_given_references(void** state) {
  (void)state;
  tavrik_message_t* const copy = tavrik_copyMessage(message, 0);
  tavrik_deleteMessage(copy); /* wraps its count below zero */
  assert_int_equal(2, tavrik_getnumParts(copy));
  tavrik_deferMsgFree(copy, 1); /* back to zero */
  tavrik_deferMsgFree(copy, 1);
  tavrik_deleteMessage(copy); /* the sanitized build notices if this frees nothing */
}

static void number_of_parts_grows_and_shrinks(void** state) {
  (void)state;
  assert_int_equal(0, tavrik_setnumParts(message, 3));
  assert_int_equal(3, tavrik_getnumParts(message));
  assert_part(message, 1, "second");
  assert_part(message, 2, "");
  assert_int_equal(0, tavrik_setnumParts(message, 1));
  assert_int_equal(1, tavrik_getnumParts(message));
  assert_part(message, 0, "first");
}

static void number_of_parts_refuses_null_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_getnumParts(NULL));
  assert_int_equal(-1, tavrik_setnumParts(NULL, 1));
  assert_log("");
}

static void part_length_counts_bytes(void** state) {
  (void)state;
  assert_int_equal(5, tavrik_getPartlength(message, 0));
  tavrik_setBinPart(message, 0, "a\0b", 3);
  assert_int_equal(3, tavrik_getPartlength(message, 0));
  assert_log("");
}

static void part_length_of_a_bad_index_has_a_code_of_its_own(void** state) {
  (void)state;
  assert_int_equal(-34, tavrik_getPartlength(message, 2));
  assert_log(
      "1 Error : Tavrik::Message::operator []() : Message part index out of boundstavrik:-5\n"
      "1 Error : tavrik_getPartlength() : Message part index out of boundstavrik:-5\n");
}

static void part_length_refuses_null_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_getPartlength(NULL, 0));
  assert_log("");
}

static void text_of_a_part_ends_at_its_first_nul(void** state) {
  (void)state;
  char part[8];
  memset(part, '#', sizeof part);
  tavrik_setBinPart(message, 0, "ab\0cd", 5);
  assert_int_equal(0, tavrik_getPart(message, 0, part));
  assert_memory_equal("ab\0#####", part, sizeof part);
}

static void text_of_a_bad_index_has_a_code_of_its_own(void** state) {
  (void)state;
  char part[8] = "same";
  assert_int_equal(-35, tavrik_getPart(message, 2, part));
  assert_string_equal("same", part);
  assert_log(
      "1 Error : Tavrik::Message::operator []() : Message part index out of boundstavrik:-5\n"
      "1 Error : tavrik_getPart() : Message part index out of boundstavrik:-5\n");
}

static void text_refuses_null_unlogged(void** state) {
  (void)state;
  char part[8];
  assert_int_equal(-1, tavrik_getPart(NULL, 0, part));
  assert_int_equal(-1, tavrik_getPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_setPart(NULL, 0, "x"));
  assert_int_equal(-1, tavrik_setPart(message, 0, NULL));
  assert_log("");
}

static void set_replaces_a_part(void** state) {
  (void)state;
  assert_int_equal(0, tavrik_setPart(message, 1, "new"));
  assert_part(message, 1, "new");
  assert_int_equal(2, tavrik_getnumParts(message));
}

static void set_at_the_count_is_refused_where_insertion_appends(void** state) {
  (void)state;
  assert_int_equal(-5, tavrik_setPart(message, 2, "x"));
  assert_log(
      "1 Error : Tavrik::Message::operator []() : Message part index out of boundstavrik:-5\n"
      "1 Error : tavrik_setPart() : Message part index out of boundstavrik:-5\n");
  assert_int_equal(2, tavrik_getnumParts(message));
  assert_int_equal(0, tavrik_insertPart(message, 2, "third"));
  assert_part(message, 2, "third");
}

static void bytes_are_written_and_read_whole(void** state) {
  (void)state;
  char bytes[6];
  memset(bytes, '#', sizeof bytes);
  assert_int_equal(0, tavrik_setBinPart(message, 0, "a\0b\0c", 5));
  assert_int_equal(0, tavrik_getBinPart(message, 0, bytes));
  assert_memory_equal("a\0b\0c#", bytes, sizeof bytes);
  assert_int_equal(0, tavrik_setBinPart(message, 0, "ignored", 0));
  assert_int_equal(0, tavrik_getPartlength(message, 0));
}

static void bytes_of_a_bad_index_are_decoded(void** state) {
  (void)state;
  char bytes[8] = "same";
  assert_int_equal(-5, tavrik_getBinPart(message, 2, bytes));
  assert_string_equal("same", bytes);
  assert_log(
      "1 Error : Tavrik::Message::operator []() : Message part index out of boundstavrik:-5\n"
      "1 Error : tavrik_getBinPart() : Message part index out of boundstavrik:-5\n");
  capture_log();
  assert_int_equal(-5, tavrik_setBinPart(message, 2, "x", 1));
  assert_log(
      "1 Error : Tavrik::Message::operator []() : Message part index out of boundstavrik:-5\n"
      "3 Error : tavrik_setBinPart() : Message part index out of boundstavrik:-5\n");
}

static void bytes_refuse_null_unlogged(void** state) {
  (void)state;
  char bytes[8];
  assert_int_equal(-1, tavrik_getBinPart(NULL, 0, bytes));
  assert_int_equal(-1, tavrik_getBinPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_setBinPart(NULL, 0, "x", 1));
  assert_int_equal(-1, tavrik_setBinPart(message, 0, NULL, 1));
  assert_log("");
}

static void insertion_puts_a_part_before_the_index(void** state) {
  (void)state;
  assert_int_equal(0, tavrik_insertPart(message, 1, "between"));
  assert_int_equal(0, tavrik_insertBinPart(message, 0, "\0", 1));
  assert_int_equal(4, tavrik_getnumParts(message));
  assert_int_equal(1, tavrik_getPartlength(message, 0));
  assert_part(message, 1, "first");
  assert_part(message, 2, "between");
  assert_part(message, 3, "second");
}

static void insertion_past_the_count_is_refused(void** state) {
  (void)state;
  assert_int_equal(-5, tavrik_insertPart(message, 3, "x"));
  assert_log(
      "1 Error : Tavrik::Message::insertPart() : Invalid part numbertavrik:-5\n"
      "1 Error : tavrik_insertPart() : Invalid part numbertavrik:-5\n");
  capture_log();
  assert_int_equal(-5, tavrik_insertBinPart(message, 3, "x", 1));
  assert_log(
      "1 Error : Tavrik::Message::insertPart() : Invalid part numbertavrik:-5\n"
      "3 Error : tavrik_insertBinPart() : Invalid part numbertavrik:-5\n");
  assert_int_equal(2, tavrik_getnumParts(message));
}

static void insertion_refuses_null_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_insertPart(NULL, 0, "x"));
  assert_int_equal(-1, tavrik_insertPart(message, 0, NULL));
  assert_int_equal(-1, tavrik_insertBinPart(NULL, 0, "x", 1));
  assert_int_equal(-1, tavrik_insertBinPart(message, 0, NULL, 1));
  assert_log("");
}

static void removal_moves_later_parts_down(void** state) {
  (void)state;
  assert_int_equal(0, tavrik_removePart(message, 0));
  assert_int_equal(1, tavrik_getnumParts(message));
  assert_part(message, 0, "second");
}

static void removal_of_a_bad_index_is_refused(void** state) {
  (void)state;
  assert_int_equal(-5, tavrik_removePart(message, 2));
  assert_int_equal(2, tavrik_getnumParts(message));
  assert_log(
      "1 Error : Tavrik::Message::removePart() : Invalid part numbertavrik:-5\n"
      "1 Error : tavrik_removePart() : Invalid part numbertavrik:-5\n");
}

static void removal_refuses_null_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_removePart(NULL, 0));
  assert_log("");
}

static void a_message_without_handle_hands_out_null(void** state) {
  (void)state;
  assert_null(tavrik_getHandle(message));
  assert_null(tavrik_getHandle(NULL));
  assert_int_equal(0, tavrik_setHandle(message, NULL));
  assert_int_equal(-1, tavrik_setHandle(NULL, NULL));
  assert_log("");
}

#define with_message(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      with_message(create_makes_empty_parts),
      with_message(delete_ignores_null),
      with_message(deferred_message_survives_one_deletion),
      with_message(any_non_zero_value_defers),
      with_message(clearing_the_deferral_takes_no_reference_back),
      with_message(defer_refuses_null_unlogged),
      with_message(copy_has_the_parts_of_the_source_whatever_was_reserved),
      with_message(copy_survives_deletion_until_it_is_given_references),
      with_message(number_of_parts_grows_and_shrinks),
      with_message(number_of_parts_refuses_null_unlogged),
      with_message(part_length_counts_bytes),
      with_message(part_length_of_a_bad_index_has_a_code_of_its_own),
      with_message(part_length_refuses_null_unlogged),
      with_message(text_of_a_part_ends_at_its_first_nul),
      with_message(text_of_a_bad_index_has_a_code_of_its_own),
      with_message(text_refuses_null_unlogged),
      with_message(set_replaces_a_part),
      with_message(set_at_the_count_is_refused_where_insertion_appends),
      with_message(bytes_are_written_and_read_whole),
      with_message(bytes_of_a_bad_index_are_decoded),
      with_message(bytes_refuse_null_unlogged),
      with_message(insertion_puts_a_part_before_the_index),
      with_message(insertion_past_the_count_is_refused),
      with_message(insertion_refuses_null_unlogged),
      with_message(removal_moves_later_parts_down),
      with_message(removal_of_a_bad_index_is_refused),
      with_message(removal_refuses_null_unlogged),
      with_message(a_message_without_handle_hands_out_null),
  };
  return cmocka_run_group_tests_name("messages", tests, NULL, NULL);
}
