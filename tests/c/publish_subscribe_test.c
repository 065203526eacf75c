/* Publish/subscribe channels called the way a C program calls them: what each property answers in
 * each role, and messages through filters. */
#include "property_tables.h"

#include <stdlib.h>
#include <string.h>

#define CLASS "PublishSubscribeMsgPattern"
#define NOT_SET "Invalid property - cannot be set : x"
#define NOT_READ "Invalid property queried"
#define ROLE_9 "Invalid role with prop PUB_SUB_SET_PUB_SNDHWM: "
#define ROLE_10 "Invalid role with prop PUB_SUB_SET_SUB_RCVHWM: "
#define VALUE_9 "Invalid value for prop PUB_SUB_SET_PUB_SNDHWM: "
#define VALUE_10 "Invalid value for prop PUB_SUB_SET_SUB_RCVHWM: "

static tavrik_channel_t* publisher;
static tavrik_channel_t* subscriber;
static tavrik_message_t* message;
static char endpoint[256];
static char subject[SUBJECT_BUFFER_SIZE];

/* An unconnected pair, and a log without lines. */
static int set_up(void** state) {
  (void)state;
  strcpy(endpoint, ipc_endpoint());
  publisher = tavrik_createChannel("feed", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  subscriber = tavrik_createChannel("feed", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER);
  message = tavrik_createMessage(0);
  memset(subject, '#', sizeof subject);
  capture_log();
  return 0;
}

static int tear_down(void** state) {
  (void)state;
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(subscriber);
  tavrik_deleteChannel(publisher);
  release_log();
  return 0;
}

/* The same, both connected. */
static int set_up_connected(void** state) {
  return set_up(state) + tavrik_setProperty(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint) +
         tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
}

static void create_refuses_the_roles_of_other_patterns(void** state) {
  (void)state;
  const unsigned int roles[] = {REQ_CLIENT, REP_SERVER, ASYNC_DEALER_CLIENT, ASYNC_DEALER_WORKER,
                                6};
  for (size_t i = 0; i < sizeof roles / sizeof roles[0]; ++i) {
    capture_log();
    assert_null(tavrik_createChannel("x", PUBLISH_SUBSCRIBE_PATTERN, (role_t)roles[i]));
    assert_log(
        "1 Error : Tavrik::PublishSubscribeMsgPattern::PublishSubscribeMsgPattern() : Invalid Role "
        "specifiedtavrik:-15\n"
        "1 Error : Tavrik::MsgPatternFactory::createMsgPattern() : Invalid Role "
        "specifiedtavrik:-15\n"
        "1 Error : Tavrik::TavrikChannel::TavrikChannel() : Invalid Role specifiedtavrik:-15\n"
        "3 Error : tavrik_createChannel() : Invalid Role specifiedtavrik:-15\n");
  }
}

static void unconnected_channels_take_and_refuse_properties(void** state) {
  (void)state;
  const setting_t rows[] = {
      {&publisher, PUB_SUB_PUBLISHER_ENDPOINT, "tcp://*:1", -16, "Invalid Endpoint : tcp://*:1"},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "0", -39, VALUE_9 "0"},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "1001", -39, VALUE_9 "1001"},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "abc", -39, VALUE_9 "abc"},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "", -39, VALUE_9},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "1", 0, NULL},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "1000", 0, NULL},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "12abc", 0, NULL},
      {&publisher, PUB_SUB_SET_SUB_RCVHWM, "5", -15, ROLE_10 "5"},
      {&publisher, PUB_SUB_SET_SUB_RCVHWM, "0", -15, ROLE_10 "0"},
      {&publisher, CHANNEL_TOS_PRIORITY, "256", -9,
       "Invalid value for prop CHANNEL_TOS_PRIORITY: 256"},
      {&publisher, CHANNEL_TOS_PRIORITY, "255", 0, NULL},
      {&publisher, PUB_SUB_SUBSCRIBE_FILTER, "x", -19, NOT_SET},
      {&publisher, PUB_SUB_UNSUBSCRIBE_FILTER, "x", -19, NOT_SET},

      {&subscriber, PUB_SUB_PUBLISHER_ENDPOINT, "tcp://*:1", -16, "Invalid Endpoint : tcp://*:1"},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "0", -40, VALUE_10 "0"},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "1001", -40, VALUE_10 "1001"},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "abc", -40, VALUE_10 "abc"},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "1", 0, NULL},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "1000", 0, NULL},
      {&subscriber, PUB_SUB_SET_PUB_SNDHWM, "5", -15, ROLE_9 "5"},
      {&subscriber, PUB_SUB_SET_PUB_SNDHWM, "0", -15, ROLE_9 "0"},
      {&subscriber, CHANNEL_TOS_PRIORITY, "-1", -9,
       "Invalid value for prop CHANNEL_TOS_PRIORITY: -1"},
      {&subscriber, CHANNEL_TOS_PRIORITY, "16", 0, NULL},
      {&subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "x", -18, "Cannot remove unset filter"},
      {&subscriber, PUB_SUB_SUBSCRIBE_FILTER, "x", 0, NULL},
      {&subscriber, PUB_SUB_SUBSCRIBE_FILTER, "x", -17, "Filter already exists"},
      {&subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "x", 0, NULL},
      {&subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "x", -18, "Cannot remove unset filter"},
  };
  assert_settings(CLASS, ROWS(rows));
}

