// The files of a parameter store: a folder with one file a parameter.
#pragma once

#include "lc_nv.h"
#include "support/text_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace testing_support {

// A text with its terminator, as the stores keep it.
inline std::string stored(const std::string &text) { return text + '\0'; }

// A valid line of this size, its line feed included, of the parameter with the longest name "nn...n".
inline std::string line_of_size(size_t size)
{
    const std::string start = std::string(127, 'n') + "=";
    const std::string end = "1=" + std::string(NV_VALUE_MAX, 'v') + "\n";
    return start + std::string(size - start.size() - end.size(), '0') + end;
}

// The content of a file that begins with the checksum of these lines.
inline std::string with_checksum(const std::string &lines)
{
    char header[NV_CHECKSUM_SIZE + 1];
    snprintf(header, sizeof(header), "%08X\n",
             static_cast<unsigned>(nv_crc32_update(0, lines.data(), lines.size())));
    return header + lines;
}

class ParameterFolder {
public:
    explicit ParameterFolder(std::string path) : path_(std::move(path)) {}

    std::string file_of(const std::string &name) const { return path_ + name; }
    std::string content(const std::string &name) const { return read_text(file_of(name)); }
    void put(const std::string &name, const std::string &bytes) const
    {
        write_text(file_of(name), bytes);
    }

    // The names in it; none when there is no such folder.
    std::set<std::string> files() const
    {
        std::set<std::string> names;
        DIR *directory = opendir(path_.c_str());
        while (const dirent *entry = directory == nullptr ? nullptr : readdir(directory)) {
            names.insert(entry->d_name);
        }
        if (directory != nullptr) {
            closedir(directory);
        }
        names.erase(".");
        names.erase("..");
        return names;
    }

private:
    const std::string path_;
};

// What a reading function did with a buffer of exactly the size it was told, so that one byte too many
// is noticed.
struct ReadResult {
    uint32_t code;
    std::string text; // "#" when the buffer was left alone

    bool operator==(const ReadResult &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const ReadResult &result)
{
    return out << result.code << " \"" << result.text << '"';
}

// read: called with the buffer and its size.
template <typename Read> ReadResult read_with(uint32_t size, Read read)
{
    const size_t room = std::max(size, 1U); // there is a byte to look at
    const std::unique_ptr<char[]> buffer(new char[room]);
    memset(buffer.get(), '#', room);
    const uint32_t code = read(buffer.get(), size);
    return {code, code == 0 ? buffer.get() : std::string(buffer.get(), 1)};
}

// The result of a read that is refused and leaves the buffer alone.
inline ReadResult refused(uint32_t code) { return {code, "#"}; }
// The result of a read that finds this value.
inline ReadResult found(const std::string &value) { return {0, value}; }

// The permission bits of a file.
inline mode_t mode_of(const std::string &path)
{
    struct stat status = {};
    stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

inline mode_t current_umask()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

} // namespace testing_support
