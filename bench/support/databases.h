// What its users would take instead of the parameter stores: SQLite and LMDB, each used as its manual
// has it, with one value of text for each name. Neither waits for the disk.
#pragma once

#include <lmdb.h>
#include <sqlite3.h>
#include <string>

namespace bench {

// Statements prepared once, and many changes in one transaction. With a write-ahead log, which is
// quicker here even than no journal, and keeps the database whole when the process ends in the midst of
// a change.
class Sqlite {
public:
    // Makes the database.
    explicit Sqlite(const std::string &path);
    ~Sqlite();
    Sqlite(const Sqlite &) = delete;
    Sqlite &operator=(const Sqlite &) = delete;

    void begin() { execute("BEGIN"); }
    void commit() { execute("COMMIT"); }
    void clear() { execute("DELETE FROM parameter"); }

    void insert(const std::string &name, unsigned bits, const char *value);
    // The value is there until end_read.
    const char *read(const std::string &name);
    void end_read();
    void write(const char *name, const char *value);

    // By its own means for copies of a database in use.
    void back_up(const char *path) { copy(path, true); }
    void restore(const char *path) { copy(path, false); }

    // By rows: a line of name, bits and value for each whose bits are in the mask.
    void dump(const char *path, unsigned mask);
    void load(const char *path);

private:
    void execute(const char *command);
    sqlite3_stmt *prepare(const char *command);
    void copy(const char *path, bool out);

    sqlite3 *database_ = nullptr;
    sqlite3_stmt *select_;
    sqlite3_stmt *select_all_;
    sqlite3_stmt *update_;
    sqlite3_stmt *insert_;
};

// One environment, and one read transaction that is renewed.
class Lmdb {
public:
    // Makes the database. flags: MDB_NOSYNC, and MDB_WRITEMAP for changes that may be lost with the
    // process in their midst.
    Lmdb(const std::string &path, unsigned flags);
    ~Lmdb();
    Lmdb(const Lmdb &) = delete;
    Lmdb &operator=(const Lmdb &) = delete;

    // The value is there until end_read.
    const char *read(const std::string &name);
    void end_read() { mdb_txn_reset(reading_); }
    void write(const std::string &name, const std::string &value);

private:
    MDB_txn *begin(unsigned flags);

    MDB_env *environment_ = nullptr;
    MDB_txn *reading_ = nullptr;
    MDB_dbi database_ = 0;
};

} // namespace bench