static void connected_channels_take_and_refuse_properties(void** state) {
  (void)state;
  char already_set[300];
  char subscribed_already[300];
  char second[256];
  snprintf(already_set, sizeof already_set, "Publisher Endpoint already set : %s", endpoint);
  snprintf(subscribed_already, sizeof subscribed_already, "Subscriber Endpoint already set : %s",
           endpoint);
  strcpy(second, ipc_endpoint());
  const setting_t rows[] = {
      {&publisher, PUB_SUB_PUBLISHER_ENDPOINT, "*", -16, "Invalid Endpoint : *"},
      {&publisher, PUB_SUB_PUBLISHER_ENDPOINT, "inproc://x", -15, already_set},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "0", -39, VALUE_9 "0"},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, "5", -41, "channel is already connected5"},
      {&publisher, PUB_SUB_SET_SUB_RCVHWM, "0", -15, ROLE_10 "0"},
      {&publisher, CHANNEL_TOS_PRIORITY, "300", -9,
       "Invalid value for prop CHANNEL_TOS_PRIORITY: 300"},
      {&publisher, CHANNEL_TOS_PRIORITY, "10", -11, "channel is already connected10"},

      {&subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint, -38, subscribed_already},
      {&subscriber, PUB_SUB_PUBLISHER_ENDPOINT, second, 0, NULL},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "1001", -40, VALUE_10 "1001"},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, "5", -41, "channel is already connected5"},
      {&subscriber, PUB_SUB_SET_PUB_SNDHWM, "5", -15, ROLE_9 "5"},
      {&subscriber, CHANNEL_TOS_PRIORITY, "10", -11, "channel is already connected10"},
      {&subscriber, PUB_SUB_SUBSCRIBE_FILTER, "x", 0, NULL},
      {&subscriber, PUB_SUB_SUBSCRIBE_FILTER, "x", -17, "Filter already exists"},
      {&subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "x", 0, NULL},
      {&subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "x", -18, "Cannot remove unset filter"},
  };
  assert_settings(CLASS, ROWS(rows));
}

static void properties_of_other_patterns_are_refused(void** state) {
  (void)state;
  const unsigned int props[] = {REQ_REP_SERVER_ENDPOINT,
                                ASYNC_DEALER_CLIENT_ENDPOINT,
                                ASYNC_DEALER_WORKER_ENDPOINT,
                                ASYNC_DEALER_CLIENT_SNDHWM,
                                PUB_SUB_NEXT_PUBLISHER_ENDPOINT, /* to be read only */
                                ASYNC_DEALER_NEXT_CLIENT_ENDPOINT,
                                12,
                                4711};
  for (size_t i = 0; i < sizeof props / sizeof props[0]; ++i) {
    const setting_t rows[] = {{&publisher, props[i], "x", -19, NOT_SET},
                              {&subscriber, props[i], "x", -19, NOT_SET}};
    assert_settings(CLASS, ROWS(rows));
  }
}

