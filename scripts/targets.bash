# The targets. Sourced by the other scripts.
# shellcheck shell=bash disable=SC2034

targets=(native asan tsan valgrind coverage mips musl mips-musl mips16-musl web)

declare -A target_is=(
    [native]="GCC, optimised"
    [asan]="Clang with AddressSanitizer and UndefinedBehaviorSanitizer"
    [tsan]="ThreadSanitizer"
    [valgrind]="memcheck"
    [coverage]="which lines of lib/ the tests run"
    [mips]="32-bit big-endian MIPS with the GNU libc, emulated: all but the tools"
    [musl]="musl, a small libc: the C programs, the tools and the demo"
    [mips-musl]="the same on 32-bit big-endian MIPS, emulated: what the router runs"
    [mips16-musl]="the same with the library as MIPS16 code, for cores that have it"
    [web]="the page of lteweb in a browser"
)

is_target() { [ -n "$1" ] && [ -n "${target_is[$1]:-}" ]; }

list_targets() {
    local target
    for target in "${targets[@]}"; do
        printf '  %-12s %s\n' "$target" "${target_is[$target]}"
    done
}

# Ends the script with an error message for an unknown target.
require_targets() {
    local target
    for target in "$@"; do
        if ! is_target "$target"; then
            printf '%s: there is no target "%s"; the targets are\n%s\n' "${0##*/}" "$target" "$(list_targets)" >&2
            exit 2
        fi
    done
}

preset_of() { [ "$1" = native ] && echo release || echo "$1"; }
