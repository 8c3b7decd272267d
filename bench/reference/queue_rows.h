#ifndef QUERNLIGHT_BENCH_REFERENCE_QUEUE_ROWS_H
#define QUERNLIGHT_BENCH_REFERENCE_QUEUE_ROWS_H

/* What reading and writing the queue's rows costs by SQLite's C interface alone. Every function returns what
   it counted, or -1 when SQLite refused. */

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqlite3 sqlite3;

/* As the library sets a connection up. NULL when it cannot be opened. */
sqlite3* reference_open(const char* path);
void reference_close(sqlite3* connection);

/* Reads all rows of the statement and copies every column. */
long reference_list(sqlite3* connection, const char* sql);

/* Compiles the statement, binds the texts, NULL for null, runs it. */
long reference_write(sqlite3* connection, const char* sql, const char* const* texts, int count);

/* The same statement for each of so many items, compiled once, in one transaction: the fifth text is replaced
   by the item's new position, `turn` further than its number, and the last by its id. */
long reference_renumber(sqlite3* connection, const char* sql, const char* const* texts, int count, long items,
                        long turn);

#ifdef __cplusplus
}
#endif

#endif
