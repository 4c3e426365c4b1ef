#include "support/databases.h"

#include "support/measure.h"

#include <cstdio>
#include <cstring>

namespace bench {
namespace {

void demand(int result, int expected = SQLITE_OK)
{
    bench::require(result == expected, sqlite3_errstr(result));
}

void bind(sqlite3_stmt *statement, int at, const char *text)
{
    demand(sqlite3_bind_text(statement, at, text, -1, SQLITE_STATIC));
}

void run(sqlite3_stmt *statement)
{
    demand(sqlite3_step(statement), SQLITE_DONE);
    sqlite3_reset(statement);
}

const char *text_of(sqlite3_stmt *row, int column)
{
    return reinterpret_cast<const char *>(sqlite3_column_text(row, column));
}

void demand_lmdb(int result) { require(result == MDB_SUCCESS, mdb_strerror(result)); }

MDB_val bytes_of(const std::string &text)
{
    return {text.size() + 1, const_cast<char *>(text.c_str())};
}

} // namespace

// ---- SQLite ----

Sqlite::Sqlite(const std::string &path)
{
    demand(sqlite3_open(path.c_str(), &database_));
    execute("PRAGMA journal_mode=WAL");
    execute("PRAGMA synchronous=OFF");
    execute("CREATE TABLE parameter(name TEXT PRIMARY KEY, bits, value) WITHOUT ROWID");
    select_ = prepare("SELECT value FROM parameter WHERE name=?");
    select_all_ = prepare("SELECT name, bits, value FROM parameter WHERE bits & ?");
    update_ = prepare("UPDATE parameter SET value=? WHERE name=?");
    insert_ = prepare("INSERT INTO parameter VALUES(?, ?, ?)");
}

Sqlite::~Sqlite()
{
    for (sqlite3_stmt *statement : {select_, select_all_, update_, insert_}) {
        sqlite3_finalize(statement);
    }
    sqlite3_close(database_);
}

void Sqlite::insert(const std::string &name, unsigned bits, const char *value)
{
    bind(insert_, 1, name.c_str());
    demand(sqlite3_bind_int64(insert_, 2, bits));
    bind(insert_, 3, value);
    run(insert_);
}

const char *Sqlite::read(const std::string &name)
{
    bind(select_, 1, name.c_str());
    demand(sqlite3_step(select_), SQLITE_ROW);
    return text_of(select_, 0);
}

void Sqlite::end_read() { sqlite3_reset(select_); }

void Sqlite::write(const char *name, const char *value)
{
    bind(update_, 1, value);
    bind(update_, 2, name);
    run(update_);
    require(sqlite3_changes(database_) == 1, "SQLite's update");
}

void Sqlite::dump(const char *path, unsigned mask)
{
    FILE *const file = fopen(path, "w");
    require(file != nullptr, "making a dump");
    demand(sqlite3_bind_int64(select_all_, 1, mask));
    int result;
    while ((result = sqlite3_step(select_all_)) == SQLITE_ROW) {
        fprintf(file, "%s=%x=%s\n", text_of(select_all_, 0), sqlite3_column_int(select_all_, 1),
                text_of(select_all_, 2));
    }
    demand(result, SQLITE_DONE);
    sqlite3_reset(select_all_);
    require(fclose(file) == 0, "writing a dump");
}

void Sqlite::load(const char *path)
{
    FILE *const file = fopen(path, "r");
    require(file != nullptr, "opening a dump");
    char line[256];
    begin();
    while (fgets(line, sizeof(line), file) != nullptr) {
        char *rest = line;
        const char *const name = strsep(&rest, "=");
        strsep(&rest, "=");
        write(name, strsep(&rest, "\n"));
    }
    commit();
    fclose(file);
}

void Sqlite::execute(const char *command)
{
    demand(sqlite3_exec(database_, command, nullptr, nullptr, nullptr));
}

sqlite3_stmt *Sqlite::prepare(const char *command)
{
    sqlite3_stmt *statement = nullptr;
    demand(sqlite3_prepare_v3(database_, command, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return statement;
}

void Sqlite::copy(const char *path, bool out)
{
    sqlite3 *other = nullptr;
    demand(sqlite3_open(path, &other));
    demand(sqlite3_exec(other, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr));
    sqlite3_backup *const backup =
        sqlite3_backup_init(out ? other : database_, "main", out ? database_ : other, "main");
    demand(sqlite3_backup_step(backup, -1), SQLITE_DONE);
    demand(sqlite3_backup_finish(backup));
    sqlite3_close(other);
}

// ---- LMDB ----

Lmdb::Lmdb(const std::string &path, unsigned flags)
{
    demand_lmdb(mdb_env_create(&environment_));
    demand_lmdb(mdb_env_set_mapsize(environment_, 1 << 24));
    demand_lmdb(mdb_env_open(environment_, path.c_str(), flags | MDB_NOSUBDIR, 0666));
    MDB_txn *const writing = begin(0);
    demand_lmdb(mdb_dbi_open(writing, nullptr, 0, &database_));
    demand_lmdb(mdb_txn_commit(writing));
    reading_ = begin(MDB_RDONLY);
    end_read();
}

Lmdb::~Lmdb()
{
    mdb_txn_abort(reading_);
    mdb_env_close(environment_);
}

const char *Lmdb::read(const std::string &name)
{
    MDB_val key = bytes_of(name);
    MDB_val value;
    demand_lmdb(mdb_txn_renew(reading_));
    demand_lmdb(mdb_get(reading_, database_, &key, &value));
    return static_cast<const char *>(value.mv_data);
}

void Lmdb::write(const std::string &name, const std::string &value)
{
    MDB_val key = bytes_of(name);
    MDB_val bytes = bytes_of(value);
    MDB_txn *const writing = begin(0);
    demand_lmdb(mdb_put(writing, database_, &key, &bytes, 0));
    demand_lmdb(mdb_txn_commit(writing));
}

MDB_txn *Lmdb::begin(unsigned flags)
{
    MDB_txn *transaction = nullptr;
    demand_lmdb(mdb_txn_begin(environment_, nullptr, flags, &transaction));
    return transaction;
}

} // namespace bench
