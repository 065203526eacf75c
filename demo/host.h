/* What the demo exchanges: readings of this host, taken from /proc. The server replies with its own
 * readings, and the clients compare them with theirs. */
#ifndef TAVRIK_DEMO_HOST_H
#define TAVRIK_DEMO_HOST_H

#ifdef __cplusplus
extern "C" {
#endif

enum { MAX_INTERFACES = 32, NAME_SIZE = 32 };

struct load {
  double average[3]; /* over 1, 5 and 15 minutes */
  double uptime;     /* seconds */
};

struct memory {
  unsigned long total; /* kB */
  unsigned long available;
};

struct network {
  int count;
  struct interface {
    char name[NAME_SIZE];
    unsigned long long received; /* bytes since the interface came up */
    unsigned long long sent;
  } interfaces[MAX_INTERFACES];
};

/* Each returns whether the reading succeeded. */
int read_load(struct load* load);
int read_memory(struct memory* memory);
int read_network(struct network* network);

/* Reads a regular file of at most 64 MiB into a buffer that the caller frees. Returns NULL if that
 * fails. */
char* read_file(const char* path, unsigned int* size);

#ifdef __cplusplus
}
#endif

#endif
