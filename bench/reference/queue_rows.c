#include "bench/reference/queue_rows.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sqlite3.h>

sqlite3* reference_open(const char* path) {
    sqlite3* connection = NULL;
    const char* settings = "PRAGMA foreign_keys = ON; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL";
    if (sqlite3_open(path, &connection) != SQLITE_OK ||
        sqlite3_exec(connection, settings, NULL, NULL, NULL) != SQLITE_OK) {
        sqlite3_close(connection);
        return NULL;
    }
    return connection;
}

void reference_close(sqlite3* connection) {
    sqlite3_close(connection);
}

static char* copied(const unsigned char* text, int size) {
    char* copy = malloc((size_t)size + 1);
    if (copy != NULL) {
        memcpy(copy, text != NULL ? text : (const unsigned char*)"", (size_t)size);
        copy[size] = '\0';
    }
    return copy;
}

struct copied_rows {
    char** columns;
    size_t count;
    size_t room;
};

static void keep(struct copied_rows* rows, char* column) {
    if (rows->count == rows->room) {
        rows->room = rows->room == 0 ? 1024 : 2 * rows->room;
        rows->columns = realloc(rows->columns, rows->room * sizeof(char*));
    }
    rows->columns[rows->count++] = column;
}

static void release(struct copied_rows* rows) {
    for (size_t index = 0; index < rows->count; ++index) {
        free(rows->columns[index]);
    }
    free(rows->columns);
}

long reference_list(sqlite3* connection, const char* sql) {
    sqlite3_stmt* statement = NULL;
    struct copied_rows rows = {NULL, 0, 0};
    long found = 0;
    int result = sqlite3_prepare_v2(connection, sql, -1, &statement, NULL);
    while (result == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
        const int columns = sqlite3_column_count(statement);
        for (int column = 0; column < columns; ++column) {
            const unsigned char* text = sqlite3_column_text(statement, column);
            keep(&rows, copied(text, sqlite3_column_bytes(statement, column)));
        }
        ++found;
    }
    result = sqlite3_finalize(statement);
    release(&rows);
    return result == SQLITE_OK ? found : -1;
}

static void bind_all(sqlite3_stmt* statement, const char* const* texts, int count) {
    for (int index = 0; index < count; ++index) {
        if (texts[index] != NULL) {
            sqlite3_bind_text(statement, index + 1, texts[index], -1, SQLITE_TRANSIENT);
        }
    }
}

long reference_renumber(sqlite3* connection, const char* sql, const char* const* texts, int count, long items,
                        long turn) {
    sqlite3_stmt* statement = NULL;
    long changed = 0;
    if (sqlite3_exec(connection, "BEGIN IMMEDIATE", NULL, NULL, NULL) != SQLITE_OK ||
        sqlite3_prepare_v2(connection, sql, -1, &statement, NULL) != SQLITE_OK) {
        return -1;
    }
    for (long item = 0; item < items; ++item) {
        char id[64];
        snprintf(id, sizeof(id), "%08lX-0000-4000-8000-000000000000", item);
        bind_all(statement, texts, count);
        sqlite3_bind_int64(statement, 5, (item + turn) % items);
        sqlite3_bind_text(statement, count, id, -1, SQLITE_TRANSIENT);
        if (sqlite3_step(statement) == SQLITE_DONE) {
            changed += sqlite3_changes(connection);
        }
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    return sqlite3_exec(connection, "COMMIT", NULL, NULL, NULL) == SQLITE_OK ? changed : -1;
}

long reference_write(sqlite3* connection, const char* sql, const char* const* texts, int count) {
    sqlite3_stmt* statement = NULL;
    if (sqlite3_prepare_v2(connection, sql, -1, &statement, NULL) != SQLITE_OK) {
        return -1;
    }
    bind_all(statement, texts, count);
    const int result = sqlite3_step(statement);
    const long changed = sqlite3_changes(connection);
    sqlite3_finalize(statement);
    return result == SQLITE_DONE ? changed : -1;
}
