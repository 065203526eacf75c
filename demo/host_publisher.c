/* Publishes readings of this host until it is told to end by SIGTERM.
 *
 * host_publisher READY
 *
 * Binds a free loopback port and writes the endpoint into READY, a fifo. The subjects are "load",
 * "memory" and "network." with the name of an interface; the first part is a count for each
 * subject, by which a subscriber notices what is missing, and the others are the reading. */
#include "host.h"
#include "service.h"

#include <tavrik/tavrik.h>

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>

enum { INTERVAL = 10 /* milliseconds */ };

static tavrik_channel_t* publisher;

/* A publisher bound to the endpoint and being counted, or NULL. */
static tavrik_channel_t* bound(const char* endpoint) {
  tavrik_channel_t* const channel =
      tavrik_createChannel("host news", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  /* The default drops what is more than 10 messages ahead of a subscriber. */
  if (channel != NULL && tavrik_setProperty(channel, PUB_SUB_SET_PUB_SNDHWM, "1000") == 0 &&
      tavrik_setProperty(channel, PUB_SUB_PUBLISHER_ENDPOINT, endpoint) == 0 && /* binds */
      tavrik_initializeStatsMonitoring(channel) == 0) {
    return channel;
  }
  tavrik_deleteChannel(channel);
  return NULL;
}

static void require(int holds) {
  if (holds) return;
  fprintf(stderr, "publisher       a reading could not be had or published\n");
  exit(1);
}

static void publish_load(const char* count) {
  struct load load;
  char average[32];
  char uptime[32];
  require(read_load(&load));
  snprintf(average, sizeof average, "%.2f", load.average[0]);
  snprintf(uptime, sizeof uptime, "%.2f", load.uptime);
  require(tavrik_send(publisher, "load", 3, count, average, uptime) == 3);
}

static void publish_memory(const char* count) {
  struct memory memory;
  char total[32];
  char available[32];
  require(read_memory(&memory));
  snprintf(total, sizeof total, "%lu", memory.total);
  snprintf(available, sizeof available, "%lu", memory.available);
  require(tavrik_send(publisher, "memory", 3, count, total, available) == 3);
}

static void publish_network(const char* count) {
  struct network network;
  require(read_network(&network));
  for (int i = 0; i < network.count; ++i) {
    char subject[sizeof "network." + NAME_SIZE];
    char received[32];
    char sent[32];
    snprintf(subject, sizeof subject, "network.%s", network.interfaces[i].name);
    snprintf(received, sizeof received, "%llu", network.interfaces[i].received);
    snprintf(sent, sizeof sent, "%llu", network.interfaces[i].sent);
    require(tavrik_send(publisher, subject, 3, count, received, sent) == 3);
  }
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  setvbuf(stdout, NULL, _IOLBF, 0);
  await_end();
  char endpoint[ENDPOINT_SIZE];
  for (int attempts = 0; publisher == NULL && attempts < BIND_ATTEMPTS; ++attempts) {
    find_endpoint(endpoint);
    publisher = bound(endpoint);
  }
  if (publisher == NULL || !announce(argv[1], endpoint)) return 1;
  printf("publisher       publishes on %s\n", endpoint);

  for (unsigned int round = 1; !told_to_end(); ++round) {
    char count[16];
    snprintf(count, sizeof count, "%u", round);
    publish_load(count);
    publish_memory(count);
    publish_network(count);
    poll(NULL, 0, INTERVAL);
  }

  tavrikStatistics stats;
  if (tavrik_getTavrikStats(publisher, &stats) != 0) return 1;
  printf("publisher       %u readings published\n", stats.sentCount);
  tavrik_deleteChannel(publisher);
  return 0;
}
