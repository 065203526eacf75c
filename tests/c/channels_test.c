/* The C functions over channels, called the way a C program calls them. */
#include "c_test.h"

#include <stdlib.h>
#include <string.h>

#define EFSM_TEXT "Operation cannot be accomplished in current state"
#define SEND_EFSM (-17530931) /* site 0x10b0000, ZeroMQ's own error 51 */
#define RECEIVE_EFSM (-17727539)

static tavrik_channel_t* server;
static tavrik_channel_t* client;
static tavrik_message_t* message;
static char subject[SUBJECT_BUFFER_SIZE];
static char text_of_255[256];
static char text_of_256[257];

/* A connected pair, and a log without lines. */
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

/* Has the client send and the server receive, so that the server may answer. */
static void ask(void) {
  assert_int_equal(1, tavrik_send(client, "ask", 1, "question"));
  assert_int_equal(1, tavrik_receivemsg(server, subject, message, PATIENCE));
}

static void create_takes_a_name_of_255_characters(void** state) {
  (void)state;
  char name[256];
  tavrik_channel_t* const channel =
      tavrik_createChannel(text_of_255, REQUEST_REPLY_PATTERN, REQ_CLIENT);
  assert_non_null(channel);
  assert_int_equal(0, tavrik_getChannelName(channel, name, sizeof name));
  assert_string_equal(text_of_255, name);
  tavrik_deleteChannel(channel);
}

static void create_refuses_null_and_a_longer_name_unlogged(void** state) {
  (void)state;
  assert_null(tavrik_createChannel(NULL, REQUEST_REPLY_PATTERN, REQ_CLIENT));
  assert_null(tavrik_createChannel(text_of_256, REQUEST_REPLY_PATTERN, REQ_CLIENT));
  assert_log("");
}

static void create_logs_failures_at_error_level(void** state) {
  (void)state;
  assert_null(tavrik_createChannel("", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  assert_log(
      "1 Error : Tavrik::MsgPattern::MsgPattern() : Invalid Channel name specifiedtavrik:-1\n"
      "1 Error : Tavrik::MsgPatternFactory::createMsgPattern() : Invalid Channel name "
      "specifiedtavrik:-1\n"
      "1 Error : Tavrik::TavrikChannel::TavrikChannel() : Invalid Channel name "
      "specifiedtavrik:-1\n"
      "3 Error : tavrik_createChannel() : Invalid Channel name specifiedtavrik:-1\n");
  capture_log();
  assert_null(tavrik_createChannel("x", (pattern_t)3, REQ_CLIENT));
  assert_log(
      "1 Error : Tavrik::MsgPatternFactory::createMsgPattern() : Invalid Message "
      "Patterntavrik:-10\n"
      "1 Error : Tavrik::TavrikChannel::TavrikChannel() : Invalid Message Patterntavrik:-10\n"
      "3 Error : tavrik_createChannel() : Invalid Message Patterntavrik:-10\n");
  capture_log();
  assert_null(tavrik_createChannel("x", REQUEST_REPLY_PATTERN, ASYNC_DEALER_WORKER));
  assert_non_null(strstr(captured_log(),
                         "3 Error : tavrik_createChannel() : Invalid Role specifiedtavrik:-12\n"));
}

static void delete_ignores_null(void** state) {
  (void)state;
  tavrik_deleteChannel(NULL);
  assert_log("");
}

static void properties_are_set_and_read(void** state) {
  (void)state;
  char value[PROPERTY_BUFFER_SIZE];
  tavrik_channel_t* const channel = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  assert_int_equal(0, tavrik_setProperty(channel, REQ_REP_SERVER_ENDPOINT, "inproc://x"));
  assert_int_equal(0, tavrik_getProperty(channel, REQ_REP_SERVER_ENDPOINT, value));
  assert_string_equal("inproc://x", value);
  assert_int_equal(0, tavrik_getProperty(channel, CHANNEL_TOS_PRIORITY, value));
  assert_string_equal("0", value);
  assert_int_equal(0, tavrik_setProperty(channel, REQ_REP_SERVER_ENDPOINT, text_of_255));
  assert_int_equal(0, tavrik_getProperty(channel, REQ_REP_SERVER_ENDPOINT, value));
  assert_string_equal(text_of_255, value);
  tavrik_deleteChannel(channel);
  assert_log("");
}

static void set_property_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_setProperty(NULL, CHANNEL_TOS_PRIORITY, "0"));
  assert_int_equal(-1, tavrik_setProperty(client, CHANNEL_TOS_PRIORITY, NULL));
  assert_int_equal(-1, tavrik_setProperty(client, CHANNEL_TOS_PRIORITY, text_of_256));
  assert_log("");
}

