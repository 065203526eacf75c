/* What the demo exchanges: readings of this host, taken from /proc by whoever wants them. The
 * server answers with its own; the clients check the answers against theirs. */
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

/* Each answers whether the reading could be had. */
int read_load(struct load* load);
int read_memory(struct memory* memory);
int read_network(struct network* network);

/* Reads a whole file into a buffer that the caller frees; NULL when it cannot be read. */
char* read_file(const char* path, unsigned int* size);

#ifdef __cplusplus
}
#endif

#endif
