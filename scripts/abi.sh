# SPDX-License-Identifier: Apache-2.0
#
# For scripts that write down, or compare, what programs have compiled in of a library: its names,
# and the sizes and layouts of all types that its functions show. Needs abigail-tools.
# The scripts set "tree", where the sources are.
# shellcheck shell=bash disable=SC2154

libraries=(host/libvthost.so.1 inet/libvtinetlib.so.1)

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# Without debug information there are names only, and everything else would seem unchanged.
need_debug_information() {
    [[ -f $1 ]] || fail "build $1 first"
    local sections
    sections=$(readelf --wide --section-headers "$1")
    [[ $sections == *" .debug_info "* ]] || fail "$1 has no debug information: use the preset dev"
}

# dump LIBRARY FILE
dump() {
    need_debug_information "$1"
    abidw --exported-interfaces-only --no-show-locs --no-corpus-path --no-comp-dir-path \
        --type-id-style hash --out-file "$2" "$1"
}

# compare FILE LIBRARY: true when a program that was linked with the library of the dump FILE runs
# with this one. More functions do no harm.
compare() {
    need_debug_information "$2"
    abidiff --no-added-syms --suppressions "$tree/abi/hidden-types.ini" "$1" "$2"
}