static void set_property_of_255_characters_reaches_the_channel(void** state) {
  (void)state;
  assert_int_equal(-14, tavrik_setProperty(client, PUB_SUB_SUBSCRIBE_FILTER, text_of_255));
}

static void set_property_passes_the_refusal_of_a_connected_channel_on(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, "inproc://x"));
  assert_log("");
}

static void set_property_answers_and_logs_failures(void** state) {
  (void)state;
  assert_int_equal(-14, tavrik_setProperty(client, PUB_SUB_SUBSCRIBE_FILTER, "news"));
  assert_log(
      "1 Error : Tavrik::RequestReplyMsgPattern::setProperty() : Invalid property - cannot be set "
      ": newstavrik:-14\n"
      "1 Error : tavrik_setProperty() : Invalid property - cannot be set : newstavrik:-14\n");
  assert_int_equal(-13, tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, "tcp://*:1"));
  assert_int_equal(-9, tavrik_setProperty(client, CHANNEL_TOS_PRIORITY, "256"));
  assert_int_equal(-11, tavrik_setProperty(server, CHANNEL_TOS_PRIORITY, "1"));
}

/* The code is read from behind the first marker, also when a value holds one. */
static void a_marker_in_a_value_is_taken_for_the_code(void** state) {
  (void)state;
  char value[PROPERTY_BUFFER_SIZE];
  tavrik_channel_t* const channel = tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  assert_int_equal(7, tavrik_setProperty(channel, REQ_REP_SERVER_ENDPOINT, "ipc://tavrik:7*"));
  assert_int_equal(0, tavrik_getProperty(channel, REQ_REP_SERVER_ENDPOINT, value));
  assert_string_equal("", value); /* refused all the same */
  tavrik_deleteChannel(channel);
}

static void get_property_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  char value[PROPERTY_BUFFER_SIZE];
  assert_int_equal(-1, tavrik_getProperty(NULL, CHANNEL_TOS_PRIORITY, value));
  assert_int_equal(-1, tavrik_getProperty(client, CHANNEL_TOS_PRIORITY, NULL));
  assert_log("");
}

static void get_property_answers_and_logs_failures(void** state) {
  (void)state;
  char value[PROPERTY_BUFFER_SIZE] = "untouched";
  assert_int_equal(-14, tavrik_getProperty(client, PUB_SUB_PUBLISHER_ENDPOINT, value));
  assert_string_equal("untouched", value);
  assert_log(
      "1 Error : Tavrik::RequestReplyMsgPattern::getProperty() : Invalid property "
      "queriedtavrik:-14\n"
      "1 Error : tavrik_getProperty() : Invalid property queriedtavrik:-14\n");
}

static void send_takes_text_parts(void** state) {
  (void)state;
  char part[16];
  assert_int_equal(3, tavrik_send(client, "letters", 3, "a", "", "ccc"));
  assert_int_equal(3, tavrik_receivemsg(server, subject, message, PATIENCE));
  assert_string_equal("letters", subject);
  assert_int_equal(0, tavrik_getPart(message, 0, part));
  assert_string_equal("a", part);
  assert_int_equal(0, tavrik_getPartlength(message, 1));
  assert_int_equal(0, tavrik_getPart(message, 2, part));
  assert_string_equal("ccc", part);
  assert_log("");
}

