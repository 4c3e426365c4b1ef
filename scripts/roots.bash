# Roots that hold a Debian of their own, kept as tarballs below build/roots, and copies of the project to put in
# them. Sourced by the other scripts, in the project's folder.
# shellcheck shell=bash

# What makes one root another: the release, where packages come from and how, and which are in it.
describe_root() {
    sed -n 's/^VERSION_CODENAME=//p' /etc/os-release
    # shellcheck disable=SC2016  # apt-get fills these in
    apt-get indextargets --format 'deb $(SITE) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
        sort -u
    apt-config dump --format '%F "%v";%n' Acquire | grep -v '^Acquire::IndexTargets'
    echo "$*"
}

# make_root NAME PACKAGES [MMDEBSTRAP_OPTION...]
# Has build/roots/NAME/root.tar hold Debian's basics and these packages, named with commas between them. Makes the
# folder anew when the root it has is another one. Works as root.
make_root() {
    local folder=build/roots/$1 packages=$2 description new
    shift 2
    description=$(describe_root "$packages" "$@")
    [ "$(cat "$folder/description" 2>/dev/null)" != "$description" ] || return 0
    echo "${0##*/}: making a Debian root"
    mkdir -p build/roots
    new=$(mktemp -d "$folder.XXXXXX")
    if ! fill_root "$new" "$description" --include="$packages" "$@" >"$new/log" 2>&1; then
        tail -n 20 "$new/log" >&2
        rm -rf "$new"
        return 1
    fi
    rm -rf "$folder"
    mv "$new" "$folder"
}

# fill_root FOLDER DESCRIPTION MMDEBSTRAP_OPTION...
fill_root() {
    local folder=$1 description=$2
    shift 2
    grep '^Acquire::' <<<"$description" >"$folder/apt.conf"
    if ! grep '^deb ' <<<"$description" >"$folder/sources.list"; then
        echo "apt knows no Debian packages: as root, apt-get update asks for them"
        return 1
    fi
    mmdebstrap --variant=minbase --aptopt="$folder/apt.conf" "$@" "$(head -n 1 <<<"$description")" \
        "$folder/root.tar" "$folder/sources.list" && echo "$description" >"$folder/description"
}

# copy_working_tree FOLDER: all that is not ignored, as it is now, new files too.
copy_working_tree() {
    git ls-files -z --cached --others --exclude-standard |
        while IFS= read -r -d '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done |
        tar --null --files-from=- --create | tar -C "$1" --extract --no-same-permissions
}
