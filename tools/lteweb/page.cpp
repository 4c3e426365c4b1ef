#include "lteweb/page.h"

#include "lteweb_page.h" // made of page/ by CMake

#include <cstring>

namespace lterouter::tools {
namespace {

template <size_t Size> constexpr std::string_view content(const char (&bytes)[Size])
{
    return {bytes, Size};
}

constexpr PageFile kIndex = {"/", "text/html; charset=utf-8", content(kIndexHtml)};
constexpr PageFile kFiles[] = {{"/lteweb.css", "text/css; charset=utf-8", content(kLtewebCss)},
                               {"/lteweb.js", "text/javascript; charset=utf-8", content(kLtewebJs)}};

} // namespace

const PageFile &page_file(const char *path)
{
    for (const PageFile &file : kFiles) {
        if (strcmp(file.path, path) == 0) {
            return file;
        }
    }
    return kIndex;
}

} // namespace lterouter::tools
