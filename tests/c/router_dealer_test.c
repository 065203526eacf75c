/* Router/dealer channels called the way a C program calls them: what each property answers in each
 * role, requests answered through reply handles, and proxies that cannot start or have ended. */
#include "property_tables.h"

#include <support/c_proxy_control.h>

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#define CLASS "AsyncRouterDealerMsgPattern"
#define NOT_SET "Invalid property - cannot be set : x"
#define NOT_READ "Invalid property queried"
#define MARK_ROLE "Invalid role with prop ASYNC_DEALER_CLIENT_SNDHWM: "
#define MARK_VALUE "Invalid value for prop ASYNC_DEALER_CLIENT_SNDHWM: "
#define BAD_ENDPOINT "Invalid Endpoint : tcp://*:1"

static tavrik_channel_t* client;
static tavrik_channel_t* worker;
static tavrik_message_t* message;
static char front[256];
static char back[256];
static char subject[SUBJECT_BUFFER_SIZE];

/* An unconnected pair with endpoints and a name of its own, and a log without lines. */
static int set_up(void** state) {
  (void)state;
  static int names = 0;
  char name[32];
  snprintf(name, sizeof name, "pair-%d", names++);
  strcpy(front, ipc_endpoint());
  strcpy(back, ipc_endpoint());
  client = tavrik_createChannel(name, ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT);
  worker = tavrik_createChannel(name, ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  message = tavrik_createMessage(0);
  memset(subject, '#', sizeof subject);
  tavrik_setProperty(client, ASYNC_DEALER_CLIENT_ENDPOINT, front);
  tavrik_setProperty(worker, ASYNC_DEALER_CLIENT_ENDPOINT, front);
  tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, back);
  capture_log();
  return 0;
}

/* The same, both connected. A first receive of 1 ms only connects. */
static int set_up_connected(void** state) {
  return set_up(state) + tavrik_receivemsg(worker, subject, message, 1) +
         tavrik_receivemsg(client, subject, message, 1);
}

static int tear_down(void** state) {
  (void)state;
  fail_threads(0);
  release_proxies();
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(worker);
  release_log();
  return 0;
}

/* A refusal that passed a member of the class and, if given, of the channel, and a C function. */
static void assert_logged(const char* member, const char* channel_member, const char* function,
                          const char* text) {
  char expected[2048];
  char channel_line[512] = "";
  if (channel_member != NULL) {
    snprintf(channel_line, sizeof channel_line, "1 Error : Tavrik::TavrikChannel::%s() : %s\n",
             channel_member, text);
  }
  snprintf(expected, sizeof expected,
           "1 Error : Tavrik::" CLASS "::%s() : %s\n%s1 Error : %s() : %s\n", member, text,
           channel_line, function, text);
  assert_log(expected);
}

/* Receive has no prefix of its own in the log. */
#define RECEIVE CLASS

static void create_refuses_the_roles_of_other_patterns(void** state) {
  (void)state;
  const unsigned int roles[] = {REQ_CLIENT, REP_SERVER, PUBLISHER, SUBSCRIBER, 6};
  for (size_t i = 0; i < sizeof roles / sizeof roles[0]; ++i) {
    capture_log();
    assert_null(tavrik_createChannel("x", ASYNC_ROUTER_DEALER_PATTERN, (role_t)roles[i]));
    assert_log(
        "1 Error : Tavrik::AsyncRouterDealerMsgPattern::AsyncRouterDealerMsgPattern() : Invalid "
        "Role specifiedtavrik:-23\n"
        "1 Error : Tavrik::MsgPatternFactory::createMsgPattern() : Invalid Role "
        "specifiedtavrik:-23\n"
        "1 Error : Tavrik::TavrikChannel::TavrikChannel() : Invalid Role specifiedtavrik:-23\n"
        "3 Error : tavrik_createChannel() : Invalid Role specifiedtavrik:-23\n");
  }
}

