/* What the C functions over channels add to the classes: refused arguments, limits of texts and
 * buffers, variadic parts, and enumerators. */
#include "c_test.h"

#include <string.h>

static tavrik_channel_t* server;
static tavrik_channel_t* client;
static tavrik_message_t* message;
static char subject[SUBJECT_BUFFER_SIZE];
static char text_of_255[256];
static char text_of_256[257];

/* A request/reply pair. The server is bound, and the log is empty. */
static int set_up(void** state) {
  (void)state;
  const char* const endpoint = ipc_endpoint();
  memset(text_of_255, 'x', 255);
  memset(text_of_256, 'x', 256);
  memset(subject, '#', sizeof subject);
  server = tavrik_createChannel("pair", REQUEST_REPLY_PATTERN, REP_SERVER);
  client = tavrik_createChannel("pair", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  message = tavrik_createMessage(0);
  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, endpoint);
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, endpoint);
  capture_log();
  return tavrik_receivemsg(server, subject, message, 0);
}

static int tear_down(void** state) {
  (void)state;
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
  release_log();
  return 0;
}

TEST(a_name_has_at_most_255_characters) {
  char name[256];
  tavrik_channel_t* const channel =
      tavrik_createChannel(text_of_255, REQUEST_REPLY_PATTERN, REQ_CLIENT);
  assert_non_null(channel);
  assert_int_equal(0, tavrik_getChannelName(channel, name, sizeof name));
  assert_string_equal(text_of_255, name);
  tavrik_deleteChannel(channel);

  assert_null(tavrik_createChannel(text_of_256, REQUEST_REPLY_PATTERN, REQ_CLIENT));
  assert_null(tavrik_createChannel(NULL, REQUEST_REPLY_PATTERN, REQ_CLIENT));
  assert_log("");
}

TEST(a_channel_that_the_classes_refuse_is_null_and_logged_at_error_level) {
  assert_null(tavrik_createChannel("x", (pattern_t)3, REQ_CLIENT));
  assert_non_null(strstr(captured_log(),
                         "3 Error : tavrik_createChannel() : Invalid Message Patterntavrik:-10\n"));
}

TEST(deleting_a_null_channel_and_freeing_a_null_handle_do_nothing) {
  tavrik_deleteChannel(NULL);
  tavrik_freeMsgHandle(NULL);
  assert_log("");
}

TEST(patterns_roles_and_properties_pass_through) {
  const struct {
    pattern_t pattern;
    role_t role;
    channel_prop_t prop;
    const char* value;
    channel_prop_t read_by;
  } rows[] = {
      {REQUEST_REPLY_PATTERN, REQ_CLIENT, CHANNEL_TOS_PRIORITY, "1", CHANNEL_TOS_PRIORITY},
      {REQUEST_REPLY_PATTERN, REP_SERVER, REQ_REP_SERVER_ENDPOINT, text_of_255,
       REQ_REP_SERVER_ENDPOINT},
      {PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER, PUB_SUB_PUBLISHER_ENDPOINT, "inproc://passed",
       PUB_SUB_PUBLISHER_ENDPOINT},
      {PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER, PUB_SUB_SET_PUB_SNDHWM, "2", PUB_SUB_SET_PUB_SNDHWM},
      {PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER, PUB_SUB_SET_SUB_RCVHWM, "3", PUB_SUB_SET_SUB_RCVHWM},
      {PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER, PUB_SUB_PUBLISHER_ENDPOINT, "inproc://passed",
       PUB_SUB_NEXT_PUBLISHER_ENDPOINT},
      {ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT, ASYNC_DEALER_CLIENT_ENDPOINT, "c",
       ASYNC_DEALER_CLIENT_ENDPOINT},
      {ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT, ASYNC_DEALER_CLIENT_SNDHWM, "4",
       ASYNC_DEALER_CLIENT_SNDHWM},
      {ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER, ASYNC_DEALER_CLIENT_ENDPOINT, "c",
       ASYNC_DEALER_NEXT_CLIENT_ENDPOINT},
      {ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER, ASYNC_DEALER_WORKER_ENDPOINT, "w",
       ASYNC_DEALER_WORKER_ENDPOINT},
  };
  for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
    char value[PROPERTY_BUFFER_SIZE];
    tavrik_channel_t* const channel = tavrik_createChannel("x", rows[i].pattern, rows[i].role);
    assert_non_null(channel);
    assert_int_equal(rows[i].pattern, tavrik_getChannelPattern(channel));
    assert_int_equal(rows[i].role, tavrik_getChannelRole(channel));
    assert_int_equal(0, tavrik_setProperty(channel, rows[i].prop, rows[i].value));
    assert_int_equal(0, tavrik_getProperty(channel, rows[i].read_by, value));
    assert_string_equal(rows[i].value, value);
    tavrik_deleteChannel(channel);
  }
  assert_log("");
}

