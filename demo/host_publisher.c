/* Publishes readings of this host until SIGTERM.
 *
 * host_publisher READY
 *
 * Binds a free loopback port and writes the endpoint into READY, a fifo. The subjects are "load",
 * "memory" and "network." with the name of an interface; the first part is a count for each
 * subject, which shows a subscriber what it missed, and the others are the reading. */
#include "host.h"
#include "service.h"

#include <tavrik/tavrik.h>

#include <poll.h>
#include <stdio.h>

enum { INTERVAL = 10 /* milliseconds */ };

static tavrik_channel_t* publisher;

/* Returns a publisher that is bound to the endpoint and monitored, or NULL. */
static tavrik_channel_t* bound(const char* endpoint) {
  tavrik_channel_t* const channel =
      tavrik_createChannel("host news", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  /* The default drops messages when a subscriber is more than 10 behind. */
  if (channel != NULL && tavrik_setProperty(channel, PUB_SUB_SET_PUB_SNDHWM, "1000") == 0 &&
      tavrik_setProperty(channel, PUB_SUB_PUBLISHER_ENDPOINT, endpoint) == 0 && /* binds */
      tavrik_initializeStatsMonitoring(channel) == 0) {
    return channel;
  }
  tavrik_deleteChannel(channel);
  return NULL;
}

/* A reading that failed is left out of its round. */
static void report_failure(int failed) {
  if (failed) fprintf(stderr, "publisher       a reading failed or could not be published\n");
}

/* These return whether they failed. */

static int publish_load(const char* count) {
  struct load load;
  char average[32];
  char uptime[32];
  if (!read_load(&load)) return 1;
  snprintf(average, sizeof average, "%.2f", load.average[0]);
  snprintf(uptime, sizeof uptime, "%.2f", load.uptime);
  return tavrik_send(publisher, "load", 3, count, average, uptime) != 3;
}

static int publish_memory(const char* count) {
  struct memory memory;
  char total[32];
  char available[32];
  if (!read_memory(&memory)) return 1;
  snprintf(total, sizeof total, "%lu", memory.total);
  snprintf(available, sizeof available, "%lu", memory.available);
  return tavrik_send(publisher, "memory", 3, count, total, available) != 3;
}

static int publish_network(const char* count) {
  struct network network;
  int failed = 0;
  if (!read_network(&network)) return 1;
  for (int i = 0; i < network.count; ++i) {
    char subject[sizeof "network." + NAME_SIZE];
    char received[32];
    char sent[32];
    snprintf(subject, sizeof subject, "network.%s", network.interfaces[i].name);
    snprintf(received, sizeof received, "%llu", network.interfaces[i].received);
    snprintf(sent, sizeof sent, "%llu", network.interfaces[i].sent);
    if (tavrik_send(publisher, subject, 3, count, received, sent) != 3) failed = 1;
  }
  return failed;
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
    report_failure(publish_load(count));
    report_failure(publish_memory(count));
    report_failure(publish_network(count));
    poll(NULL, 0, INTERVAL);
  }

  tavrikStatistics stats;
  if (tavrik_getTavrikStats(publisher, &stats) != 0) return 1;
  printf("publisher       %u readings published\n", stats.sentCount);
  tavrik_deleteChannel(publisher);
  return 0;
}
