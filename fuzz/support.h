// Shared by the fuzz targets: assertions, splitting of the input, and reading of files.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
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

inline std::string text_of(std::string_view bytes)
{
    return std::string(bytes.substr(0, bytes.find('\0')));
}

// Takes a line off the bytes as fgets does into a buffer of that size: with its line feed, if that
// fits.
inline std::string take_line(std::string_view *bytes, size_t size)
{
    const std::string line(bytes->substr(0, std::min(bytes->find('\n'), size - 2) + 1));
    bytes->remove_prefix(line.size());
    return line;
}

// Takes the text before the first line feed off the bytes, and the line feed too.
inline std::string take_first_line(std::string_view *bytes)
{
    const std::string_view line = bytes->substr(0, bytes->find('\n'));
    bytes->remove_prefix(std::min(line.size() + 1, bytes->size()));
    return text_of(line);
}

// A copy of its own, so that reading or writing beyond it is noticed.
using Copy = std::unique_ptr<char[]>;

inline Copy copy_of(std::string_view bytes)
{
    Copy copy(new char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

// The same with a terminator.
inline Copy text_copy_of(const std::string &text) { return copy_of({text.c_str(), text.size() + 1}); }

// Finds descriptors that are left open within its scope.
class DescriptorCheck {
public:
    DescriptorCheck() = default;
    ~DescriptorCheck() { require(lowest_free() == free_, "every descriptor is closed again"); }
    DescriptorCheck(const DescriptorCheck &) = delete;
    DescriptorCheck &operator=(const DescriptorCheck &) = delete;

    static int lowest_free()
    {
        const int fd = open("/", O_PATH | O_CLOEXEC);
        close(fd);
        return fd;
    }

private:
    const int free_ = lowest_free();
};

inline void empty_folder(const char *folder)
{
    DIR *directory = opendir(folder);
    while (const dirent *entry = readdir(directory)) {
        unlinkat(dirfd(directory), entry->d_name, 0);
    }
    closedir(directory);
}

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
    std::string content;
    char bytes[4096];
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    for (ssize_t size; fd >= 0 && (size = read(fd, bytes, sizeof(bytes))) > 0;) {
        content.append(bytes, static_cast<size_t>(size));
    }
    if (fd >= 0) {
        close(fd);
    }
    return content;
}

} // namespace fuzzing
