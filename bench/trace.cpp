// An entry of the trace file beside the same steps written out at the place, and beside stdio doing
// them.
#include "lte_sdk.h"
#include "support/measure.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kFile[] = "/tmp/ltelog.1";
constexpr char kOlder[] = "/tmp/ltelog.2";
constexpr char kFormat[] = "[lib/lte_sdk:%s:%u]in str or split str is NULL\n\n";
constexpr unsigned kEntries = 100;
constexpr unsigned kLine = 206; // as many digits as the library's own

void rotate()
{
    struct stat status;
    bench::require(stat(kFile, &status) == 0, "the trace file being there");
    if (status.st_size > 262144) {
        bench::require(rename(kFile, kOlder) == 0, "rotating");
    }
}

// A call that does nothing but trace that it was rejected.
void trace_all()
{
    for (unsigned i = 0; i < kEntries; ++i) {
        char text[8];
        bench::require(get_split_str(nullptr, "/", text, sizeof(text)) == nullptr, "a rejected call");
    }
}

void write_all()
{
    for (unsigned i = 0; i < kEntries; ++i) {
        char entry[512];
        const int length = snprintf(entry, sizeof(entry), kFormat, "get_split_str", kLine);
        const int fd = open(kFile, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        bench::require(write(fd, entry, static_cast<size_t>(length)) == length, "writing an entry");
        close(fd);
        rotate();
    }
}

void print_all()
{
    for (unsigned i = 0; i < kEntries; ++i) {
        FILE *file = fopen(kFile, "ae");
        bench::require(file != nullptr, "opening the trace file");
        fprintf(file, kFormat, "get_split_str", kLine);
        bench::require(fclose(file) == 0, "writing an entry");
        rotate();
    }
}

// Of the file that an empty one has become.
off_t size_after(void (*write)())
{
    unlink(kFile);
    write();
    struct stat status;
    bench::require(stat(kFile, &status) == 0, "the trace file being there");
    return status.st_size;
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    const off_t size = size_after(trace_all);
    bench::require(size == size_after(write_all) && size == size_after(print_all),
                   "the same text from all");
    report.race({"trace: an entry",
                 {kEntries},
                 [](unsigned entries) { return entries; },
                 bench::nothing,
                 {{"lterouter", trace_all}, {"by hand", write_all, 1.1}, {"stdio", print_all, 1.0}}});
    return 0;
}
