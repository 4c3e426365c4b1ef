# Prints the usage of a script from the comment at its head. Sourced by the other scripts.
# shellcheck shell=bash

# print_usage SCRIPT: the comment at its head, without the marks.
print_usage() {
    # shellcheck disable=SC2016  # sed's own dollar
    sed -n '2,${/^#/!q;s/^# \{0,1\}//p}' "$1"
}
