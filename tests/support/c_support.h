/* What the C test programs share: the captured log, failing allocations, a temporary folder. */
#ifndef TAVRIK_TESTS_SUPPORT_C_SUPPORT_H
#define TAVRIK_TESTS_SUPPORT_C_SUPPORT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Captures the library's log lines from now on and drops those captured before. */
void capture_log(void);

/* Restores the default log sink. */
void release_log(void);

/* Returns the captured lines, each as its level, a blank, its text and a newline. Valid until the
 * next call. */
const char* captured_log(void);

/* Makes the nth allocation of this thread from now on fail, counting from 1. */
void fail_allocation(int nth);

/* Ends that. Returns whether the allocation was reached. */
int allocation_failed(void);

/* Returns an ipc endpoint that no other test uses, valid until the next call. Its folder is removed
 * at the end of the program. */
const char* ipc_endpoint(void);

#ifdef __cplusplus
}
#endif

#endif
