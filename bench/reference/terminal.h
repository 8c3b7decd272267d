#ifndef QUERNLIGHT_BENCH_REFERENCE_TERMINAL_H
#define QUERNLIGHT_BENCH_REFERENCE_TERMINAL_H

#ifdef __cplusplus
extern "C" {
#endif

/* Starts the program in a fresh pseudo-terminal, reads what it prints until its end, and drops it. Returns
   how many bytes that was, or -1. */
long reference_read_terminal(char* const* arguments);

/* Runs the program, with what it prints thrown away. Returns 0 when it succeeded. */
int reference_run(char* const* arguments);

#ifdef __cplusplus
}
#endif

#endif
