/* A client that requests two sums, and a worker that replies to the later request first. They are
 * one program for brevity. Usually there are many clients and many workers: clients connect to an
 * endpoint such as tcp://192.168.1.7:5557, and workers are threads of one process. */
#include <tavrik/tavrik.h>

#include <stdio.h>
#include <stdlib.h>

#define CLIENTS "inproc://sums"
#define WORKERS "inproc://sums-workers" /* between the proxy and the workers of the process */

enum { TEXT_SIZE = 32 };

/* Copies a part that any peer may have sent; one that is too long becomes empty text. */
static void read_part(tavrik_message_t* message, unsigned int part, char text[TEXT_SIZE]) {
  text[0] = '\0';
  if (tavrik_getPartlength(message, part) < TEXT_SIZE) tavrik_getPart(message, part, text);
}

/* Adds the two parts of a message. */
static void add(tavrik_message_t* message, char sum[TEXT_SIZE]) {
  char one[TEXT_SIZE];
  char other[TEXT_SIZE];
  read_part(message, 0, one);
  read_part(message, 1, other);
  snprintf(sum, TEXT_SIZE, "%g", strtod(one, NULL) + strtod(other, NULL));
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
  char sum[TEXT_SIZE];
  int answers = 0;
  int status = 1;

  tavrik_setProperty(client, ASYNC_DEALER_CLIENT_ENDPOINT, CLIENTS);
  tavrik_setProperty(worker, ASYNC_DEALER_CLIENT_ENDPOINT, CLIENTS);
  tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, WORKERS);

  /* The client may send more requests before it has received a reply. */
  if (tavrik_send(client, "first", 2, "2", "3") < 0) goto done;
  if (tavrik_send(client, "second", 2, "20", "30") < 0) goto done;

  /* A message that a worker has received carries the handle of the client that sent it. A reply
   * with that handle is sent to that client, at any time. */
  if (tavrik_receivemsg(worker, subject, first, 1000) != 2) goto done;
  if (tavrik_receivemsg(worker, subject, second, 1000) != 2) goto done;

  /* The worker changes the parts of the received message and sends it back, */
  add(second, sum);
  tavrik_setnumParts(second, 1);
  tavrik_setPart(second, 0, sum);
  if (tavrik_sendmsg(worker, "second", second) != 1) goto done;

  /* or it copies the handle to a message of its own. */
  add(first, sum);
  tavrik_insertPart(answer, 0, sum);
  asker = tavrik_getHandle(first);
  tavrik_setHandle(answer, asker);
  if (tavrik_sendmsg(worker, "first", answer) != 1) goto done;

  for (int tries = 0; answers < 2 && tries < 10; ++tries) {
    if (tavrik_receivemsg(client, subject, answer, 1000) != 1) continue;
    read_part(answer, 0, sum);
    printf("%s: %s\n", subject, sum);
    ++answers;
  }
  if (answers == 2) status = 0;

done:
  tavrik_freeMsgHandle(asker);
  tavrik_deleteMessage(answer);
  tavrik_deleteMessage(second);
  tavrik_deleteMessage(first);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(worker);
  return status;
}
