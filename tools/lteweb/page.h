// The page, built into the program.
#pragma once

#include <string_view>

namespace lterouter::tools {

struct PageFile {
    const char *path;
    const char *type;
    std::string_view content;
};

// Of a path that a route names.
const PageFile &page_file(const char *path);

} // namespace lterouter::tools
