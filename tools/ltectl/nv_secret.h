// Parameters whose attribute bits call them secret are not shown unless they are asked for.
#pragma once

#include "ltectl/secret.h"

namespace lterouter::tools {

// What the defaults file calls secret; the library gives the bit no meaning.
constexpr uint32_t kSecretBit = 8;

inline constexpr Option kShowSecretsOption = {
    "show-secrets", nullptr, "show the values of secret parameters too", &kSwitch, &g_show_secrets};

// A value as it is to be shown. That a secret is not set is none.
struct Shown {
    Shown(uint32_t bits, const char *value)
        : text((bits & kSecretBit) != 0 && !g_show_secrets && *value != '\0' ? kMasked : value)
    {
    }
    const char *const text;
};

} // namespace lterouter::tools
