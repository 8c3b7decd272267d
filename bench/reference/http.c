#include "bench/reference/http.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>
#include <curl/curl.h>

struct server {
    int listener;
    char* answer;
    size_t size;
};

struct connection {
    const struct server* server;
    int socket;
};

/* A request has no body here, so a blank line ends it. */
static void* converse(void* argument) {
    struct connection* connection = argument;
    char request[8192];
    size_t held = 0;
    ssize_t count = 0;
    while ((count = read(connection->socket, request + held, sizeof(request) - 1 - held)) > 0) {
        held += (size_t)count;
        request[held] = '\0';
        if (strstr(request, "\r\n\r\n") != NULL) {
            held = 0;
            if (write(connection->socket, connection->server->answer, connection->server->size) < 0) {
                break;
            }
        }
    }
    close(connection->socket);
    free(connection);
    return NULL;
}

static void* accept_all(void* argument) {
    const struct server* server = argument;
    int socket = -1;
    while ((socket = accept(server->listener, NULL, NULL)) >= 0) {
        const int at_once = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof(at_once));
        struct connection* connection = malloc(sizeof(*connection));
        connection->server = server;
        connection->socket = socket;
        pthread_t thread;
        pthread_create(&thread, NULL, converse, connection);
        pthread_detach(thread);
    }
    return NULL;
}

int reference_serve(const char* body) {
    static const char* head =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: %zu\r\n\r\n";
    struct sockaddr_in address = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    socklen_t length = sizeof(address);
    struct server* server = malloc(sizeof(*server));
    server->answer = malloc(strlen(body) + 128);
    const int head_size = sprintf(server->answer, head, strlen(body));
    strcpy(server->answer + head_size, body);
    server->size = (size_t)head_size + strlen(body);
    server->listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(server->listener, (struct sockaddr*)&address, length) != 0 ||
        listen(server->listener, 16) != 0 ||
        getsockname(server->listener, (struct sockaddr*)&address, &length) != 0) {
        return -1;
    }
    pthread_t thread;
    pthread_create(&thread, NULL, accept_all, server);
    pthread_detach(thread);
    return ntohs(address.sin_port);
}

static size_t count_bytes(char* bytes, size_t size, size_t count, void* total) {
    (void)bytes;
    *(long*)total += (long)(size * count);
    return size * count;
}

CURL* reference_client(void) {
    CURL* client = curl_easy_init();
    curl_easy_setopt(client, CURLOPT_WRITEFUNCTION, &count_bytes);
    curl_easy_setopt(client, CURLOPT_NOPROXY, "*");
    return client;
}

void reference_client_close(CURL* client) {
    curl_easy_cleanup(client);
}

long reference_fetch(CURL* client, const char* address) {
    long total = 0;
    curl_easy_setopt(client, CURLOPT_URL, address);
    curl_easy_setopt(client, CURLOPT_WRITEDATA, &total);
    return curl_easy_perform(client) == CURLE_OK ? total : -1;
}
