#include "common/at.h"

namespace lterouter::tools {

std::string_view at_command(const Body &body)
{
    constexpr uint32_t kHead = sizeof(AtHead);
    const uint32_t length = body.length > kHead ? body.record<uint32_t>() : 0;
    if (length == 0 || length > body.length - kHead) {
        return {};
    }
    const std::string_view command(reinterpret_cast<const char *>(body.bytes) + kHead, length);
    return command.back() == '\r' ? std::string_view(command.data(), length - 1) : std::string_view();
}

} // namespace lterouter::tools
