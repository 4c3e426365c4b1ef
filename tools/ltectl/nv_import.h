// What the library makes of a file that it imports: read the same way, told line by line.
#pragma once

#include <cstdint>

namespace lterouter::tools {

struct ImportRequest {
    const char *command;
    const char *path;
    const char *shown; // what the file is called in messages
    uint32_t mask;
    bool checksum;
    bool identity;
};

// Shows what the import of each line would do.
int preview_import(const ImportRequest &request);

// After the import: why it stopped, or whether everything has arrived, and how much.
int report_import(const ImportRequest &request);

} // namespace lterouter::tools