static void send_of_no_parts_sends_the_subject_alone(void** state) {
  (void)state;
  assert_int_equal(0, tavrik_send(client, "alone", 0));
  tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
  assert_int_equal(1, tavrik_poll(&item, 1, PATIENCE));
  assert_int_equal(0, tavrik_receivemsg(server, subject, message, 0));
  assert_string_equal("alone", subject);
}

static void send_takes_a_subject_of_255_characters(void** state) {
  (void)state;
  assert_int_equal(1, tavrik_send(client, text_of_255, 1, "x"));
  assert_int_equal(1, tavrik_receivemsg(server, subject, message, PATIENCE));
  assert_string_equal(text_of_255, subject);
}

static void send_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_send(NULL, "x", 1, "y"));
  assert_int_equal(-1, tavrik_send(client, NULL, 1, "y"));
  assert_int_equal(-1, tavrik_send(client, text_of_256, 1, "y"));
  assert_int_equal(-1, tavrik_send(client, "x", -1));
  assert_log("");
}

static void send_refuses_a_null_part_and_sends_nothing(void** state) {
  (void)state;
  assert_int_equal(-33, tavrik_send(client, "x", 2, "y", (const char*)NULL));
  assert_log("1 Error : tavrik_send() : basic_string::_M_construct null not valid\n");
  ask(); /* still the client's turn */
}

static void send_answers_and_logs_failures(void** state) {
  (void)state;
  assert_int_equal(SEND_EFSM, tavrik_send(server, "x", 1, "y"));
  assert_log("1 Error : Tavrik::MQWrapper::send() : Failed to send messagepart : " EFSM_TEXT
             "zeromq:17530931\n"
             "1 Error : tavrik_send() : Failed to send messagepart : " EFSM_TEXT
             "zeromq:17530931\n");
}

static void sendmsg_keeps_the_callers_message(void** state) {
  (void)state;
  char part[16];
  tavrik_insertPart(message, 0, "one");
  tavrik_insertPart(message, 1, "two");
  assert_int_equal(2, tavrik_sendmsg(client, "numbers", message));
  assert_int_equal(2, tavrik_getnumParts(message));
  tavrik_getPart(message, 0, part);
  assert_string_equal("one", part);
}

static void sendmsg_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_sendmsg(NULL, "x", message));
  assert_int_equal(-1, tavrik_sendmsg(client, NULL, message));
  assert_int_equal(-1, tavrik_sendmsg(client, "x", NULL));
  assert_int_equal(-1, tavrik_sendmsg(client, text_of_256, message));
  assert_log("");
}

static void sendmsg_answers_and_logs_failures(void** state) {
  (void)state;
  tavrik_insertPart(message, 0, "kept");
  assert_int_equal(SEND_EFSM, tavrik_sendmsg(server, "x", message));
  assert_int_equal(1, tavrik_getnumParts(message));
  assert_log("1 Error : Tavrik::MQWrapper::send() : Failed to send messagepart : " EFSM_TEXT
             "zeromq:17530931\n"
             "1 Error : tavrik_sendmsg() : Failed to send messagepart : " EFSM_TEXT
             "zeromq:17530931\n");
}

static void receivemsg_answers_0_when_nothing_comes(void** state) {
  (void)state;
  tavrik_setnumParts(message, 2);
  assert_int_equal(0, tavrik_receivemsg(server, subject, message, 0));
  assert_int_equal(0, tavrik_getnumParts(message));
  assert_int_equal(0, tavrik_receivemsg(server, subject, message, 50));
  assert_int_equal('#', subject[0]);
}

static void receivemsg_waits_for_ever(void** state) {
  (void)state;
  assert_int_equal(1, tavrik_send(client, "ask", 1, "x"));
  assert_int_equal(1, tavrik_receivemsg(server, subject, message, -1));
}

static void receivemsg_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  assert_int_equal(-1, tavrik_receivemsg(NULL, subject, message, 0));
  assert_int_equal(-1, tavrik_receivemsg(server, NULL, message, 0));
  assert_int_equal(-1, tavrik_receivemsg(server, subject, NULL, 0));
  assert_int_equal(-1, tavrik_receivemsg(server, subject, message, -2));
  assert_log("");
}

