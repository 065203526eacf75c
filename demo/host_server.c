/* Replies to requests about this host over tcp and ipc until SIGTERM.
 *
 * host_server READY IPC_ENDPOINT
 *
 * Binds the ipc endpoint and a free loopback port, then writes the tcp endpoint into READY, a fifo.
 */
#include "host.h"
#include "service.h"

#include <tavrik/tavrik.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { TCP, IPC, CHANNELS };

static tavrik_channel_t* channels[CHANNELS];
static const char* const names[CHANNELS] = {"tcp", "ipc"};

/* Returns a server channel that is bound to the endpoint and monitored, or NULL. */
static tavrik_channel_t* bound(const char* endpoint) {
  tavrik_channel_t* const channel = tavrik_createChannel("host", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_pollitem_t item = {channel, TAVRIK_POLLIN, 0};
  if (channel != NULL && tavrik_setProperty(channel, REQ_REP_SERVER_ENDPOINT, endpoint) == 0 &&
      tavrik_poll(&item, 1, 0) >= 0 && /* the first use binds */
      tavrik_initializeStatsMonitoring(channel) == 0) {
    return channel;
  }
  tavrik_deleteChannel(channel);
  return NULL;
}

/* Appends a part of text. */
static void append(tavrik_message_t* message, const char* text) {
  tavrik_insertPart(message, (unsigned int)tavrik_getnumParts(message), text);
}

static int answer_load(tavrik_message_t* answer) {
  struct load load;
  char text[64];
  if (!read_load(&load)) return 0;
  for (int i = 0; i < 3; ++i) {
    snprintf(text, sizeof text, "%.2f", load.average[i]);
    append(answer, text);
  }
  snprintf(text, sizeof text, "%.2f", load.uptime);
  append(answer, text);
  return 1;
}

static int answer_memory(tavrik_message_t* answer) {
  struct memory memory;
  char text[64];
  if (!read_memory(&memory)) return 0;
  snprintf(text, sizeof text, "%lu", memory.total);
  append(answer, text);
  snprintf(text, sizeof text, "%lu", memory.available);
  append(answer, text);
  return 1;
}

static int answer_network(tavrik_message_t* answer) {
  struct network network;
  char text[64];
  if (!read_network(&network)) return 0;
  for (int i = 0; i < network.count; ++i) {
    append(answer, network.interfaces[i].name);
    snprintf(text, sizeof text, "%llu", network.interfaces[i].received);
    append(answer, text);
    snprintf(text, sizeof text, "%llu", network.interfaces[i].sent);
    append(answer, text);
  }
  return 1;
}

static int answer_file(tavrik_message_t* answer, const char* path) {
  unsigned int size = 0;
  char* const bytes = read_file(path, &size);
  if (bytes == NULL) return 0;
  const int done = tavrik_insertBinPart(answer, 0, bytes, size) == 0;
  free(bytes);
  return done;
}

/* Receives one request from a channel and replies to it.
 *
 * Any peer can make the receive return nothing, or fail, with a malformed request. The reply is
 * sent in any case: it gives a request without a subject its reply, and fails if there is no
 * request. */
static void serve(int index) {
  char subject[SUBJECT_BUFFER_SIZE] = "";
  char path[4096] = "";
  tavrik_message_t* const message = tavrik_createMessage(0);
  const int parts = tavrik_receivemsg(channels[index], subject, message, 0);
  if (parts == 1 && tavrik_getPartlength(message, 0) < (int)sizeof path) {
    tavrik_getPart(message, 0, path);
  }
  tavrik_setnumParts(message, 0);

  const int answered = (strcmp(subject, "load") == 0 && answer_load(message)) ||
                       (strcmp(subject, "memory") == 0 && answer_memory(message)) ||
                       (strcmp(subject, "network") == 0 && answer_network(message)) ||
                       (strcmp(subject, "file") == 0 && answer_file(message, path));
  if (tavrik_sendmsg(channels[index], answered ? subject : "no answer", message) >= 0) {
    printf("server          %s: %s%s%s\n", names[index], subject, path[0] ? " " : "", path);
  } else {
    printf("server          %s: no request, or no reply to it\n", names[index]);
  }
  tavrik_deleteMessage(message);
}

static void print_statistics(void) {
  for (int i = 0; i < CHANNELS; ++i) {
    tavrikStatistics stats;
    if (tavrik_getTavrikStats(channels[i], &stats) != 0) exit(1);
    printf(
        "server          %s: %u requests received, %u answers sent, %u channels in the process\n",
        names[i], stats.rcvdCount, stats.sentCount, stats.connections);
    /* A request that could not be received has its reply too. */
    if (stats.sentCount < stats.rcvdCount || stats.rcvdCount == 0) exit(1);
  }
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  setvbuf(stdout, NULL, _IOLBF, 0);
  await_end();
  char tcp_endpoint[ENDPOINT_SIZE];
  for (int attempts = 0; channels[TCP] == NULL && attempts < BIND_ATTEMPTS; ++attempts) {
    find_endpoint(tcp_endpoint);
    channels[TCP] = bound(tcp_endpoint);
  }
  channels[IPC] = bound(argv[2]);
  if (channels[TCP] == NULL || channels[IPC] == NULL) return 1;
  printf("server          listens on %s and %s\n", tcp_endpoint, argv[2]);
  if (!announce(argv[1], tcp_endpoint)) return 1;

  while (!told_to_end()) {
    tavrik_pollitem_t items[CHANNELS] = {{channels[TCP], TAVRIK_POLLIN, 0},
                                         {channels[IPC], TAVRIK_POLLIN, 0}};
    /* A signal ends the wait with a failure. The time-out is for a signal just before the wait. */
    if (tavrik_poll(items, CHANNELS, 200) < 0) continue;
    for (int i = 0; i < CHANNELS; ++i) {
      if (items[i].revents & TAVRIK_POLLIN) serve(i);
    }
  }
  print_statistics();
  tavrik_deleteChannel(channels[TCP]);
  tavrik_deleteChannel(channels[IPC]);
  return 0;
}
