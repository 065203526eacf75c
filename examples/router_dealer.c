/* A client that has two sums worked out, and a worker that answers the later one first, in one
 * program for brevity. In life there are many clients and many workers; clients connect to an
 * endpoint such as tcp://192.168.1.7:5557, and workers are threads of one process. */
#include <tavrik/tavrik.h>

#include <stdio.h>
#include <stdlib.h>

#define CLIENTS "inproc://sums"
#define WORKERS "inproc://sums-workers" /* where the workers of the process meet */

/* Adds the two parts of a message. */
static void add(tavrik_message_t* message, char sum[32]) {
  char one[32];
  char other[32];
  tavrik_getPart(message, 0, one);
  tavrik_getPart(message, 1, other);
  snprintf(sum, 32, "%ld", strtol(one, NULL, 10) + strtol(other, NULL, 10));
}

int main(void) {
  tavrik_channel_t* worker =
      tavrik_createChannel("sums", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  tavrik_channel_t* client =
      tavrik_createChannel("sums", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT);
  tavrik_message_t* first = tavrik_createMessage(0);
  tavrik_message_t* second = tavrik_createMessage(0);
  tavrik_message_t* answer = tavrik_createMessage(0);
  const tavrik_msghandle_t* asker = NULL;
  char subject[SUBJECT_BUFFER_SIZE];
  char sum[32];
  int status = 1;

  tavrik_setProperty(client, ASYNC_DEALER_CLIENT_ENDPOINT, CLIENTS);
  tavrik_setProperty(worker, ASYNC_DEALER_CLIENT_ENDPOINT, CLIENTS);
  tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, WORKERS);

  /* The client need not wait for an answer before it asks again. */
  if (tavrik_send(client, "first", 2, "2", "3") < 0) goto done;
  if (tavrik_send(client, "second", 2, "20", "30") < 0) goto done;

  /* What a worker has received carries the handle of its sender. The handle puts an answer onto its
   * way, whenever it is sent. */
  if (tavrik_receivemsg(worker, subject, first, 1000) != 2) goto done;
  if (tavrik_receivemsg(worker, subject, second, 1000) != 2) goto done;

  /* Either the received message is sent back with other parts, */
  add(second, sum);
  tavrik_setnumParts(second, 1);
  tavrik_setPart(second, 0, sum);
  if (tavrik_sendmsg(worker, "second", second) != 1) goto done;

  /* or a message of one's own is given the handle. */
  add(first, sum);
  tavrik_insertPart(answer, 0, sum);
  asker = tavrik_getHandle(first);
  tavrik_setHandle(answer, asker);
  if (tavrik_sendmsg(worker, "first", answer) != 1) goto done;

  for (int answers = 0; answers < 2; ++answers) {
    if (tavrik_receivemsg(client, subject, answer, 1000) != 1) goto done;
    tavrik_getPart(answer, 0, sum);
    printf("%s: %s\n", subject, sum);
  }
  status = 0;

done:
  tavrik_freeMsgHandle(asker);
  tavrik_deleteMessage(answer);
  tavrik_deleteMessage(second);
  tavrik_deleteMessage(first);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(worker);
  return status;
}
