// The file that names further log modules, which the sandbox's own system lacks.
#pragma once

#include "lc_log.h"
#include "support/scoped_mount.h"
#include "support/text_file.h"

#include <string>

namespace testing_support {

constexpr char kLogConfigPath[] = LC_LOG_CONFIG_FILE;

// In the place of the system's file until the end of the scope.
class LogConfig {
public:
    explicit LogConfig(const std::string &content) { write_text(kLogConfigPath, content); }

private:
    ScopedMount mount_{"/usr/bin"};
};

} // namespace testing_support
