// Writing a file as a whole: a write that fails, or is ended half-way, leaves the earlier file as it
// was.
#pragma once

#include "ltectl/scratch_file.h"

namespace lterouter::tools {

struct Replacing {
    const char *content; // in messages: "the export"
    // Mode 0644. Otherwise the new file has rights and owner of the earlier one, or those of a new
    // file.
    bool readable_by_all = false;
    // Where no file can be made beside it, or take its place, the earlier one is written itself.
    bool or_in_place = false;
};

// Writes content to a file; into a pipe, a terminal or a device, which can be neither replaced nor read
// back, it is written as it stands. Returns kDone, or the exit code after an error message.
int replace_file(const ScratchFile &content, const char *path, const Replacing &how);

} // namespace lterouter::tools
