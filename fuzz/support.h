// What the fuzz targets share: claims about what the library did, input in pieces, and whole files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzzing {

// Ends the program, which libFuzzer takes for a find and keeps the input of.
inline void require(bool holds, const char *claim)
{
    if (!holds) {
        fprintf(stderr, "not true: %s\n", claim);
        abort();
    }
}

// An input: its first byte chooses how the rest is used.
struct Input {
    uint8_t choice = 0;
    std::string_view rest;

    Input(const uint8_t *data, size_t size)
    {
        if (size > 0) {
            choice = data[0];
            rest = {reinterpret_cast<const char *>(data) + 1, size - 1};
        }
    }
    bool chooses(int bit) const { return (choice >> bit & 1) != 0; }
};

inline void write_file(const char *path, std::string_view content)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    require(fd >= 0 &&
                write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            "the input can be written into a file");
    close(fd);
}

// Empty also when there is no such file.
inline std::string read_file(const char *path)
{
    char bytes[16384];
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t size = fd < 0 ? 0 : read(fd, bytes, sizeof(bytes));
    if (fd >= 0) {
        close(fd);
    }
    return {bytes, size > 0 ? static_cast<size_t>(size) : 0};
}

} // namespace fuzzing
