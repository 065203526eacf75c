/* What the demo's services have in common: they find a free loopback port, write their endpoint to
 * a fifo, and end on SIGTERM. */
#ifndef TAVRIK_DEMO_SERVICE_H
#define TAVRIK_DEMO_SERVICE_H

#ifdef __cplusplus
extern "C" {
#endif

enum { ENDPOINT_SIZE = 64, BIND_ATTEMPTS = 100 };

/* Writes a tcp endpoint whose port is free at this moment. Another program may bind it first: try
 * again then. */
void find_endpoint(char endpoint[ENDPOINT_SIZE]);

/* Writes the endpoint into a fifo, for the program that waits for the service. Returns whether that
 * succeeded. */
int announce(const char* fifo, const char* endpoint);

/* From here on SIGTERM does not end the program; told_to_end() reports it. */
void await_end(void);
int told_to_end(void);

#ifdef __cplusplus
}
#endif

#endif