static void unconnected_channels_read_what_was_set(void** state) {
  (void)state;
  tavrik_setProperty(publisher, PUB_SUB_SET_PUB_SNDHWM, "12abc");
  tavrik_setProperty(publisher, CHANNEL_TOS_PRIORITY, "184");
  tavrik_setProperty(subscriber, PUB_SUB_SET_SUB_RCVHWM, "7");
  const reading_t rows[] = {
      {&publisher, PUB_SUB_PUBLISHER_ENDPOINT, 0, ""},
      {&publisher, PUB_SUB_SET_PUB_SNDHWM, 0, "12abc"},
      {&publisher, CHANNEL_TOS_PRIORITY, 0, "184"},
      {&subscriber, PUB_SUB_PUBLISHER_ENDPOINT, 0, ""},
      {&subscriber, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, 0, ""},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, 0, "7"},
      {&subscriber, CHANNEL_TOS_PRIORITY, 0, "0"},
  };
  assert_readings(CLASS, ROWS(rows));
}

static void marks_read_empty_before_and_10_after_connecting(void** state) {
  (void)state;
  tavrik_channel_t* const asked = publisher;
  tavrik_channel_t* const fresh = tavrik_createChannel("x", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  tavrik_setProperty(fresh, PUB_SUB_PUBLISHER_ENDPOINT, ipc_endpoint());
  tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const reading_t rows[] = {
      {&asked, PUB_SUB_SET_PUB_SNDHWM, 0, ""},
      {&fresh, PUB_SUB_SET_PUB_SNDHWM, 0, "10"},
      {&subscriber, PUB_SUB_SET_SUB_RCVHWM, 0, "10"},
  };
  assert_readings(CLASS, ROWS(rows));
  tavrik_deleteChannel(fresh);
}

static void the_cursor_walks_the_endpoints_and_starts_again(void** state) {
  (void)state;
  tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, "inproc://second");
  const reading_t rows[] = {
      {&subscriber, PUB_SUB_PUBLISHER_ENDPOINT, 0, endpoint},
      {&subscriber, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, 0, endpoint},
      {&subscriber, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, 0, "inproc://second"},
      {&subscriber, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, 0, ""},
      {&subscriber, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, 0, endpoint},
  };
  assert_readings(CLASS, ROWS(rows));
}

static void what_is_not_to_be_read_is_refused(void** state) {
  (void)state;
  const reading_t rows[] = {
      {&publisher, REQ_REP_SERVER_ENDPOINT, -19, NOT_READ},
      {&publisher, PUB_SUB_SUBSCRIBE_FILTER, -19, NOT_READ},
      {&publisher, PUB_SUB_UNSUBSCRIBE_FILTER, -19, NOT_READ},
      {&publisher, ASYNC_DEALER_CLIENT_ENDPOINT, -19, NOT_READ},
      {&publisher, ASYNC_DEALER_WORKER_ENDPOINT, -19, NOT_READ},
      {&publisher, ASYNC_DEALER_CLIENT_SNDHWM, -19, NOT_READ},
      {&publisher, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, -19, NOT_READ},
      {&publisher, PUB_SUB_SET_SUB_RCVHWM, -19, NOT_READ},
      {&publisher, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, -19, NOT_READ},
      {&publisher, 12, -19, NOT_READ},
      {&subscriber, REQ_REP_SERVER_ENDPOINT, -19, NOT_READ},
      {&subscriber, PUB_SUB_SUBSCRIBE_FILTER, -19, NOT_READ},
      {&subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, -19, NOT_READ},
      {&subscriber, ASYNC_DEALER_CLIENT_ENDPOINT, -19, NOT_READ},
      {&subscriber, ASYNC_DEALER_WORKER_ENDPOINT, -19, NOT_READ},
      {&subscriber, ASYNC_DEALER_CLIENT_SNDHWM, -19, NOT_READ},
      {&subscriber, PUB_SUB_SET_PUB_SNDHWM, -19, NOT_READ},
      {&subscriber, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, -19, NOT_READ},
      {&subscriber, 12, -19, NOT_READ},
  };
  assert_readings(CLASS, ROWS(rows));
}

static void a_publisher_that_cannot_bind_answers_the_transports_code(void** state) {
  (void)state;
  const char* const text =
      "Failed to bind ZeroMQ Socket : Protocol not supported : End Point : "
      "unknown://xzeromq:17367133\n"; /* site 0x1090000, EPROTONOSUPPORT */
  char expected[1024];
  assert_int_equal(-17367133,
                   tavrik_setProperty(publisher, PUB_SUB_PUBLISHER_ENDPOINT, "unknown://x"));
  snprintf(expected, sizeof expected,
           "1 Error : Tavrik::MQWrapper::registerSender() : %s"
           "1 Error : Tavrik::PublishSubscribeMsgPattern::setProperty() : %s"
           "1 Error : tavrik_setProperty() : %s",
           text, text, text);
  assert_log(expected);
}