static void unconnected_channels_take_and_refuse_properties(void** state) {
  (void)state;
  char already_set[300];
  snprintf(already_set, sizeof already_set, "Dealer Endpoint already set : %s", front);
  const setting_t rows[] = {
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, "tcp://*:1", -26, BAD_ENDPOINT},
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, front, 0, NULL},
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://x", 0, NULL},
      {&client, ASYNC_DEALER_WORKER_ENDPOINT, "x", -27, NOT_SET},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "0", -24, MARK_VALUE "0"},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "1001", -24, MARK_VALUE "1001"},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "abc", -24, MARK_VALUE "abc"},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "", -24, MARK_VALUE},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "1", 0, NULL},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "1000", 0, NULL},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "12abc", 0, NULL},
      {&client, CHANNEL_TOS_PRIORITY, "256", -9,
       "Invalid value for prop CHANNEL_TOS_PRIORITY: 256"},
      {&client, CHANNEL_TOS_PRIORITY, "255", 0, NULL},

      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, "tcp://*:1", -26, BAD_ENDPOINT},
      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, front, -42, already_set},
      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://x", 0, NULL},
      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://x", -42,
       "Dealer Endpoint already set : inproc://x"},
      {&worker, ASYNC_DEALER_WORKER_ENDPOINT, "tcp://*:1", -26, BAD_ENDPOINT},
      {&worker, ASYNC_DEALER_WORKER_ENDPOINT, back, 0, NULL},
      {&worker, ASYNC_DEALER_WORKER_ENDPOINT, "inproc://y", 0, NULL},
      {&worker, ASYNC_DEALER_CLIENT_SNDHWM, "5", -23, MARK_ROLE "5"},
      {&worker, ASYNC_DEALER_CLIENT_SNDHWM, "0", -23, MARK_ROLE "0"},
      {&worker, CHANNEL_TOS_PRIORITY, "-1", -9, "Invalid value for prop CHANNEL_TOS_PRIORITY: -1"},
      {&worker, CHANNEL_TOS_PRIORITY, "16", 0, NULL},
  };
  assert_settings(CLASS, ROWS(rows));
}

/* Most are refused without a word once connected, whatever the value. */
static void connected_channels_refuse_every_property(void** state) {
  (void)state;
  const setting_t rows[] = {
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://x", -32, NULL},
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, "tcp://*:1", -32, NULL},
      {&client, ASYNC_DEALER_WORKER_ENDPOINT, "x", -32, NULL},
      {&client, REQ_REP_SERVER_ENDPOINT, "x", -32, NULL},
      {&client, 12, "x", -32, NULL},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "0", -24, MARK_VALUE "0"},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, "5", -25, "channel is already connected5"},
      {&client, CHANNEL_TOS_PRIORITY, "300", -9,
       "Invalid value for prop CHANNEL_TOS_PRIORITY: 300"},
      {&client, CHANNEL_TOS_PRIORITY, "10", -11, "channel is already connected10"},

      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://x", -32, NULL},
      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, front, -32, NULL},
      {&worker, ASYNC_DEALER_WORKER_ENDPOINT, "tcp://*:1", -32, NULL},
      {&worker, PUB_SUB_SUBSCRIBE_FILTER, "x", -32, NULL},
      {&worker, ASYNC_DEALER_CLIENT_SNDHWM, "5", -23, MARK_ROLE "5"},
      {&worker, CHANNEL_TOS_PRIORITY, "10", -11, "channel is already connected10"},
  };
  assert_settings(CLASS, ROWS(rows));
}

static void properties_of_other_patterns_are_refused(void** state) {
  (void)state;
  const unsigned int props[] = {REQ_REP_SERVER_ENDPOINT,
                                PUB_SUB_PUBLISHER_ENDPOINT,
                                PUB_SUB_SUBSCRIBE_FILTER,
                                PUB_SUB_UNSUBSCRIBE_FILTER,
                                PUB_SUB_NEXT_PUBLISHER_ENDPOINT,
                                PUB_SUB_SET_PUB_SNDHWM,
                                PUB_SUB_SET_SUB_RCVHWM,
                                ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, /* to be read only */
                                12,
                                4711};
  for (size_t i = 0; i < sizeof props / sizeof props[0]; ++i) {
    const setting_t rows[] = {{&client, props[i], "x", -27, NOT_SET},
                              {&worker, props[i], "x", -27, NOT_SET}};
    assert_settings(CLASS, ROWS(rows));
  }
}

static void properties_read_as_they_were_set(void** state) {
  (void)state;
  const reading_t rows[] = {
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, 0, front},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, 0, "1000"},
      {&client, CHANNEL_TOS_PRIORITY, 0, "0"},
      {&worker, ASYNC_DEALER_WORKER_ENDPOINT, 0, back},
      {&worker, CHANNEL_TOS_PRIORITY, 0, "0"},
  };
  assert_readings(CLASS, ROWS(rows));
  tavrik_setProperty(client, ASYNC_DEALER_CLIENT_SNDHWM, "12abc");
  tavrik_setProperty(client, CHANNEL_TOS_PRIORITY, "184");
  const reading_t later[] = {
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, 0, "12abc"},
      {&client, CHANNEL_TOS_PRIORITY, 0, "184"},
  };
  assert_readings(CLASS, ROWS(later));
}

