// An access point record as bytes, built from a table of offsets and not from the structure.
#pragma once

#include "support/messages.h"

#include <string>

namespace testing_support {

class ApnRecord {
public:
    ApnRecord &text(size_t offset, const std::string &value)
    {
        bytes_.replace(offset, value.size(), value);
        return *this;
    }
    ApnRecord &number(size_t offset, uint32_t value)
    {
        const Bytes bytes = word(value);
        return text(offset, {bytes.begin(), bytes.end()});
    }

    const std::string &bytes() const { return bytes_; }

private:
    std::string bytes_ = std::string(580, '\0');
};

} // namespace testing_support
