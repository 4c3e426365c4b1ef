// The values of secret parameters, as marked by an attribute bit, are hidden unless requested.
#pragma once

#include "ltectl/secret.h"

namespace lterouter::tools {

// The attribute bit of secret parameters; the library gives it no meaning.
constexpr uint32_t kSecretBit = 8;

inline constexpr Option kShowSecretsOption = {
    "show-secrets", nullptr, "show the values of secret parameters too", &kSwitch, &g_show_secrets};

// A value as printed: a secret is replaced unless it is empty.
struct Shown {
    Shown(uint32_t bits, const char *value)
        : text((bits & kSecretBit) != 0 && !g_show_secrets && *value != '\0' ? kMasked : value)
    {
    }
    const char *const text;
};

} // namespace lterouter::tools