static void receivemsg_answers_and_logs_failures(void** state) {
  (void)state;
  assert_int_equal(RECEIVE_EFSM, tavrik_receivemsg(client, subject, message, 0));
  assert_log("1 Error : Tavrik::MQWrapper::receive() : Failed to get messagepart : " EFSM_TEXT
             "zeromq:17727539\n"
             "1 Error : tavrik_receivemsg() : Failed to get messagepart : " EFSM_TEXT
             "zeromq:17727539\n");
}

static void buffers_travel_with_their_zero_bytes(void** state) {
  (void)state;
  char data[] = "a\0b";
  void* received = NULL;
  unsigned int length = 0;
  assert_int_equal(1, tavrik_sendBinary(client, "file", data, 3));
  assert_int_equal(1, tavrik_receiveBinary(server, subject, &received, &length, PATIENCE));
  assert_string_equal("file", subject);
  assert_int_equal(3, length);
  assert_memory_equal("a\0b", received, 3);
  free(received);
  assert_log("");
}

static void send_binary_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  char data[] = "x";
  assert_int_equal(-1, tavrik_sendBinary(NULL, "x", data, 1));
  assert_int_equal(-1, tavrik_sendBinary(client, NULL, data, 1));
  assert_int_equal(-1, tavrik_sendBinary(client, "x", NULL, 1));
  assert_int_equal(-1, tavrik_sendBinary(client, text_of_256, data, 1));
  assert_log("");
}

static void send_binary_answers_and_logs_failures(void** state) {
  (void)state;
  char data[] = "x";
  assert_int_equal(SEND_EFSM, tavrik_sendBinary(server, "x", data, 1));
  assert_log("1 Error : Tavrik::MQWrapper::send() : Failed to send messagepart : " EFSM_TEXT
             "zeromq:17530931\n"
             "1 Error : Tavrik::TavrikChannel::sendBinary() : Failed to send messagepart "
             ": " EFSM_TEXT
             "zeromq:17530931\n"
             "1 Error : tavrik_sendBinary() : Failed to send messagepart : " EFSM_TEXT
             "zeromq:17530931\n");
}

static void receive_binary_refuses_bad_arguments_unlogged(void** state) {
  (void)state;
  void* data = subject;
  unsigned int length = 77;
  assert_int_equal(-1, tavrik_receiveBinary(NULL, subject, &data, &length, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, NULL, &data, &length, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, subject, NULL, &length, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, subject, &data, NULL, 0));
  assert_int_equal(-1, tavrik_receiveBinary(server, subject, &data, &length, -2));
  assert_ptr_equal(subject, data);
  assert_int_equal(77, length);
  assert_log("");
}

static void receive_binary_answers_0_when_nothing_comes(void** state) {
  (void)state;
  void* data = subject;
  unsigned int length = 77;
  assert_int_equal(0, tavrik_receiveBinary(server, subject, &data, &length, 0));
  assert_ptr_equal(subject, data);
  assert_int_equal(77, length);
}

static void receive_binary_answers_and_logs_failures(void** state) {
  (void)state;
  void* data = NULL;
  unsigned int length = 0;
  assert_int_equal(RECEIVE_EFSM, tavrik_receiveBinary(client, subject, &data, &length, 0));
  assert_log("1 Error : Tavrik::MQWrapper::receive() : Failed to get messagepart : " EFSM_TEXT
             "zeromq:17727539\n"
             "1 Error : Tavrik::TavrikChannel::receiveBinary() : Failed to get messagepart "
             ": " EFSM_TEXT
             "zeromq:17727539\n"
             "1 Error : tavrik_receiveBinary() : Failed to get messagepart : " EFSM_TEXT
             "zeromq:17727539\n");
}

