/* The C functions that allocate, with each of their allocations failing in turn. */
#include "c_test.h"

#include <string.h>

static const char long_text[] =
    "a text that no implementation of std::string stores without an allocation of its own";

/* Calls until no allocation fails. Each failed call has to return the failure and to log nothing at
 * its own layer; the classes below may log. The last call has to succeed. */
#define assert_each_allocation_may_fail(call, failure, least_allocations) \
  do {                                                                    \
    int nth = 0;                                                          \
    for (int failed = 1; failed;) {                                       \
      capture_log();                                                      \
      fail_allocation(++nth);                                             \
      const int result = (call);                                          \
      failed = allocation_failed();                                       \
      if (failed) assert_int_equal((failure), result);                    \
      if (!failed) assert_true(result >= 0 && result != (failure));       \
      assert_null(strstr(captured_log(), "Error : tavrik_"));             \
    }                                                                     \
    assert_true(nth > (least_allocations));                               \
  } while (0)

enum { is_null, is_object };

static int created_channel(void) {
  tavrik_channel_t* const channel =
      tavrik_createChannel(long_text, REQUEST_REPLY_PATTERN, REQ_CLIENT);
  if (channel == NULL) return is_null;
  tavrik_deleteChannel(channel);
  return is_object;
}

static int created_message(void) {
  tavrik_message_t* const message = tavrik_createMessage(2);
  if (message == NULL) return is_null;
  tavrik_deleteMessage(message);
  return is_object;
}

static int copied_message(const tavrik_message_t* source) {
  tavrik_message_t* const copy = tavrik_copyMessage(source, 1);
  if (copy == NULL) return is_null;
  tavrik_deferMsgFree(copy, 1); /* a copy has no reference */
  tavrik_deleteMessage(copy);
  return is_object;
}

TEST(creating_an_object_returns_null) {
  tavrik_message_t* const message = tavrik_createMessage(0);
  tavrik_insertPart(message, 0, long_text);
  created_channel(); /* the first one also allocates the transport */
  assert_each_allocation_may_fail(created_channel(), is_null, 3);
  assert_each_allocation_may_fail(created_message(), is_null, 2);
  assert_each_allocation_may_fail(copied_message(message), is_null, 3);
  tavrik_deleteMessage(message);
}

TEST(setting_and_reading_a_property_returns_minus_3) {
  char value[PROPERTY_BUFFER_SIZE];
  tavrik_channel_t* const channel = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  assert_each_allocation_may_fail(tavrik_setProperty(channel, REQ_REP_SERVER_ENDPOINT, long_text),
                                  -3, 1);
  assert_each_allocation_may_fail(tavrik_getProperty(channel, REQ_REP_SERVER_ENDPOINT, value), -3,
                                  1);
  assert_string_equal(long_text, value);
  tavrik_deleteChannel(channel);
}

TEST(sending_parts_returns_minus_3_and_sends_nothing) {
  tavrik_channel_t* const client = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, ipc_endpoint());
  /* A client that had sent could not send again before the reply. */
  assert_each_allocation_may_fail(tavrik_send(client, long_text, 2, long_text, long_text), -3, 4);
  tavrik_deleteChannel(client);
}

TEST(changing_a_message_returns_minus_3_and_changes_nothing) {
  tavrik_message_t* const message = tavrik_createMessage(1);
  assert_each_allocation_may_fail(tavrik_setPart(message, 0, long_text), -3, 1);
  assert_each_allocation_may_fail(tavrik_setBinPart(message, 0, long_text, 80), -3, 1);
  assert_each_allocation_may_fail(tavrik_insertPart(message, 0, long_text), -3, 1);
  assert_each_allocation_may_fail(tavrik_insertBinPart(message, 0, long_text, 80), -3, 1);
  assert_int_equal(3, tavrik_getnumParts(message));
  assert_each_allocation_may_fail(tavrik_setnumParts(message, 100), -3, 1);
  tavrik_deleteMessage(message);
}

int main(void) {
  const struct CMUnitTest tests[] = {
      cmocka_unit_test(creating_an_object_returns_null),
      cmocka_unit_test(setting_and_reading_a_property_returns_minus_3),
      cmocka_unit_test(sending_parts_returns_minus_3_and_sends_nothing),
      cmocka_unit_test(changing_a_message_returns_minus_3_and_changes_nothing),
  };
  const int failed = cmocka_run_group_tests_name("allocation failure", tests, NULL, NULL);
  release_log();
  return failed;
}