TEST(filters_pass_through) {
  tavrik_channel_t* const channel =
      tavrik_createChannel("x", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER);
  assert_int_equal(0, tavrik_setProperty(channel, PUB_SUB_SUBSCRIBE_FILTER, "news"));
  assert_int_equal(-17, tavrik_setProperty(channel, PUB_SUB_SUBSCRIBE_FILTER, "news"));
  assert_int_equal(0, tavrik_setProperty(channel, PUB_SUB_UNSUBSCRIBE_FILTER, "news"));
  assert_int_equal(-18, tavrik_setProperty(channel, PUB_SUB_UNSUBSCRIBE_FILTER, "news"));
  tavrik_deleteChannel(channel);
}

TEST(property_functions_refuse_bad_arguments_unlogged) {
  char value[PROPERTY_BUFFER_SIZE];
  assert_int_equal(-1, tavrik_setProperty(NULL, CHANNEL_TOS_PRIORITY, "0"));
  assert_int_equal(-1, tavrik_setProperty(client, CHANNEL_TOS_PRIORITY, NULL));
  assert_int_equal(-1, tavrik_setProperty(client, CHANNEL_TOS_PRIORITY, text_of_256));
  assert_int_equal(-1, tavrik_getProperty(NULL, CHANNEL_TOS_PRIORITY, value));
  assert_int_equal(-1, tavrik_getProperty(client, CHANNEL_TOS_PRIORITY, NULL));
  assert_log("");
}

TEST(a_refusal_that_the_channel_returns_is_passed_through_unlogged) {
  assert_int_equal(-1, tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, "inproc://x"));
  assert_log("");
}

TEST(a_property_that_cannot_be_read_leaves_the_buffer_unchanged) {
  char value[PROPERTY_BUFFER_SIZE] = "unchanged";
  assert_int_equal(-14, tavrik_getProperty(client, PUB_SUB_PUBLISHER_ENDPOINT, value));
  assert_string_equal("unchanged", value);
}

TEST(send_takes_its_parts_as_arguments) {
  assert_int_equal(3, tavrik_send(client, text_of_255, 3, "a", "", "ccc"));
  assert_int_equal(3, tavrik_receivemsg(server, subject, message, PATIENCE));
  assert_string_equal(text_of_255, subject);
  assert_part(message, 0, "a");
  assert_part(message, 1, "");
  assert_part(message, 2, "ccc");
  assert_log("");
}

TEST(send_without_parts_sends_the_subject) {
  tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
  assert_int_equal(0, tavrik_send(client, "alone", 0));
  assert_int_equal(1, tavrik_poll(&item, 1, PATIENCE));
  assert_int_equal(0, tavrik_receivemsg(server, subject, message, 0));
  assert_string_equal("alone", subject);
}

