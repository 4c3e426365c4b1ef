#include "ltectl/upgrade_trace.h"

#include "lc_file/stream.h"
#include "lte_sdk.h"

#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

constexpr char kUnit[] = "[lib/lc_up:";

struct Milestone {
    const char *text;
    Frame frame;
};

constexpr Milestone kMilestones[] = {{"send transfer begin cmd", Frame::kBegin},
                                     {"send last img data", Frame::kLastPiece},
                                     {"send transfer end cmd", Frame::kEnd}};

// Every failed attempt traces one of these.
constexpr const char *kFailures[] = {"tranlate data from tty dev failure",
                                     "transfer this package again", "check data failure",
                                     "open tty dev failed"};

void count_line(const char *line, Attempts *attempts)
{
    for (const Milestone &milestone : kMilestones) {
        if (strstr(line, milestone.text) != nullptr) {
            *attempts = {milestone.frame, 0};
        }
    }
    for (const char *failure : kFailures) {
        attempts->tries += strstr(line, failure) != nullptr ? 1 : 0;
    }
}

void count(const char *path, off_t from, Attempts *attempts)
{
    const Stream file{fopen(path, "re")};
    if (!file) {
        return;
    }
    char line[512];
    if (fseeko(file.get(), from, SEEK_SET) == 0) {
        while (fgets(line, sizeof(line), file.get()) != nullptr) {
            if (strncmp(line, kUnit, sizeof(kUnit) - 1) == 0) {
                count_line(line, attempts);
            }
        }
    }
}

} // namespace

TraceMark mark_trace()
{
    struct stat status;
    return stat(LCT_TRACE_FILE, &status) == 0 ? TraceMark{status.st_ino, status.st_size} : TraceMark{};
}

Attempts attempts_since(const TraceMark &mark, Frame first)
{
    Attempts attempts{first, 0};
    off_t from = mark.size;
    struct stat status;
    if (stat(LCT_TRACE_OLDER_FILE, &status) == 0 && status.st_ino == mark.file) {
        count(LCT_TRACE_OLDER_FILE, from, &attempts); // rotated meanwhile
        from = 0;
    }
    count(LCT_TRACE_FILE, from, &attempts);
    return attempts;
}

} // namespace lterouter::tools
