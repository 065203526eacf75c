/* One exchange over each pattern, with the C functions alone. */
#include "c_test.h"

#include <stdlib.h>
#include <string.h>

static char subject[SUBJECT_BUFFER_SIZE];
static tavrik_message_t* message;

static int set_up(void** state) {
  (void)state;
  message = tavrik_createMessage(0);
  capture_log();
  return 0;
}

static int tear_down(void** state) {
  (void)state;
  tavrik_deleteMessage(message);
  release_log();
  return 0;
}

static tavrik_channel_t* channel_with(pattern_t pattern, role_t role, channel_prop_t prop,
                                      const char* value) {
  tavrik_channel_t* const channel = tavrik_createChannel("exchange", pattern, role);
  assert_int_equal(0, tavrik_setProperty(channel, prop, value));
  return channel;
}

static void assert_received(tavrik_channel_t* channel, const char* expected_subject,
                            const char* expected_part) {
  assert_int_equal(1, tavrik_receivemsg(channel, subject, message, PATIENCE));
  assert_string_equal(expected_subject, subject);
  assert_part(message, 0, expected_part);
}

static void assert_buffer_received(tavrik_channel_t* channel) {
  void* data = NULL;
  unsigned int length = 0;
  assert_int_equal(1, tavrik_receiveBinary(channel, subject, &data, &length, -1));
  assert_string_equal("buffer", subject);
  assert_int_equal(3, length);
  assert_memory_equal("a\0b", data, 3);
  free(data);
}

TEST(request_and_reply_are_exchanged) {
  char data[] = "a\0b";
  const char* const endpoint = ipc_endpoint();
  tavrik_channel_t* const server =
      channel_with(REQUEST_REPLY_PATTERN, REP_SERVER, REQ_REP_SERVER_ENDPOINT, endpoint);
  tavrik_channel_t* const client =
      channel_with(REQUEST_REPLY_PATTERN, REQ_CLIENT, REQ_REP_SERVER_ENDPOINT, endpoint);
  assert_int_equal(1, tavrik_send(client, "ask", 1, "question"));
  assert_int_equal(1, tavrik_receivemsg(server, subject, message, -1));
  assert_string_equal("ask", subject);
  assert_part(message, 0, "question");
  tavrik_setPart(message, 0, "reply");
  assert_int_equal(1, tavrik_sendmsg(server, "reply", message));
  assert_received(client, "reply", "reply");
  assert_int_equal(1, tavrik_sendBinary(client, "buffer", data, 3));
  assert_buffer_received(server);
  assert_log("");
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
}

TEST(a_subscriber_receives_what_its_filter_lets_through) {
  const char* const endpoint = ipc_endpoint();
  tavrik_channel_t* const publisher =
      channel_with(PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  tavrik_channel_t* const subscriber =
      channel_with(PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER, PUB_SUB_SUBSCRIBE_FILTER, "weather");
  tavrik_pollitem_t item = {subscriber, TAVRIK_POLLIN, 0};
  assert_int_equal(0, tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  /* A publisher drops what it sends before the subscription has reached it. */
  do {
    assert_int_equal(1, tavrik_send(publisher, "traffic", 1, "jam"));
    assert_int_equal(1, tavrik_send(publisher, "weather", 1, "rain"));
  } while (tavrik_poll(&item, 1, 10) == 0);
  assert_received(subscriber, "weather", "rain");
  assert_log("");
  tavrik_deleteChannel(subscriber);
  tavrik_deleteChannel(publisher);
}

TEST(a_reply_handle_moves_from_the_request_to_the_reply) {
  char front[256];
  strcpy(front, ipc_endpoint());
  tavrik_channel_t* const client = channel_with(ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT,
                                                ASYNC_DEALER_CLIENT_ENDPOINT, front);
  tavrik_channel_t* const worker = channel_with(ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER,
                                                ASYNC_DEALER_CLIENT_ENDPOINT, front);
  assert_int_equal(0, tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, ipc_endpoint()));
  assert_int_equal(1, tavrik_send(client, "ask", 1, "question"));
  assert_received(worker, "ask", "question");

  const tavrik_msghandle_t* const handle = tavrik_getHandle(message);
  assert_non_null(handle);
  tavrik_message_t* const reply = tavrik_createMessage(1);
  tavrik_setPart(reply, 0, "from the handle");
  assert_int_equal(0, tavrik_setHandle(reply, handle));
  tavrik_freeMsgHandle(handle);
  assert_int_equal(1, tavrik_sendmsg(worker, "reply", reply));
  tavrik_deleteMessage(reply);
  assert_received(client, "reply", "from the handle");
  assert_log("");
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(worker);
}

#define with_message(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      with_message(request_and_reply_are_exchanged),
      with_message(a_subscriber_receives_what_its_filter_lets_through),
      with_message(a_reply_handle_moves_from_the_request_to_the_reply),
  };
  return cmocka_run_group_tests_name("exchange", tests, NULL, NULL);
}
