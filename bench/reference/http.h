#ifndef QUERNLIGHT_BENCH_REFERENCE_HTTP_H
#define QUERNLIGHT_BENCH_REFERENCE_HTTP_H

#ifdef __cplusplus
extern "C" {
#endif

/* Serves the body as JSON on kept connections to 127.0.0.1, from threads of its own, until the process ends.
   The body must stay. Returns the port, or -1. */
int reference_serve(const char* body);

/* Fetches the address again and again by one handle of libcurl's easy interface. */
typedef void CURL;
CURL* reference_client(void);
void reference_client_close(CURL* client);

/* Returns how many bytes came, or -1. */
long reference_fetch(CURL* client, const char* address);

#ifdef __cplusplus
}
#endif

#endif
