# SPDX-License-Identifier: Apache-2.0
#
# For tests that build and run the program of tests/install/consumer outside the tree, so that no
# header of it can be found by chance.
# shellcheck shell=bash

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

copy_consumer() {
    cp -R "$(dirname "${BASH_SOURCE[0]}")/consumer" "$work/product"
}

# configure_and_build HOW FOLDER [CMAKE-ARG...]
configure_and_build() {
    "$cmake" -S "$work/product" -B "$2" -G Ninja --log-level=NOTICE -DHOW="$1" \
        -DCMAKE_CXX_COMPILER="$compiler" "${@:3}"
    "$cmake" --build "$2" >"$work/log" 2>&1 || {
        cat "$work/log"
        fail "the product does not build"
    }
}

# run_consumer PROGRAM: nothing but what the program was linked with leads to the libraries.
run_consumer() {
    rm -rf "$work/settings"
    mkdir "$work/settings"
    env -u LD_LIBRARY_PATH VTINETLIB_SETTINGS_DIR="$work/settings" "$@"
    grep -q '^SMTPHost = mail.example$' "$work/settings/SendMail.conf" ||
        fail "the program's settings did not reach the disk"
}