static void statistics_count_messages(void** state) {
  (void)state;
  tavrikStatistics stats = {9, 9, 9, 9};
  assert_int_equal(0, tavrik_initializeStatsMonitoring(client));
  ask();
  assert_int_equal(1, tavrik_send(server, "answer", 1, "x"));
  assert_int_equal(1, tavrik_receivemsg(client, subject, message, PATIENCE));
  ask();
  assert_int_equal(0, tavrik_getTavrikStats(client, &stats));
  assert_int_equal(2, stats.sentCount);
  assert_int_equal(1, stats.rcvdCount);
  assert_int_equal(0, stats.connectionState);
  assert_int_equal(2, stats.connections);
  assert_int_equal(0, tavrik_clearTavrikStats(client));
  assert_int_equal(0, tavrik_getTavrikStats(client, &stats));
  assert_int_equal(0, stats.sentCount);
  assert_int_equal(0, stats.rcvdCount);
  assert_int_equal(2, stats.connections);
  assert_int_equal(0, tavrik_stopStatsMonitoring(client));
  assert_log("");
}

static void statistics_refuse_null_unlogged(void** state) {
  (void)state;
  tavrikStatistics stats;
  assert_int_equal(-1, tavrik_initializeStatsMonitoring(NULL));
  assert_int_equal(-1, tavrik_getTavrikStats(NULL, &stats));
  assert_int_equal(-1, tavrik_getTavrikStats(client, NULL));
  assert_int_equal(-1, tavrik_clearTavrikStats(NULL));
  assert_int_equal(-1, tavrik_stopStatsMonitoring(NULL));
  assert_log("");
}

static void statistics_answer_and_log_failures(void** state) {
  (void)state;
  tavrikStatistics stats = {9, 9, 9, 9};
  assert_int_equal(-8, tavrik_getTavrikStats(client, &stats));
  assert_int_equal(9, stats.connections);
  assert_log(
      "1 Error : Tavrik::TavrikStats::incrementRcvdCount() : The channel is not being "
      "monitoredtavrik:-8\n"
      "1 Error : Tavrik::TavrikChannel::getTavrikStats() : The channel is not being "
      "monitoredtavrik:-8\n"
      "1 Error : tavrik_getTavrikStats() : The channel is not being monitoredtavrik:-8\n");
  capture_log();
  assert_int_equal(-8, tavrik_clearTavrikStats(client));
  assert_non_null(strstr(captured_log(),
                         "1 Error : tavrik_clearTavrikStats() : The channel is not being "
                         "monitoredtavrik:-8\n"));
  assert_int_equal(-7, tavrik_stopStatsMonitoring(client));
  assert_non_null(strstr(captured_log(),
                         "1 Error : tavrik_stopStatsMonitoring() : Channel entry not found in "
                         "channel_listtavrik:-7\n"));
  assert_int_equal(0, tavrik_initializeStatsMonitoring(client));
  assert_int_equal(-6, tavrik_initializeStatsMonitoring(client));
  assert_non_null(strstr(captured_log(),
                         "1 Error : tavrik_initializeStatsMonitoring() : Channel entry already "
                         "exists in channel_listtavrik:-6\n"));
}

static void poll_reports_events_and_keeps_the_callers_records(void** state) {
  (void)state;
  tavrik_pollitem_t items[2] = {{server, TAVRIK_POLLIN, 9}, {client, TAVRIK_POLLIN, 9}};
  assert_int_equal(0, tavrik_poll(items, 2, 0));
  assert_int_equal(0, items[0].revents);
  assert_int_equal(1, tavrik_send(client, "ask", 1, "x"));
  assert_int_equal(1, tavrik_poll(items, 2, PATIENCE));
  assert_int_equal(TAVRIK_POLLIN, items[0].revents);
  assert_int_equal(0, items[1].revents);
  assert_ptr_equal(server, items[0].socket);
  assert_ptr_equal(client, items[1].socket);
}

static void poll_takes_1_to_16_records(void** state) {
  (void)state;
  tavrik_pollitem_t items[17];
  for (int i = 0; i < 17; ++i) items[i] = (tavrik_pollitem_t){server, TAVRIK_POLLIN, 0};
  assert_int_equal(0, tavrik_poll(items, 16, 0));
  assert_int_equal(-1, tavrik_poll(items, 17, 0));
  assert_int_equal(-1, tavrik_poll(items, 0, 0));
  assert_int_equal(-1, tavrik_poll(items, 1, -2));
  assert_int_equal(-1, tavrik_poll(NULL, 1, 0));
  assert_log("");
}