TEST(send_refuses_a_null_part_and_sends_nothing) {
  assert_int_equal(-33, tavrik_send(client, "x", 2, "y", (const char*)NULL));
  assert_log("1 Error : tavrik_send() : basic_string::_M_construct null not valid\n");
  /* A client that had sent could not send again before the reply. */
  assert_int_equal(1, tavrik_send(client, "x", 1, "y"));
}

TEST(send_functions_refuse_bad_arguments_unlogged) {
  char data[] = "x";
  assert_int_equal(-1, tavrik_send(NULL, "x", 1, "y"));
  assert_int_equal(-1, tavrik_send(client, NULL, 1, "y"));
  assert_int_equal(-1, tavrik_send(client, text_of_256, 1, "y"));
  assert_int_equal(-1, tavrik_send(client, "x", -1));
  assert_int_equal(-1, tavrik_sendmsg(NULL, "x", message));
  assert_int_equal(-1, tavrik_sendmsg(client, NULL, message));
  assert_int_equal(-1, tavrik_sendmsg(client, "x", NULL));
  assert_int_equal(-1, tavrik_sendmsg(client, text_of_256, message));
  assert_int_equal(-1, tavrik_sendBinary(NULL, "x", data, 1));
  assert_int_equal(-1, tavrik_sendBinary(client, NULL, data, 1));
  assert_int_equal(-1, tavrik_sendBinary(client, "x", NULL, 1));
  assert_int_equal(-1, tavrik_sendBinary(client, text_of_256, data, 1));
  assert_log("");
}

/* A message is waiting, so a call that does not refuse its arguments receives it. */
TEST(receive_functions_refuse_bad_arguments_unlogged) {
  void* data = subject;
  unsigned int length = 77;
  tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
  assert_int_equal(1, tavrik_send(client, "x", 1, "y"));
  assert_int_equal(1, tavrik_poll(&item, 1, PATIENCE));
  assert_int_equal(-1, tavrik_receivemsg(NULL, subject, message, 0));
  assert_int_equal(-1, tavrik_receivemsg(server, NULL, message, 0));
  assert_int_equal(-1, tavrik_receivemsg(server, subject, NULL, 0));
  assert_int_equal(-1, tavrik_receivemsg(server, subject, message, -2));
  assert_int_equal(-1, tavrik_receiveBinary(NULL, subject, &data, &length, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, NULL, &data, &length, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, subject, NULL, &length, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, subject, &data, NULL, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, subject, &data, &length, -2));
  assert_ptr_equal(subject, data);
  assert_int_equal(77, length);
  assert_int_equal('#', subject[0]);
  assert_log("");
}

TEST(receive_functions_return_0_without_a_message) {
  void* data = subject;
  unsigned int length = 77;
  assert_int_equal(0, tavrik_receivemsg(server, subject, message, 0));
  assert_int_equal(0, tavrik_receiveBinary(server, subject, &data, &length, 0));
  assert_ptr_equal(subject, data);
  assert_int_equal(77, length);
  assert_int_equal('#', subject[0]);
}

TEST(statistics_functions_refuse_null_unlogged) {
  tavrikStatistics stats;
  assert_int_equal(-1, tavrik_initializeStatsMonitoring(NULL));
  assert_int_equal(-1, tavrik_getTavrikStats(NULL, &stats));
  assert_int_equal(-1, tavrik_getTavrikStats(client, NULL));
  assert_int_equal(-1, tavrik_clearTavrikStats(NULL));
  assert_int_equal(-1, tavrik_stopStatsMonitoring(NULL));
  assert_log("");
}

