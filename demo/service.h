/* What the demo's services have in common: a free port of the loopback interface, telling whoever
 * started them where they listen, and ending when they are told to by SIGTERM. */
#ifndef TAVRIK_DEMO_SERVICE_H
#define TAVRIK_DEMO_SERVICE_H

#ifdef __cplusplus
extern "C" {
#endif

enum { ENDPOINT_SIZE = 64, BIND_ATTEMPTS = 100 };

/* Writes a tcp endpoint whose port is free at this moment. Another program may take it before it
 * is bound: try again then. */
void find_endpoint(char endpoint[ENDPOINT_SIZE]);

/* Writes the endpoint into a fifo, for whoever waits for the service; answers whether it could. */
int announce(const char* fifo, const char* endpoint);

/* From here on SIGTERM is no longer fatal, but seen by told_to_end(). */
void await_end(void);
int told_to_end(void);

#ifdef __cplusplus
}
#endif

#endif