static void a_subscriber_may_not_send(void** state) {
  (void)state;
  char data[] = "x";
  const char* const text = "send() Operation NOT permitted for SUBSCRIBERtavrik:-20\n";
  char expected[1024];
  const char* const inner = "1 Error : Tavrik::PublishSubscribeMsgPattern::send() : ";

  tavrik_insertPart(message, 0, "kept");
  assert_int_equal(-20, tavrik_sendmsg(subscriber, "x", message));
  assert_int_equal(1, tavrik_getnumParts(message));
  snprintf(expected, sizeof expected, "%s%s1 Error : tavrik_sendmsg() : %s", inner, text, text);
  assert_log(expected);

  capture_log();
  assert_int_equal(-20, tavrik_send(subscriber, "x", 0));
  snprintf(expected, sizeof expected, "%s%s1 Error : tavrik_send() : %s", inner, text, text);
  assert_log(expected);

  capture_log();
  assert_int_equal(-20, tavrik_sendBinary(subscriber, "x", data, 1));
  snprintf(expected, sizeof expected,
           "%s%s1 Error : Tavrik::TavrikChannel::sendBinary() : %s"
           "1 Error : tavrik_sendBinary() : %s",
           inner, text, text, text);
  assert_log(expected);
}

static void a_publisher_may_not_receive(void** state) {
  (void)state;
  void* data = subject;
  unsigned int length = 77;
  const char* const text = "receive() Operation NOT permitted for PUBLISHERtavrik:-21\n";
  char expected[1024];
  /* With the blank, which the member's log prefix has had from the start. */
  const char* const inner = "1 Error : Tavrik:: PublishSubscribeMsgPattern::receive() : ";

  tavrik_insertPart(message, 0, "kept");
  assert_int_equal(-21, tavrik_receivemsg(publisher, subject, message, 0));
  assert_int_equal(1, tavrik_getnumParts(message));
  assert_int_equal('#', subject[0]);
  snprintf(expected, sizeof expected, "%s%s1 Error : tavrik_receivemsg() : %s", inner, text, text);
  assert_log(expected);

  capture_log();
  assert_int_equal(-21, tavrik_receiveBinary(publisher, subject, &data, &length, 0));
  assert_ptr_equal(subject, data);
  assert_int_equal(77, length);
  snprintf(expected, sizeof expected,
           "%s%s1 Error : Tavrik::TavrikChannel::receiveBinary() : %s"
           "1 Error : tavrik_receiveBinary() : %s",
           inner, text, text, text);
  assert_log(expected);
}

static void a_publisher_cannot_be_polled_unlogged(void** state) {
  (void)state;
  tavrik_pollitem_t items[2] = {{subscriber, TAVRIK_POLLIN, 9}, {publisher, TAVRIK_POLLOUT, 9}};
  assert_int_equal(-3, tavrik_poll(items, 2, 0));
  assert_int_equal(9, items[0].revents);
  assert_ptr_equal(subscriber, items[0].socket);
  assert_log("");
  assert_int_equal(0, tavrik_poll(items, 1, 0));
}

/* Connects the pair, with room for everything, and publishes until the subscriber has something:
 * what is sent before the subscription has arrived is nobody's. */
