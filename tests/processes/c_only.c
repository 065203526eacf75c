/* A program that has no C++ in it: loads the library, exchanges a message by each pattern and
 * exits, with a proxy running. */
#include <tavrik/tavrik.h>

#include <stdio.h>
#include <string.h>

static tavrik_message_t* message;
static char subject[SUBJECT_BUFFER_SIZE];

/* Waits for a message of one part and of this subject; whether it came. */
static int receive(tavrik_channel_t* channel, const char* expected) {
  return tavrik_receivemsg(channel, subject, message, -1) == 1 && strcmp(subject, expected) == 0;
}

static int request_reply(void) {
  tavrik_channel_t* const server = tavrik_createChannel("c", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_channel_t* const client = tavrik_createChannel("c", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, "inproc://c");
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, "inproc://c");
  const int well = tavrik_send(client, "hello", 1, "x") == 1 && receive(server, "hello");
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
  return well;
}

static int publish_subscribe(void) {
  tavrik_channel_t* const publisher =
      tavrik_createChannel("c", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  tavrik_channel_t* const subscriber =
      tavrik_createChannel("c", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER);
  tavrik_pollitem_t item = {subscriber, TAVRIK_POLLIN, 0};
  tavrik_setProperty(publisher, PUB_SUB_PUBLISHER_ENDPOINT, "inproc://feed");
  tavrik_setProperty(subscriber, PUB_SUB_SUBSCRIBE_FILTER, "news");
  tavrik_setProperty(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, "inproc://feed");
  do { /* what is sent before the subscription has arrived is nobody's */
    tavrik_send(publisher, "news", 1, "x");
  } while (tavrik_poll(&item, 1, 10) == 0);
  const int well = receive(subscriber, "news");
  tavrik_deleteChannel(subscriber);
  tavrik_deleteChannel(publisher);
  return well;
}

static int router_dealer(void) {
  tavrik_channel_t* const client =
      tavrik_createChannel("c", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT);
  tavrik_channel_t* const worker =
      tavrik_createChannel("c", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  tavrik_setProperty(client, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://front");
  tavrik_setProperty(worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://front");
  tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, "inproc://back");
  tavrik_send(client, "ask", 1, "x");
  tavrik_receivemsg(worker, subject, message, 1); /* connects */
  const int well = receive(worker, "ask") && tavrik_sendmsg(worker, "answer", message) == 1 &&
                   receive(client, "answer");
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(worker);
  return well;
}

int main(void) {
  message = tavrik_createMessage(0);
  const int well = request_reply() && publish_subscribe() && router_dealer();
  tavrik_deleteMessage(message);
  return well ? 0 : 1;
}
