// The parameter stores: one parameter next to the same system calls by hand, and whole files of
// parameters.
#include "lc_nv.h"
#include "support/measure.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *kName = "parameter_0";
constexpr const char *kValue = "a value of a usual length";
constexpr const char *kExported = "/2ndfile/exported";
constexpr uint32_t kSize = 100;

// ---- The same by hand ----

void lock(int fd, short type)
{
    struct flock whole = {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    bench::require(fcntl(fd, F_SETLKW, &whole) == 0, "a lock by hand");
}

void read_by_hand(const char *path, char *buffer)
{
    char text[4096];
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    lock(fd, F_RDLCK);
    const ssize_t length = read(fd, text, sizeof(text));
    lock(fd, F_UNLCK);
    close(fd);
    bench::require(length > 0, "reading by hand");
    memcpy(buffer, text, static_cast<size_t>(length));
}

// creation: O_CREAT or 0.
void write_by_hand(const char *path, int creation)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC | creation, 0666);
    lock(fd, F_WRLCK);
    const ssize_t written = write(fd, kValue, strlen(kValue) + 1);
    bench::require(ftruncate(fd, written) == 0, "writing by hand");
    lock(fd, F_UNLCK);
    close(fd);
}

// ---- One parameter ----

void compare_one_parameter(bench::Report &report)
{
    const std::string ram = std::string(NVMRAM_DIR) + kName + ".bare";
    const std::string current = std::string(NVM_CURRENT_DIR) + kName + ".bare";
    const std::string backup = std::string(NVM_BACKUP_DIR) + kName + ".bare";
    for (const std::string &path : {ram, current, backup}) {
        write_by_hand(path.c_str(), O_CREAT);
    }
    bench::require(nvmram_writenv(kName, kValue, kSize) == 0 && nvm_writenv(kName, kValue, kSize) == 0,
                   "writing the parameters");

    char buffer[4096];
    report.compare({
        {"persistent parameter: read",
         [&] { bench::require(nvm_readnv(kName, buffer, kSize) == 0, "nvm_readnv"); },
         [&] { read_by_hand(current.c_str(), buffer); }, 1.2},
        {"persistent parameter: write",
         [] { bench::require(nvm_writenv(kName, kValue, kSize) == 0, "nvm_writenv"); },
         [&] {
             umask(0);
             write_by_hand(current.c_str(), 0);
             write_by_hand(backup.c_str(), O_CREAT);
         },
         1.2},
        {"volatile parameter: read",
         [&] { bench::require(nvmram_readnv(kName, buffer, kSize) == 0, "nvmram_readnv"); },
         [&] { read_by_hand(ram.c_str(), buffer); }, 1.2},
        {"volatile parameter: write",
         [] { bench::require(nvmram_writenv(kName, kValue, kSize) == 0, "nvmram_writenv"); },
         [&] {
             umask(0);
             write_by_hand(ram.c_str(), 0);
         },
         1.2},
    });
}

// ---- Many parameters ----

void declare(unsigned count)
{
    FILE *file = fopen(NVM_DEFAULTS_FILE, "w");
    bench::require(file != nullptr, "making the defaults file: is this the sandbox of scripts/bench?");
    for (unsigned i = 0; i < count; ++i) {
        fprintf(file, "parameter_%u=1=%s\n", i, kValue);
    }
    fclose(file);
}

void start_with(unsigned count)
{
    declare(count);
    bench::require(nvm_init() == 0, "nvm_init");
    bench::require(nvm_export(kExported, 1, 1) == 0, "nvm_export");
}

void grow_files(bench::Report &report)
{
    const std::vector<unsigned> sizes = {10, 100, 1000, 10000};
    report.grow("export", sizes, start_with,
                [] { bench::require(nvm_export(kExported, 1, 1) == 0, "nvm_export"); });
    report.grow("import", sizes, start_with,
                [] { bench::require(nvm_import(kExported, 1, 1, 0) == 0, "nvm_import"); });
}

} // namespace

int main(int argc, char **argv)
{
    bench::Report report("parameter stores", argc, argv);
    mkdir("/2ndfile/nv", 0777);
    declare(1);
    bench::require(nvmram_init() == 0 && nvm_init() == 0, "starting the stores");
    compare_one_parameter(report);
    grow_files(report);
    return report.status();
}
