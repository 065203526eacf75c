/* The C functions when memory runs out: one allocation after another is made to fail, until a call
 * needs no more of them. */
#include "c_test.h"

#include <stdlib.h>
#include <string.h>

static const char long_text[] =
    "a text that is too long to be stored without an allocation of its own, whatever the library";

static void assert_own_log_empty(void) {
  /* The floors below may have logged; the C functions may not. */
  assert_null(strstr(captured_log(), "Error : tavrik_"));
}

/* Runs a call with each of its allocations failing in turn; it has to answer as it does when memory
 * is exhausted. The last run has them all. */
#define exhaust(call, exhausted, least_allocations)            \
  do {                                                         \
    int failing = 0;                                           \
    for (int failed = 1; failed;) {                            \
      fail_allocation(++failing);                              \
      const long result = (long)(call);                        \
      failed = allocation_failed();                            \
      if (failed) assert_int_equal((long)(exhausted), result); \
      if (!failed) assert_int_not_equal(-3, result);           \
      assert_own_log_empty();                                  \
    }                                                          \
    assert_true(failing > (least_allocations));                \
  } while (0)

static long created_channel(void) {
  tavrik_channel_t* const channel =
      tavrik_createChannel(long_text, REQUEST_REPLY_PATTERN, REQ_CLIENT);
  if (channel == NULL) return 0;
  tavrik_deleteChannel(channel);
  return 1;
}

static void creating_a_channel(void** state) {
  (void)state;
  created_channel(); /* brings the transport up, which has allocations of its own */
  capture_log();
  exhaust(created_channel(), 0, 3);
}

static void setting_and_reading_a_property(void** state) {
  (void)state;
  char value[PROPERTY_BUFFER_SIZE];
  tavrik_channel_t* const channel = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  capture_log();
  exhaust(tavrik_setProperty(channel, REQ_REP_SERVER_ENDPOINT, long_text), -3, 1);
  exhaust(tavrik_getProperty(channel, REQ_REP_SERVER_ENDPOINT, value), -3, 1);
  assert_string_equal(long_text, value);
  tavrik_deleteChannel(channel);
}

static void sending(void** state) {
  (void)state;
  const char* const endpoint = ipc_endpoint();
  tavrik_channel_t* const server = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, endpoint);
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik_message_t* const received = tavrik_createMessage(0);
  assert_int_equal(0, tavrik_receivemsg(server, subject, received, 0));

  for (int form = 0; form < 3; ++form) {
    tavrik_channel_t* const client = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, endpoint);
    tavrik_message_t* const message = tavrik_createMessage(0);
    tavrik_insertPart(message, 0, long_text);
    capture_log();
    if (form == 0) exhaust(tavrik_send(client, long_text, 2, long_text, long_text), -3, 4);
    if (form == 1) exhaust(tavrik_sendmsg(client, long_text, message), -3, 1);
    if (form == 2) exhaust(tavrik_sendBinary(client, long_text, (void*)long_text, 50), -3, 2);
    assert_int_equal(1, tavrik_getnumParts(message));
    assert_int_equal(form == 0 ? 2 : 1, tavrik_receivemsg(server, subject, received, PATIENCE));
    assert_int_equal(0, tavrik_send(server, "answer", 0));
    tavrik_deleteMessage(message);
    tavrik_deleteChannel(client);
  }
  tavrik_deleteMessage(received);
  tavrik_deleteChannel(server);
}

/* A message that is being received when memory runs out is lost, so each form gets its own pair. */
static void receiving(void** state) {
  (void)state;
  for (int binary = 0; binary < 2; ++binary) {
    const char* const endpoint = ipc_endpoint();
    tavrik_channel_t* const server = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
    tavrik_channel_t* const client = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, endpoint);
    tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, endpoint);
    tavrik_message_t* const message = tavrik_createMessage(0);
    char subject[SUBJECT_BUFFER_SIZE];
    void* data = NULL;
    unsigned int length = 0;
    tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
    assert_int_equal(0, tavrik_poll(&item, 1, 0));
    assert_int_equal(1, tavrik_send(client, "x", 1, long_text));
    assert_int_equal(1, tavrik_poll(&item, 1, PATIENCE));

    capture_log();
    fail_allocation(1);
    const int result = binary ? tavrik_receiveBinary(server, subject, &data, &length, PATIENCE)
                              : tavrik_receivemsg(server, subject, message, PATIENCE);
    assert_true(allocation_failed());
    assert_int_equal(-3, result);
    assert_null(data);
    assert_own_log_empty();
    tavrik_deleteMessage(message);
    tavrik_deleteChannel(client);
    tavrik_deleteChannel(server);
  }
}

static void monitoring(void** state) {
  (void)state;
  tavrik_channel_t* const channel = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  capture_log();
  exhaust(tavrik_initializeStatsMonitoring(channel), -3, 2);
  tavrik_deleteChannel(channel);
}

static long created_message(void) {
  tavrik_message_t* const message = tavrik_createMessage(2);
  if (message == NULL) return 0;
  tavrik_deleteMessage(message);
  return 1;
}

static long copied_message(const tavrik_message_t* source) {
  tavrik_message_t* const copy = tavrik_copyMessage(source, 1);
  if (copy == NULL) return 0;
  tavrik_deferMsgFree(copy, 1);
  tavrik_deleteMessage(copy);
  return 1;
}

static void making_messages(void** state) {
  (void)state;
  tavrik_message_t* const message = tavrik_createMessage(0);
  tavrik_insertPart(message, 0, long_text);
  tavrik_insertPart(message, 1, long_text);
  capture_log();
  exhaust(created_message(), 0, 2);
  exhaust(copied_message(message), 0, 4);
  tavrik_deleteMessage(message);
}

static void changing_messages(void** state) {
  (void)state;
  tavrik_message_t* const message = tavrik_createMessage(1);
  capture_log();
  exhaust(tavrik_setPart(message, 0, long_text), -3, 1);
  exhaust(tavrik_setBinPart(message, 0, long_text, 80), -3, 1);
  exhaust(tavrik_insertPart(message, 0, long_text), -3, 1);
  exhaust(tavrik_insertBinPart(message, 0, long_text, 80), -3, 1);
  assert_int_equal(3, tavrik_getnumParts(message));
  exhaust(tavrik_setnumParts(message, 100), -3, 1);
  assert_int_equal(100, tavrik_getnumParts(message));
  tavrik_deleteMessage(message);
}

int main(void) {
  const struct CMUnitTest tests[] = {
      cmocka_unit_test(creating_a_channel),
      cmocka_unit_test(setting_and_reading_a_property),
      cmocka_unit_test(sending),
      cmocka_unit_test(receiving),
      cmocka_unit_test(monitoring),
      cmocka_unit_test(making_messages),
      cmocka_unit_test(changing_messages),
  };
  const int failed = cmocka_run_group_tests_name("exhaustion", tests, NULL, NULL);
  release_log();
  return failed;
}
