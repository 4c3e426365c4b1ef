// The expected result of the repair for a parameter's two copies with any contents, computed without
// the library.
#pragma once

#include "support/parameter_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>

namespace testing_support {

constexpr size_t kNvOneRead = 4096; // bytes; what is behind them is never looked at

// The bytes of a copy up to the first NUL, for which the last byte that is read counts whatever it is.
inline std::string text_of(const std::string &bytes)
{
    return bytes.substr(0, std::min(bytes.size(), kNvOneRead) - 1).c_str();
}

// The value of a parameter. A missing copy is an empty one.
inline std::string recovered(const std::string &current, const std::string &backup,
                             const std::string &fallback)
{
    if (!current.empty()) {
        return text_of(current);
    }
    return backup.empty() ? fallback : text_of(backup);
}

// What nvm_readnv gives for a buffer of this size. It goes by the bytes of a copy, not by its text.
inline ReadResult read_from(const std::string &current, const std::string &backup,
                            const std::string &fallback, uint32_t size)
{
    const std::string &source = current.empty() ? backup : current;
    const size_t needed = source.empty() ? fallback.size() + 1 : std::min(source.size(), kNvOneRead);
    return needed > size ? refused(2) : found(recovered(current, backup, fallback));
}

struct NvCopyContents {
    std::string current;
    std::string backup;

    bool operator==(const NvCopyContents &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const NvCopyContents &copies)
{
    return out << "current " << testing::PrintToString(copies.current) << ", backup "
               << testing::PrintToString(copies.backup);
}

// What nvm_init leaves. The copy that the value is taken from is only cut: its last byte stays what it
// is. The other one is written, unless what one read sees of it is right already.
inline NvCopyContents repaired(const std::string &current, const std::string &backup,
                               const std::string &fallback)
{
    const std::string text = recovered(current, backup, fallback);
    const std::string whole = stored(text);
    if (!current.empty()) {
        const bool right = backup.substr(0, kNvOneRead) == whole;
        return {current.substr(0, whole.size()), right ? backup : whole};
    }
    return {whole, backup.empty() ? whole : backup.substr(0, whole.size())};
}

} // namespace testing_support
