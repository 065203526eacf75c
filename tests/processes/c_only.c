/* A program without any C++: exchanges a message over each pattern and exits while a proxy runs. */
#include <tavrik/tavrik.h>

#include <stdio.h>
#include <string.h>

static tavrik_message_t* message;
static char subject[SUBJECT_BUFFER_SIZE];

/* Waits for a message. Returns whether it has one part and this subject. */
static int receive(tavrik_channel_t* channel, const char* expected) {
  return tavrik_receivemsg(channel, subject, message, -1) == 1 && strcmp(subject, expected) == 0;
}

static int request_reply(void) {
  tavrik_channel_t* const server = tavrik_createChannel("c", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_channel_t* const client = tavrik_createChannel("c", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, "inproc://c");
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, "inproc://c");
  const int succeeded = tavrik_send(client, "hello", 1, "x") == 1 && receive(server, "hello");
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
  return succeeded;
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
  do { /* a publisher drops what it sends before the subscription has reached it */
    tavrik_send(publisher, "news", 1, "x");
  } while (tavrik_poll(&item, 1, 10) == 0);
  const int succeeded = receive(subscriber, "news");
  tavrik_deleteChannel(subscriber);
  tavrik_deleteChannel(publisher);
  return succeeded;
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
  const int succeeded = receive(worker, "ask") && tavrik_sendmsg(worker, "reply", message) == 1 &&
                        receive(client, "reply");
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(worker);
  return succeeded;
}

int main(void) {
  message = tavrik_createMessage(0);
  const int succeeded = request_reply() && publish_subscribe() && router_dealer();
  tavrik_deleteMessage(message);
  return succeeded ? 0 : 1;
}
