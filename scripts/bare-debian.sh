# SPDX-License-Identifier: Apache-2.0
#
# For scripts that try something on a Debian 12 with nothing on it. They set "folder", where
# base.tar, the untouched system, is kept for the next time, "root", where the system that is used
# lies, and "how": pivot_root, or chroot, in which the kernel grants a user no namespaces.
# shellcheck shell=bash

readonly mirror=http://deb.debian.org/debian

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

make_base() {
    [[ -f $folder/base.tar ]] && return
    rm -rf "$root"
    debootstrap --variant=minbase bookworm "$root" "$mirror" >"$folder/debootstrap.log" 2>&1 ||
        fail "debootstrap failed, see $folder/debootstrap.log"
    rm -rf "$root"/var/cache/apt/archives/*.deb "$root"/var/lib/apt/lists/*
    tar -C "$root" -cf "$folder/base.tar.new" .
    mv "$folder/base.tar.new" "$folder/base.tar"
}

unpack_base() {
    rm -rf "$root"
    mkdir -p "$root"
    tar -C "$root" -xf "$folder/base.tar"
    cp /etc/resolv.conf "$root/etc/resolv.conf"
}

# inside COMMAND...: in the new system, as its root. What is mounted for it goes away with COMMAND.
inside() {
    # shellcheck disable=SC2016
    unshare --mount --pid --fork --kill-child bash -euc '
        mount --bind "$1" "$1"
        cd "$1"
        how=$2
        shift 2
        mount -t proc proc proc
        mount --rbind /dev dev
        mount -t tmpfs -o mode=1777 tmpfs tmp
        export -n $(compgen -e)
        export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
        [[ $how == pivot_root ]] || exec chroot . "$@"
        mkdir -p old
        pivot_root . old
        umount -l /old
        cd /
        exec "$@"
        ' inside "$root" "$how" "$@" </dev/null
}

need_root_and() {
    local tool
    ((EUID == 0)) || fail "run this as root"
    for tool in "$@"; do
        command -v "$tool" >/dev/null || fail "install $tool first"
    done
}

# The tree as committed, into the new system; they also set "checkout", where that is to be.
unpack_checkout() {
    unpack_base
    git -c safe.directory='*' clone --quiet --no-local --depth 1 "file://$tree" "$root$checkout"
}

# Adds "builder", who has sudo and owns the checkout.
add_user() {
    # shellcheck disable=SC2016
    inside bash -euc '
        export DEBIAN_FRONTEND=noninteractive
        apt-get -qq update
        apt-get -qq install -y --no-install-recommends sudo
        rm -rf /var/lib/apt/lists/*
        useradd --create-home --shell /bin/bash builder
        echo "builder ALL=(ALL) NOPASSWD: ALL" >/etc/sudoers.d/builder
        chown -R builder: "$1"
        ' add_user "$checkout" >"$folder/add-user.log" 2>&1 ||
        fail "could not add a user, see $folder/add-user.log"
}