static void connecting_changes_no_property(void** state) {
  (void)state;
  const reading_t rows[] = {
      {&client, ASYNC_DEALER_CLIENT_ENDPOINT, 0, front},
      {&client, ASYNC_DEALER_CLIENT_SNDHWM, 0, "1000"},
      {&client, CHANNEL_TOS_PRIORITY, 0, "0"},
      {&worker, ASYNC_DEALER_WORKER_ENDPOINT, 0, back},
      {&worker, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, 0, front},
  };
  assert_readings(CLASS, ROWS(rows));
}

static void the_cursor_walks_the_client_endpoints_and_starts_again(void** state) {
  (void)state;
  tavrik_setProperty(worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://second");
  const reading_t rows[] = {
      {&worker, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, 0, front},
      {&worker, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, 0, "inproc://second"},
      {&worker, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, 0, ""},
      {&worker, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, 0, front},
  };
  assert_readings(CLASS, ROWS(rows));
}

static void what_is_not_to_be_read_is_refused(void** state) {
  (void)state;
  const reading_t rows[] = {
      {&client, REQ_REP_SERVER_ENDPOINT, -27, NOT_READ},
      {&client, PUB_SUB_PUBLISHER_ENDPOINT, -27, NOT_READ},
      {&client, PUB_SUB_SUBSCRIBE_FILTER, -27, NOT_READ},
      {&client, PUB_SUB_UNSUBSCRIBE_FILTER, -27, NOT_READ},
      {&client, ASYNC_DEALER_WORKER_ENDPOINT, -27, NOT_READ},
      {&client, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, -27, NOT_READ},
      {&client, PUB_SUB_SET_PUB_SNDHWM, -27, NOT_READ},
      {&client, PUB_SUB_SET_SUB_RCVHWM, -27, NOT_READ},
      {&client, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT, -27, NOT_READ},
      {&client, 12, -27, NOT_READ},
      {&worker, REQ_REP_SERVER_ENDPOINT, -27, NOT_READ},
      {&worker, PUB_SUB_PUBLISHER_ENDPOINT, -27, NOT_READ},
      {&worker, PUB_SUB_SUBSCRIBE_FILTER, -27, NOT_READ},
      {&worker, PUB_SUB_UNSUBSCRIBE_FILTER, -27, NOT_READ},
      {&worker, ASYNC_DEALER_CLIENT_ENDPOINT, -27, NOT_READ},
      {&worker, ASYNC_DEALER_CLIENT_SNDHWM, -27, NOT_READ},
      {&worker, PUB_SUB_NEXT_PUBLISHER_ENDPOINT, -27, NOT_READ},
      {&worker, PUB_SUB_SET_PUB_SNDHWM, -27, NOT_READ},
      {&worker, PUB_SUB_SET_SUB_RCVHWM, -27, NOT_READ},
      {&worker, 12, -27, NOT_READ},
  };
  assert_readings(CLASS, ROWS(rows));
}

/* Requests and replies. */

/* Has the client ask and the worker receive. */
static void ask(const char* question) {
  assert_int_equal(1, tavrik_send(client, "ask", 1, question));
  assert_int_equal(1, tavrik_receivemsg(worker, subject, message, PATIENCE));
  assert_string_equal("ask", subject);
}

static void assert_answered(const char* expected) {
  char part[16];
  assert_int_equal(1, tavrik_receivemsg(client, subject, message, PATIENCE));
  assert_string_equal("answer", subject);
  assert_int_equal(0, tavrik_getPart(message, 0, part));
  assert_string_equal(expected, part);
}

static void a_request_can_be_sent_back_as_its_answer(void** state) {
  (void)state;
  char part[16];
  assert_int_equal(2, tavrik_send(client, "ask", 2, "a", "b"));
  assert_int_equal(2, tavrik_receivemsg(worker, subject, message, PATIENCE));
  assert_int_equal(2, tavrik_getnumParts(message));
  tavrik_getPart(message, 0, part);
  assert_string_equal("a", part);
  assert_int_equal(2, tavrik_sendmsg(worker, "answer", message));
  assert_int_equal(2, tavrik_getnumParts(message));
  assert_int_equal(2, tavrik_receivemsg(client, subject, message, PATIENCE));
  assert_log("");
}

static void a_handle_takes_another_message_to_the_client(void** state) {
  (void)state;
  ask("question");
  const tavrik_msghandle_t* const handle = tavrik_getHandle(message);
  assert_non_null(handle);
  tavrik_message_t* const reply = tavrik_createMessage(0);
  tavrik_insertPart(reply, 0, "reply");
  assert_int_equal(0, tavrik_setHandle(reply, handle));
  tavrik_freeMsgHandle(handle);
  assert_int_equal(1, tavrik_sendmsg(worker, "answer", reply));
  tavrik_deleteMessage(reply);
  assert_answered("reply");
  assert_log("");
}

static void handles_are_kept_and_answered_in_another_order(void** state) {
  (void)state;
  ask("first");
  const tavrik_msghandle_t* const first = tavrik_getHandle(message);
  ask("second");
  const tavrik_msghandle_t* const second = tavrik_getHandle(message);
  const tavrik_msghandle_t* const handles[] = {second, first};
  const char* const answers[] = {"to second", "to first"};
  for (size_t i = 0; i < 2; ++i) {
    tavrik_message_t* const reply = tavrik_createMessage(0);
    tavrik_insertPart(reply, 0, answers[i]);
    tavrik_setHandle(reply, handles[i]);
    tavrik_freeMsgHandle(handles[i]);
    assert_int_equal(1, tavrik_sendmsg(worker, "answer", reply));
    tavrik_deleteMessage(reply);
  }
  assert_answered("to second");
  assert_answered("to first");
}

static void a_copy_has_the_handle_too(void** state) {
  (void)state;
  ask("copied");
  tavrik_message_t* const copy = tavrik_copyMessage(message, 0);
  tavrik_setnumParts(message, 0);
  tavrik_setHandle(message, NULL);
  assert_int_equal(1, tavrik_sendmsg(worker, "answer", copy));
  tavrik_deferMsgFree(copy, 1); /* a copy starts without a reference */
  tavrik_deleteMessage(copy);
  assert_answered("copied");
}

static void a_deferred_request_is_answered_later(void** state) {
  (void)state;
  ask("deferred");
  assert_int_equal(0, tavrik_deferMsgFree(message, 1));
  tavrik_deleteMessage(message);
  assert_int_equal(1, tavrik_sendmsg(worker, "answer", message));
  assert_answered("deferred");
}

static void the_clients_messages_carry_no_handle(void** state) {
  (void)state;
  ask("question");
  assert_int_equal(1, tavrik_sendmsg(worker, "answer", message));
  tavrik_message_t* const reply = tavrik_createMessage(0);
  assert_int_equal(1, tavrik_receivemsg(client, subject, reply, PATIENCE));
  assert_null(tavrik_getHandle(reply));
  tavrik_deleteMessage(reply);
}

static void a_worker_cannot_send_without_a_handle(void** state) {
  (void)state;
  const char* const text = "Message handle is NULLtavrik:-28";
  char data[] = "x";
  tavrik_insertPart(message, 0, "kept");
  assert_int_equal(-28, tavrik_sendmsg(worker, "answer", message));
  assert_int_equal(1, tavrik_getnumParts(message));
  assert_logged("send", NULL, "tavrik_sendmsg", text);

  capture_log();
  assert_int_equal(-28, tavrik_send(worker, "answer", 1, "x"));
  assert_logged("send", NULL, "tavrik_send", text);

  capture_log();
  assert_int_equal(-28, tavrik_sendBinary(worker, "answer", data, 1));
  assert_logged("send", "sendBinary", "tavrik_sendBinary", text);
}

static void a_worker_that_lost_its_handle_cannot_answer(void** state) {
  (void)state;
  ask("question");
  assert_int_equal(0, tavrik_setHandle(message, NULL));
  assert_int_equal(-28, tavrik_sendmsg(worker, "answer", message));
  assert_int_equal(1, tavrik_getnumParts(message));
}

static void buffers_travel_to_the_worker_with_their_zero_bytes(void** state) {
  (void)state;
  char data[] = "a\0b";
  void* received = NULL;
  unsigned int length = 0;
  assert_int_equal(1, tavrik_sendBinary(client, "file", data, 3));
  assert_int_equal(1, tavrik_receiveBinary(worker, subject, &received, &length, PATIENCE));
  assert_string_equal("file", subject);
  assert_int_equal(3, length);
  assert_memory_equal("a\0b", received, 3);
  free(received);
}

static void binary_answers_go_through_a_message(void** state) {
  (void)state;
  char part[3];
  ask("question");
  assert_int_equal(0, tavrik_setBinPart(message, 0, "a\0b", 3));
  assert_int_equal(1, tavrik_sendmsg(worker, "answer", message));
  assert_int_equal(1, tavrik_receivemsg(client, subject, message, PATIENCE));
  assert_int_equal(3, tavrik_getPartlength(message, 0));
  assert_int_equal(0, tavrik_getBinPart(message, 0, part));
  assert_memory_equal("a\0b", part, 3);
}

#define QUEUE_FULL "Failed to send messagepart : Resource temporarily unavailablezeromq:17498123"

static void a_full_queue_refuses_a_request_at_once(void** state) {
  (void)state;
  tavrik_setProperty(client, ASYNC_DEALER_CLIENT_SNDHWM, "2");
  assert_int_equal(1, tavrik_send(client, "ask", 1, "x")); /* nobody is there */
  assert_int_equal(1, tavrik_send(client, "ask", 1, "x"));
  assert_int_equal(-17498123, tavrik_send(client, "ask", 1, "x"));
  assert_log("1 Error : Tavrik::MQWrapper::send() : " QUEUE_FULL
             "\n"
             "1 Error : Tavrik::" CLASS "::send() : " QUEUE_FULL
             "\n"
             "1 Error : tavrik_send() : " QUEUE_FULL "\n");
}

static void a_worker_that_only_looks_starts_nothing(void** state) {
  (void)state;
  assert_int_equal(0, tavrik_receivemsg(worker, subject, message, 0));
  assert_log("2 Info : Not creating threads as timeout is 0 and role is worker\n");
  assert_int_equal(0, tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, back));
}

