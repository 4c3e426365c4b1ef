#include "ltectl/whole_file.h"

#include "common/program.h"
#include "lc_file/stream.h"
#include "ltectl/deadline.h"
#include "ltectl/replacement.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

bool same_content(const ScratchFile &content, const char *path)
{
    const Stream files[] = {Stream{fopen(content.path(), "re")}, Stream{fopen(path, "re")}};
    bool same = files[0] && files[1];
    int bytes[2] = {};
    while (same && bytes[0] != EOF) {
        bytes[0] = getc(files[0].get());
        bytes[1] = getc(files[1].get());
        same = bytes[0] == bytes[1];
    }
    return same;
}

// Closes the file; shown: its name in messages.
int write_to(int fd, const ScratchFile &content, const char *shown)
{
    if (fd < 0) {
        return cannot("write", shown, errno);
    }
    int code = content.empty_into(fd, shown);
    if (code == kDone && !synchronise(fd)) {
        code = cannot("write", shown, errno);
    }
    if (close(fd) != 0 && code == kDone) {
        code = cannot("write", shown, errno);
    }
    return code;
}

int write_in_place(const ScratchFile &content, const char *path, const Replacing &how)
{
    const int fd = open(path, O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0) {
        return cannot("write", path, errno);
    }
    unknown_if_ended("%s may hold a part of %s", path, how.content);
    if (const int code = write_to(fd, content, path); code != kDone) {
        note("%s holds a part of %s; what it held is lost", path, how.content);
        return code;
    }
    return same_content(content, path) ? kDone
                                       : fail(kFailed, "%s does not hold what was written", path);
}

} // namespace

int replace_file(const ScratchFile &content, const char *path, const Replacing &how)
{
    if (is_stream(path)) {
        return write_to(open(path, O_WRONLY | O_CLOEXEC), content, path);
    }
    const Waiting waiting({nullptr, path}); // for its device
    at_end(remove_unfinished);
    const Replacement file(path, how.readable_by_all);
    const int fd = file.open();
    if (fd < 0 && how.or_in_place && file.is_refused(errno)) {
        return write_in_place(content, path, how);
    }
    if (const int code = write_to(fd, content, path); code != kDone) {
        return code;
    }
    if (!same_content(content, file.unfinished())) {
        return fail(kFailed, "%s does not hold what was written", path);
    }
    if (!file.take_place()) {
        return how.or_in_place && file.is_refused(errno) ? write_in_place(content, path, how)
                                                         : cannot("write", path, errno);
    }
    return file.synchronise_place()
               ? kDone
               : fail(kFailed, "%s is written, but a power failure may take it back: %s", path,
                      strerror(errno));
}

} // namespace lterouter::tools