static void meet(const char* topic) {
  tavrik_pollitem_t item = {subscriber, TAVRIK_POLLIN, 0};
  assert_int_equal(0, tavrik_setProperty(publisher, PUB_SUB_SET_PUB_SNDHWM, "1000"));
  assert_int_equal(0, tavrik_setProperty(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  assert_int_equal(0, tavrik_setProperty(subscriber, PUB_SUB_SET_SUB_RCVHWM, "1000"));
  assert_int_equal(0, tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  do {
    assert_int_equal(1, tavrik_send(publisher, topic, 1, "meeting"));
  } while (tavrik_poll(&item, 1, 10) == 0);
}

/* Receives a message of another subject than that of the meeting: its number of parts. */
static int receive_after(const char* topic) {
  int parts = 0;
  do {
    parts = tavrik_receivemsg(subscriber, subject, message, PATIENCE);
  } while (parts == 1 && strcmp(topic, subject) == 0);
  return parts;
}

static void messages_pass_through_filters(void** state) {
  (void)state;
  char part[16];
  assert_int_equal(0, tavrik_setProperty(subscriber, PUB_SUB_SUBSCRIBE_FILTER, "weather"));
  meet("weather/meeting");
  assert_int_equal(1, tavrik_send(publisher, "traffic", 1, "jam"));
  assert_int_equal(2, tavrik_send(publisher, "weather", 2, "sun", "wind"));
  assert_int_equal(2, receive_after("weather/meeting"));
  assert_string_equal("weather", subject);
  assert_int_equal(0, tavrik_getPart(message, 1, part));
  assert_string_equal("wind", part);
  assert_null(tavrik_getHandle(message));
  assert_log("");
}

static void buffers_pass_with_their_zero_bytes(void** state) {
  (void)state;
  char data[] = "a\0b";
  void* received = NULL;
  unsigned int length = 0;
  meet("meeting");
  assert_int_equal(1, tavrik_send(publisher, "met", 1, "x"));
  assert_int_equal(1, receive_after("meeting"));
  assert_string_equal("met", subject);
  assert_int_equal(1, tavrik_sendBinary(publisher, "file", data, 3));
  assert_int_equal(1, tavrik_receiveBinary(subscriber, subject, &received, &length, PATIENCE));
  assert_string_equal("file", subject);
  assert_int_equal(3, length);
  assert_memory_equal("a\0b", received, 3);
  free(received);
  assert_log("");
}

static void statistics_count_what_was_sent_to_nobody_too(void** state) {
  (void)state;
  tavrikStatistics stats;
  assert_int_equal(0, tavrik_initializeStatsMonitoring(publisher));
  assert_int_equal(1, tavrik_send(publisher, "weather", 1, "rain"));
  assert_int_equal(0, tavrik_getTavrikStats(publisher, &stats));
  assert_int_equal(1, stats.sentCount);
  assert_int_equal(0, stats.rcvdCount);
}

static void statistics_count_what_was_received(void** state) {
  (void)state;
  tavrikStatistics stats;
  assert_int_equal(0, tavrik_initializeStatsMonitoring(subscriber));
  meet("meeting");
  assert_int_equal(1, tavrik_send(publisher, "first", 1, "x"));
  assert_int_equal(1, receive_after("meeting"));
  assert_int_equal(0, tavrik_clearTavrikStats(subscriber));
  assert_int_equal(1, tavrik_send(publisher, "second", 1, "x"));
  assert_int_equal(1, receive_after("first"));
  assert_int_equal(0, tavrik_getTavrikStats(subscriber, &stats));
  assert_int_equal(1, stats.rcvdCount);
  assert_int_equal(0, stats.sentCount);
}

static void role_and_pattern_are_those_of_creation(void** state) {
  (void)state;
  assert_int_equal(PUBLISHER, tavrik_getChannelRole(publisher));
  assert_int_equal(SUBSCRIBER, tavrik_getChannelRole(subscriber));
  assert_int_equal(PUBLISH_SUBSCRIBE_PATTERN, tavrik_getChannelPattern(publisher));
}

#define unconnected(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)
#define connected(test) cmocka_unit_test_setup_teardown(test, set_up_connected, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      unconnected(create_refuses_the_roles_of_other_patterns),
      unconnected(unconnected_channels_take_and_refuse_properties),
      connected(connected_channels_take_and_refuse_properties),
      unconnected(properties_of_other_patterns_are_refused),
      unconnected(unconnected_channels_read_what_was_set),
      unconnected(marks_read_empty_before_and_10_after_connecting),
      unconnected(the_cursor_walks_the_endpoints_and_starts_again),
      unconnected(what_is_not_to_be_read_is_refused),
      unconnected(a_publisher_that_cannot_bind_answers_the_transports_code),
      unconnected(a_subscriber_may_not_send),
      unconnected(a_publisher_may_not_receive),
      connected(a_publisher_cannot_be_polled_unlogged),
      unconnected(messages_pass_through_filters),
      unconnected(buffers_pass_with_their_zero_bytes),
      connected(statistics_count_what_was_sent_to_nobody_too),
      unconnected(statistics_count_what_was_received),
      unconnected(role_and_pattern_are_those_of_creation),
  };
  return cmocka_run_group_tests_name("publish_subscribe", tests, NULL, NULL);
}