TEST(statistics_count_messages_while_a_channel_is_monitored) {
  tavrikStatistics stats = {9, 9, 9, 9};
  assert_int_equal(0, tavrik_initializeStatsMonitoring(client));
  assert_int_equal(1, tavrik_send(client, "x", 1, "y"));
  assert_int_equal(0, tavrik_getTavrikStats(client, &stats));
  assert_int_equal(1, stats.sentCount);
  assert_int_equal(0, stats.rcvdCount);
  assert_int_equal(0, stats.connectionState);
  assert_int_equal(2, stats.connections);
  assert_int_equal(0, tavrik_clearTavrikStats(client));
  assert_int_equal(0, tavrik_getTavrikStats(client, &stats));
  assert_int_equal(0, stats.sentCount);
  assert_int_equal(0, tavrik_stopStatsMonitoring(client));
  assert_int_equal(-8, tavrik_getTavrikStats(client, &stats));
}

TEST(poll_reports_events_and_keeps_the_channels_in_the_records) {
  tavrik_pollitem_t items[2] = {{server, TAVRIK_POLLIN, 9}, {client, TAVRIK_POLLIN, 9}};
  assert_int_equal(0, tavrik_poll(items, 2, 0));
  assert_int_equal(0, items[0].revents);
  assert_int_equal(1, tavrik_send(client, "x", 1, "y"));
  assert_int_equal(1, tavrik_poll(items, 2, -1));
  assert_int_equal(TAVRIK_POLLIN, items[0].revents);
  assert_int_equal(0, items[1].revents);
  assert_ptr_equal(server, items[0].socket);
  assert_ptr_equal(client, items[1].socket);
}

TEST(poll_takes_1_to_16_records_and_refuses_bad_arguments_unlogged) {
  tavrik_pollitem_t items[17];
  for (int i = 0; i < 17; ++i) items[i] = (tavrik_pollitem_t){server, TAVRIK_POLLIN, 0};
  assert_int_equal(0, tavrik_poll(items, 16, 0));
  assert_int_equal(-1, tavrik_poll(items, 17, 0));
  assert_int_equal(-1, tavrik_poll(items, 0, 0));
  assert_int_equal(-1, tavrik_poll(items, 1, -2));
  assert_int_equal(-1, tavrik_poll(NULL, 1, 0));
  assert_log("");
}

TEST(a_name_is_cut_to_the_size_of_the_buffer) {
  char name[8];
  memset(name, '#', sizeof name);
  assert_int_equal(0, tavrik_getChannelName(client, name, 4));
  assert_memory_equal("pai\0####", name, sizeof name);
  assert_int_equal(0, tavrik_getChannelName(client, name, 5));
  assert_string_equal("pair", name);
  assert_int_equal(0, tavrik_getChannelName(client, name, 1));
  assert_string_equal("", name);
}

#define in_pair(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      in_pair(a_name_has_at_most_255_characters),
      in_pair(a_channel_that_the_classes_refuse_is_null_and_logged_at_error_level),
      in_pair(deleting_a_null_channel_and_freeing_a_null_handle_do_nothing),
      in_pair(patterns_roles_and_properties_pass_through),
      in_pair(filters_pass_through),
      in_pair(property_functions_refuse_bad_arguments_unlogged),
      in_pair(a_refusal_that_the_channel_returns_is_passed_through_unlogged),
      in_pair(a_property_that_cannot_be_read_leaves_the_buffer_unchanged),
      in_pair(send_takes_its_parts_as_arguments),
      in_pair(send_without_parts_sends_the_subject),
      in_pair(send_refuses_a_null_part_and_sends_nothing),
      in_pair(send_functions_refuse_bad_arguments_unlogged),
      in_pair(receive_functions_refuse_bad_arguments_unlogged),
      in_pair(receive_functions_return_0_without_a_message),
      in_pair(statistics_functions_refuse_null_unlogged),
      in_pair(statistics_count_messages_while_a_channel_is_monitored),
      in_pair(poll_reports_events_and_keeps_the_channels_in_the_records),
      in_pair(poll_takes_1_to_16_records_and_refuses_bad_arguments_unlogged),
      in_pair(a_name_is_cut_to_the_size_of_the_buffer),
  };
  return cmocka_run_group_tests_name("channels", tests, NULL, NULL);
}
