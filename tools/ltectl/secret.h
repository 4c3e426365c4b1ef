// Secrets: every process of the machine can see an argument, and everyone who sees the screen or a copy
// of it can read the output.
#pragma once

#include "common/command.h"

#include <cstdio>
#include <cstring>

namespace lterouter::tools {

// Parses the value of an operand: the operand itself, a line of standard input when it is "-", or input
// typed without echo when it is missing. name: of the operand. Returns kDone, or the exit code after an
// error message, which repeats the value only if it was an argument.
// echo: the value is typed and not secret.
int parse_secret(const char *name, const char *operand, const ValueType &type, void *target,
                 bool echo = false);

// A target for any text of at most Max bytes: a longer one is truncated, but remains too long.
template <size_t Max> struct TypedText {
    ~TypedText() { explicit_bzero(text, sizeof(text)); }
    static bool parse(const char *typed, void *target)
    {
        auto *const into = static_cast<TypedText *>(target);
        snprintf(into->text, sizeof(into->text), "%s", typed);
        return true;
    }
    static constexpr ValueType kType = {"a text", parse};

    char text[Max + 2];
};

// Shown instead of a secret.
inline constexpr char kMasked[] = "********";
inline bool g_show_secrets = false;

} // namespace lterouter::tools