static void poll_connects_both_roles_and_reports_a_request(void** state) {
  (void)state;
  tavrik_pollitem_t items[2] = {{worker, TAVRIK_POLLIN, 9}, {client, TAVRIK_POLLIN, 9}};
  assert_int_equal(0, tavrik_poll(items, 2, 0));
  assert_int_equal(1, tavrik_send(client, "ask", 1, "x"));
  assert_int_equal(1, tavrik_poll(items, 2, PATIENCE));
  assert_int_equal(TAVRIK_POLLIN, items[0].revents);
  assert_int_equal(0, items[1].revents);
  assert_int_equal(-32, tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, back));
}

static void statistics_count_a_message_once_with_its_identity(void** state) {
  (void)state;
  tavrikStatistics stats;
  assert_int_equal(0, tavrik_initializeStatsMonitoring(worker));
  ask("question");
  assert_int_equal(1, tavrik_sendmsg(worker, "answer", message));
  assert_int_equal(0, tavrik_getTavrikStats(worker, &stats));
  assert_int_equal(1, stats.rcvdCount);
  assert_int_equal(1, stats.sentCount);
}

static void role_and_pattern_are_those_of_creation(void** state) {
  (void)state;
  assert_int_equal(ASYNC_DEALER_CLIENT, tavrik_getChannelRole(client));
  assert_int_equal(ASYNC_DEALER_WORKER, tavrik_getChannelRole(worker));
  assert_int_equal(ASYNC_ROUTER_DEALER_PATTERN, tavrik_getChannelPattern(worker));
}