static void poll_logs_no_failure(void** state) {
  (void)state;
  tavrik_pollitem_t item = {NULL, TAVRIK_POLLIN, 0};
  assert_int_equal(-1, tavrik_poll(&item, 1, 0));
  assert_log("");
}

static void name_role_and_pattern_are_those_of_creation(void** state) {
  (void)state;
  char name[16];
  assert_int_equal(0, tavrik_getChannelName(client, name, sizeof name));
  assert_string_equal("pair", name);
  assert_int_equal(REQ_CLIENT, tavrik_getChannelRole(client));
  assert_int_equal(REP_SERVER, tavrik_getChannelRole(server));
  assert_int_equal(REQUEST_REPLY_PATTERN, tavrik_getChannelPattern(client));
}

static void name_is_cut_to_the_buffer(void** state) {
  (void)state;
  char name[8];
  memset(name, '#', sizeof name);
  assert_int_equal(0, tavrik_getChannelName(client, name, 4));
  assert_memory_equal("pai\0####", name, sizeof name);
  assert_int_equal(0, tavrik_getChannelName(client, name, 5));
  assert_string_equal("pair", name);
  assert_int_equal(0, tavrik_getChannelName(client, name, 1));
  assert_string_equal("", name);
}

static void freeing_a_null_handle_does_nothing(void** state) {
  (void)state;
  tavrik_freeMsgHandle(NULL);
  assert_log("");
}

#define in_pair(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      in_pair(create_takes_a_name_of_255_characters),
      in_pair(create_refuses_null_and_a_longer_name_unlogged),
      in_pair(create_logs_failures_at_error_level),
      in_pair(delete_ignores_null),
      in_pair(properties_are_set_and_read),
      in_pair(set_property_refuses_bad_arguments_unlogged),
      in_pair(set_property_of_255_characters_reaches_the_channel),
      in_pair(set_property_passes_the_refusal_of_a_connected_channel_on),
      in_pair(set_property_answers_and_logs_failures),
      in_pair(a_marker_in_a_value_is_taken_for_the_code),
      in_pair(get_property_refuses_bad_arguments_unlogged),
      in_pair(get_property_answers_and_logs_failures),
      in_pair(send_takes_text_parts),
      in_pair(send_of_no_parts_sends_the_subject_alone),
      in_pair(send_takes_a_subject_of_255_characters),
      in_pair(send_refuses_bad_arguments_unlogged),
      in_pair(send_refuses_a_null_part_and_sends_nothing),
      in_pair(send_answers_and_logs_failures),
      in_pair(sendmsg_keeps_the_callers_message),
      in_pair(sendmsg_refuses_bad_arguments_unlogged),
      in_pair(sendmsg_answers_and_logs_failures),
      in_pair(receivemsg_answers_0_when_nothing_comes),
      in_pair(receivemsg_waits_for_ever),
      in_pair(receivemsg_refuses_bad_arguments_unlogged),
      in_pair(receivemsg_answers_and_logs_failures),
      in_pair(buffers_travel_with_their_zero_bytes),
      in_pair(send_binary_refuses_bad_arguments_unlogged),
      in_pair(send_binary_answers_and_logs_failures),
      in_pair(receive_binary_refuses_bad_arguments_unlogged),
      in_pair(receive_binary_answers_0_when_nothing_comes),
      in_pair(receive_binary_answers_and_logs_failures),
      in_pair(statistics_count_messages),
      in_pair(statistics_refuse_null_unlogged),
      in_pair(statistics_answer_and_log_failures),
      in_pair(poll_reports_events_and_keeps_the_callers_records),
      in_pair(poll_takes_1_to_16_records),
      in_pair(poll_logs_no_failure),
      in_pair(name_role_and_pattern_are_those_of_creation),
      in_pair(name_is_cut_to_the_buffer),
      in_pair(freeing_a_null_handle_does_nothing),
  };
  return cmocka_run_group_tests_name("channels", tests, NULL, NULL);
}
