# SPDX-License-Identifier: Apache-2.0
"""A private view of the machine, in which a mail server may be at home.

Programs that were compiled for fixed places (/usr/lib/postfix, /etc/smtpd.conf, port 25, users of
their own) find all of that here, and the machine itself does not change: network, processes and
mounts are namespaces of this process, and what it writes to the system's folders lies in memory
and goes away with it.
"""

import ctypes
import fcntl
import os
import pathlib
import socket
import struct
import subprocess
import sys

_UNSHARE = ["unshare", "--net", "--mount", "--pid", "--fork", "--kill-child",
            "--propagation", "unchanged"]
_INSIDE = "--inside"
_libc = ctypes.CDLL(None, use_errno=True)

#: Holds everything that is written here; in the machine itself the queues of its mail service.
SCRATCH = pathlib.Path("/var/spool")
#: Seconds for one run of a program.
RUN_LIMIT = 300


def enter():
    """Starts this program again in namespaces of its own, and returns only in there.

    The outer process ends with the inner one's status. Needs root, or sudo that asks nothing.
    """
    if _INSIDE in sys.argv:
        sys.argv.remove(_INSIDE)
        _keep_mounts_private()
        _mount("proc", "/proc", "nosuid")
        return
    command = ([] if os.geteuid() == 0 else ["sudo", "-n"]) + _UNSHARE
    probe = subprocess.run(command + ["true"], stderr=subprocess.PIPE, text=True)
    if probe.returncode != 0:
        sys.exit(f"cannot run a mail server apart from the machine's own: {probe.stderr.strip()}\n"
                 "This test needs network, mount and process namespaces: run it as root, or as a "
                 "user whose sudo asks for no password.")
    sys.exit(subprocess.call(command + [sys.executable, "-B"] + sys.argv + [_INSIDE]))


def furnish(trees, users):
    """Lays the unpacked `trees` of packages over the system and adds `users` (name: number).

    A group of the same name and number comes with each user. Loopback is up afterwards.
    """
    _mount("tmpfs", SCRATCH, "mode=755")
    _mount("tmpfs", "/run", "mode=755")
    for folder in ("usr", "var/lib"):
        layers = [tree / folder for tree in trees if (tree / folder).is_dir()]
        _overlay(f"/{folder}", layers + [f"/{folder}"])
    _overlay("/etc", ["/etc"])
    _write_system_files(users)
    _raise_loopback()


def caller():
    """The user and group who asked for this test, before any sudo."""
    return int(os.environ.get("SUDO_UID", 0)), int(os.environ.get("SUDO_GID", 0))


def folder_of_caller(name):
    """A folder in SCRATCH that the caller may write to; it may be there already."""
    folder = SCRATCH / name
    folder.mkdir(exist_ok=True)
    os.chown(folder, *caller())
    return folder


def run_as_caller(command, **variables):
    """What a program prints that runs as the caller with more environment; it has to succeed."""
    user, group = caller()
    run = subprocess.run(command, user=user, group=group, extra_groups=[], stdout=subprocess.PIPE,
                         env=os.environ | variables, timeout=RUN_LIMIT, check=True)
    return run.stdout


def _keep_mounts_private():
    """No mount made from here on shows outside.

    unshare(1) would do it, but not in a chroot, which is a usual home of a bare Debian: the mount
    to change is then above the root. So this steps out of the chroot, and back.
    """
    inner_root, here = os.open("/", os.O_DIRECTORY), os.getcwd()
    os.chroot(SCRATCH)
    os.fchdir(inner_root)
    while not os.path.samefile("..", "."):
        os.chdir("..")
    os.chroot(".")
    recursive_private = 0x4000 | 0x40000
    failed = _libc.mount(None, b"/", None, ctypes.c_ulong(recursive_private), None)
    os.fchdir(inner_root)
    os.chroot(".")
    os.close(inner_root)
    os.chdir(here)
    if failed:
        sys.exit(f"cannot keep mounts private: {os.strerror(ctypes.get_errno())}")


def _mount(kind, folder, options):
    subprocess.run(["mount", "-t", kind, "-o", options, kind, str(folder)], check=True)


def _overlay(folder, layers):
    private = SCRATCH / "layers" / folder.strip("/").replace("/", "-")
    upper, work = private / "upper", private / "work"
    upper.mkdir(parents=True)
    work.mkdir()
    lower = ":".join(map(str, layers))
    _mount("overlay", folder, f"lowerdir={lower},upperdir={upper},workdir={work}")


def _write_system_files(users):
    """No name is looked up beyond these files: there is no network to ask."""
    etc = pathlib.Path("/etc")
    everybody = {"root": 0, "nobody": 65534} | users
    files = {
        "passwd": "".join(f"{name}:x:{number}:{number}::{SCRATCH}:/usr/sbin/nologin\n"
                          for name, number in everybody.items()),
        "group": "".join(f"{name}:x:{number}:\n" for name, number in everybody.items()),
        "hosts": "127.0.0.1 localhost\n",
        "mailname": "mail.example.test\n",
        "nsswitch.conf": "".join(f"{database}: files\n" for database in (
            "passwd", "group", "shadow", "hosts", "services", "protocols")),
        "protocols": "tcp 6 TCP\n",
        "resolv.conf": "",
        "services": "smtp 25/tcp mail\npop3 110/tcp\n",
    }
    for name, text in files.items():
        (etc / name).unlink(missing_ok=True)
        (etc / name).write_text(text, encoding="ascii")


def _raise_loopback():
    get_flags, set_flags, up = 0x8913, 0x8914, 0x1
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        request = struct.pack("16sH14x", b"lo", 0)
        flags = struct.unpack_from("H", fcntl.ioctl(any_socket, get_flags, request), 16)[0]
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sH14x", b"lo", flags | up))