/* Proxies that cannot start or have ended. */

#define NO_THREAD "Proxy thread creation failedtavrik:-30"
#define NO_PROXY "Thread entry not found in proxythreadstavrik:-29"

static void a_proxy_without_a_thread_fails_the_call_that_wanted_it(void** state) {
  (void)state;
  fail_threads(1);
  assert_int_equal(-30, tavrik_receivemsg(worker, subject, message, PATIENCE));
  assert_log("1 Error : Tavrik::" CLASS "::connectEndpoint() : " NO_THREAD
             "\n"
             "1 Error : Tavrik::" CLASS "::" RECEIVE "() : " NO_THREAD
             "\n"
             "1 Error : tavrik_receivemsg() : " NO_THREAD "\n");
  fail_threads(0);
  /* The worker counts as connected, but there is no proxy. */
  assert_int_equal(-32, tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, back));
  assert_int_equal(-29, tavrik_receivemsg(worker, subject, message, 0));
}

static void sending_and_polling_fail_for_want_of_a_thread_too(void** state) {
  (void)state;
  tavrik_pollitem_t item = {worker, TAVRIK_POLLIN, 0};
  tavrik_channel_t* const another =
      tavrik_createChannel("without a thread", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  tavrik_setProperty(another, ASYNC_DEALER_WORKER_ENDPOINT, ipc_endpoint());
  fail_threads(1);
  assert_int_equal(-30, tavrik_poll(&item, 1, 0));
  assert_log("1 Error : Tavrik::" CLASS "::connectEndpoint() : " NO_THREAD "\n");
  capture_log();
  assert_int_equal(-30, tavrik_sendmsg(another, "answer", message));
  assert_log("1 Error : Tavrik::" CLASS "::connectEndpoint() : " NO_THREAD
             "\n"
             "1 Error : Tavrik::" CLASS "::send() : " NO_THREAD
             "\n"
             "1 Error : tavrik_sendmsg() : " NO_THREAD "\n");
  tavrik_deleteChannel(another);
}

static void a_worker_whose_proxy_has_ended_can_do_nothing(void** state) {
  (void)state;
  char data[] = "x";
  void* received = NULL;
  unsigned int length = 0;
  hold_proxies();
  assert_int_equal(0, tavrik_receivemsg(worker, subject, message, 1));
  end_proxy(EINVAL);
  while (tavrik_receivemsg(worker, subject, message, 0) == 0) continue;

  capture_log();
  assert_int_equal(-29, tavrik_receivemsg(worker, subject, message, 0));
  assert_logged(RECEIVE, NULL, "tavrik_receivemsg", NO_PROXY);
  capture_log();
  assert_int_equal(-29, tavrik_receiveBinary(worker, subject, &received, &length, 0));
  assert_logged(RECEIVE, "receiveBinary", "tavrik_receiveBinary", NO_PROXY);
  capture_log();
  assert_int_equal(-29, tavrik_sendmsg(worker, "answer", message));
  assert_logged("send", NULL, "tavrik_sendmsg", NO_PROXY);
  capture_log();
  assert_int_equal(-29, tavrik_sendBinary(worker, "answer", data, 1));
  assert_logged("send", "sendBinary", "tavrik_sendBinary", NO_PROXY);
}

#define unconnected(test) cmocka_unit_test_setup_teardown(test, set_up, tear_down)
#define connected(test) cmocka_unit_test_setup_teardown(test, set_up_connected, tear_down)

int main(void) {
  const struct CMUnitTest tests[] = {
      unconnected(create_refuses_the_roles_of_other_patterns),
      unconnected(unconnected_channels_take_and_refuse_properties),
      connected(connected_channels_refuse_every_property),
      unconnected(properties_of_other_patterns_are_refused),
      unconnected(properties_read_as_they_were_set),
      connected(connecting_changes_no_property),
      unconnected(the_cursor_walks_the_client_endpoints_and_starts_again),
      unconnected(what_is_not_to_be_read_is_refused),
      connected(a_request_can_be_sent_back_as_its_answer),
      connected(a_handle_takes_another_message_to_the_client),
      connected(handles_are_kept_and_answered_in_another_order),
      connected(a_copy_has_the_handle_too),
      connected(a_deferred_request_is_answered_later),
      connected(the_clients_messages_carry_no_handle),
      connected(a_worker_cannot_send_without_a_handle),
      connected(a_worker_that_lost_its_handle_cannot_answer),
      connected(buffers_travel_to_the_worker_with_their_zero_bytes),
      connected(binary_answers_go_through_a_message),
      unconnected(a_full_queue_refuses_a_request_at_once),
      unconnected(a_worker_that_only_looks_starts_nothing),
      unconnected(poll_connects_both_roles_and_reports_a_request),
      connected(statistics_count_a_message_once_with_its_identity),
      unconnected(role_and_pattern_are_those_of_creation),
      unconnected(a_proxy_without_a_thread_fails_the_call_that_wanted_it),
      unconnected(sending_and_polling_fail_for_want_of_a_thread_too),
      unconnected(a_worker_whose_proxy_has_ended_can_do_nothing),
  };
  return cmocka_run_group_tests_name("router_dealer", tests, NULL, NULL);
}
