#define _GNU_SOURCE

#include "bench/reference/terminal.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

/* The first open of a terminal by the leader of a session makes it the session's own. */
static pid_t spawn_in_terminal(const char* device, char* const* arguments) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    pid_t child = -1;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, device, O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, 0, 1);
    posix_spawn_file_actions_adddup2(&actions, 0, 2);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    if (posix_spawn(&child, arguments[0], &actions, &attributes, arguments, environ) != 0) {
        child = -1;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

long reference_read_terminal(char* const* arguments) {
    static char buffer[64 * 1024];
    char device[128];
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, device, sizeof(device)) != 0) {
        return -1;
    }
    const int slave = open(device, O_RDWR | O_NOCTTY | O_CLOEXEC); /* so that there is no hang-up too early */
    const pid_t child = spawn_in_terminal(device, arguments);
    close(slave);
    long total = child < 0 ? -1 : 0;
    ssize_t count = 0;
    while (child >= 0 && (count = read(master, buffer, sizeof(buffer))) > 0) {
        total += count;
    }
    close(master);
    if (child >= 0) {
        waitpid(child, NULL, 0);
    }
    return total;
}

int reference_run(char* const* arguments) {
    posix_spawn_file_actions_t actions;
    pid_t child = -1;
    int status = -1;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    if (posix_spawnp(&child, arguments[0], &actions, NULL, arguments, environ) == 0) {
        waitpid(child, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
    return status;
}
