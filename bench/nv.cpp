// The parameter stores: one parameter beside the same system calls by hand and beside two databases,
// and whole files of parameters beside what a database is saved and loaded with.
//
// What a value outlives is the same in all: the volatile ones the process that wrote them, the
// persistent ones that process's end at any moment too. None waits for the disk.
#include "lc_nv.h"
#include "support/databases.h"
#include "support/measure.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kValue[] = "a value of a usual length";
constexpr uint32_t kSize = 100;
constexpr uint32_t kBits = 1;
// Of a router, of which one is read and written.
constexpr unsigned kUsualCount = 1000;

std::string name_of(unsigned number) { return "parameter_" + std::to_string(number); }

const std::string g_name = name_of(kUsualCount / 2);

// The value is to arrive with whoever asked for it.
void require_value(const char *text)
{
    char value[kSize];
    strcpy(value, text);
    bench::require(strcmp(value, kValue) == 0, "reading the value");
}

// ---- The same by hand ----

int open_by_hand(const std::string &path, int flags)
{
    const int fd = open(path.c_str(), flags | O_CLOEXEC, 0666);
    bench::require(fd >= 0, "opening by hand");
    return fd;
}

void lock(int fd, short type)
{
    struct flock whole = {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    bench::require(fcntl(fd, F_SETLKW, &whole) == 0, "a lock by hand");
}

void read_by_hand(const std::string &path)
{
    char text[4096];
    const int fd = open_by_hand(path, O_RDONLY);
    lock(fd, F_RDLCK);
    const ssize_t length = read(fd, text, sizeof(text));
    lock(fd, F_UNLCK);
    close(fd);
    bench::require(length == sizeof(kValue), "reading by hand");
    require_value(text);
}

// creation: O_CREAT or 0.
void write_by_hand(const std::string &path, int creation)
{
    const int fd = open_by_hand(path, O_WRONLY | creation);
    lock(fd, F_WRLCK);
    const ssize_t written = write(fd, kValue, sizeof(kValue));
    bench::require(ftruncate(fd, written) == 0, "writing by hand");
    lock(fd, F_UNLCK);
    close(fd);
}

// ---- One parameter ----

struct Store {
    const char *writing; // what the races are called
    const char *reading;
    uint32_t (*read)(const char *, char *, uint32_t);
    uint32_t (*write)(const char *, const char *, uint32_t);
    std::vector<std::string> copies; // where the bare calls keep it, the one that is read first
    std::string database;
    unsigned lmdb_flags; // see bench::Lmdb
};

void write_copies(const Store &store)
{
    umask(0);
    int creation = 0; // a second copy is not known to exist
    for (const std::string &path : store.copies) {
        write_by_hand(path, creation);
        creation = O_CREAT;
    }
}

// Each begins with another value: what is read afterwards is what was written.
void compare_one_parameter(const bench::Report &report, const Store &store)
{
    bench::Sqlite sqlite(store.database + ".sqlite");
    bench::Lmdb lmdb(store.database + ".lmdb", store.lmdb_flags);
    for (unsigned i = 0; i < kUsualCount; ++i) {
        const std::string name = name_of(i);
        bench::require(store.write(name.c_str(), "", kSize) == NV_SUCCESS, "filling a store");
        sqlite.insert(name, kBits, "");
        lmdb.write(name, "");
    }
    for (const std::string &path : store.copies) {
        close(open_by_hand(path, O_WRONLY | O_CREAT));
    }
    const auto write = [&] {
        bench::require(store.write(g_name.c_str(), kValue, kSize) == NV_SUCCESS, "writing a parameter");
    };
    const auto read = [&] {
        char value[kSize];
        bench::require(store.read(g_name.c_str(), value, kSize) == NV_SUCCESS &&
                           strcmp(value, kValue) == 0,
                       "reading a parameter");
    };
    const auto read_sqlite = [&] {
        require_value(sqlite.read(g_name));
        sqlite.end_read();
    };
    const auto read_lmdb = [&] {
        require_value(lmdb.read(g_name));
        lmdb.end_read();
    };
    const auto race = [&](const char *what, const std::vector<bench::Contender> &contenders) {
        report.race({what, {kUsualCount}, bench::once, bench::nothing, contenders});
    };
    race(store.writing, {{"lterouter", write},
                         {"by hand", [&] { write_copies(store); }, 1.15},
                         {"SQLite", [&] { sqlite.write(g_name.c_str(), kValue); }},
                         {"LMDB", [&] { lmdb.write(g_name, kValue); }}});
    race(store.reading, {{"lterouter", read},
                         {"by hand", [&] { read_by_hand(store.copies.front()); }, 1.15},
                         {"SQLite", read_sqlite},
                         {"LMDB", read_lmdb}});
}

// ---- Many parameters ----

void declare(unsigned count)
{
    FILE *file = fopen(NVM_DEFAULTS_FILE, "w");
    bench::require(file != nullptr, "making the defaults file: is this the sandbox of scripts/bench?");
    for (unsigned i = 0; i < count; ++i) {
        fprintf(file, "%s=%x=%s\n", name_of(i).c_str(), kBits, kValue);
    }
    fclose(file);
}

void compare_whole_files(const bench::Report &report)
{
    constexpr char kChanged[] = "parameter_9";
    constexpr char kExport[] = "/2ndfile/export";
    constexpr char kBackup[] = "/2ndfile/backup";
    constexpr char kDump[] = "/2ndfile/dump";
    std::vector<unsigned> sizes = {10, 100, kUsualCount};
    if (!report.counts_instructions()) {
        sizes.push_back(10 * kUsualCount); // emulated, an import would take minutes
    }
    const auto all = [](unsigned size) { return size; };
    const auto export_all = [&] {
        bench::require(nvm_export(kExport, kBits, 1) == NV_SUCCESS, "nvm_export");
    };
    bench::Sqlite sqlite("/2ndfile/many.sqlite");
    const auto fill = [&](unsigned count) {
        declare(count);
        bench::require(nvm_clear() == NV_SUCCESS && nvm_init() == NV_SUCCESS, "starting anew");
        sqlite.begin();
        sqlite.clear();
        for (unsigned i = 0; i < count; ++i) {
            sqlite.insert(name_of(i), kBits, kValue);
        }
        sqlite.commit();
        export_all();
        sqlite.back_up(kBackup);
        sqlite.dump(kDump, kBits);
    };
    report.race({"parameters: export all",
                 sizes,
                 all,
                 fill,
                 {{"lterouter", export_all},
                  {"SQLite's backup", [&] { sqlite.back_up(kBackup); }, 0, [&] { unlink(kBackup); }},
                  {"SQLite by rows", [&] { sqlite.dump(kDump, kBits); }}}});
    const auto import_all = [&] {
        bench::require(nvm_import(kExport, kBits, 1, 0) == NV_SUCCESS, "nvm_import");
    };
    // What is imported is what was changed in between.
    const auto change = [&] {
        bench::require(nvm_match(kChanged, kValue) == NV_SUCCESS, "importing a value");
        bench::require(nvm_writenv(kChanged, "", kSize) == NV_SUCCESS, "changing a value");
    };
    const auto change_sqlite = [&] {
        require_value(sqlite.read(kChanged));
        sqlite.end_read();
        sqlite.write(kChanged, "");
    };
    report.race({"parameters: import all",
                 sizes,
                 all,
                 fill,
                 {{"lterouter", import_all, 0, change},
                  {"SQLite's backup", [&] { sqlite.restore(kBackup); }, 0, change_sqlite},
                  {"SQLite by rows", [&] { sqlite.load(kDump); }, 0, change_sqlite}}});
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    mkdir("/2ndfile/nv", 0777);
    declare(kUsualCount);
    bench::require(nvmram_init() == NV_SUCCESS && nvm_init() == NV_SUCCESS, "starting the stores");
    compare_one_parameter(report, {"parameter: write a volatile one",
                                   "parameter: read a volatile one",
                                   nvmram_readnv,
                                   nvmram_writenv,
                                   {NVMRAM_DIR + g_name + ".bare"},
                                   "/tmp/database",
                                   MDB_NOSYNC | MDB_WRITEMAP});
    compare_one_parameter(report,
                          {"parameter: write a persistent one",
                           "parameter: read a persistent one",
                           nvm_readnv,
                           nvm_writenv,
                           {NVM_CURRENT_DIR + g_name + ".bare", NVM_BACKUP_DIR + g_name + ".bare"},
                           "/2ndfile/database",
                           MDB_NOSYNC});
    compare_whole_files(report);
    return 0;
}
