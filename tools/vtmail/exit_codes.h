// SPDX-License-Identifier: Apache-2.0
// With what vtmail ends, and what that means.
#pragma once

#include <sysexits.h>

struct ExitCode {
    int code;
    const char* name;
    const char* meaning;
};

inline constexpr ExitCode exitCodes[] = {
    {EX_OK, "EX_OK", "done; for send: every recipient was accepted and the server took the mail"},
    {EX_USAGE, "EX_USAGE",
     "wrong arguments; for show --part: a multipart, a message, binary content for a terminal"},
    {EX_DATAERR, "EX_DATAERR",
     "a text that is not UTF-8 or too long to count; for send -t: no recipient, or a mail that "
     "cannot be sent whole; an address that is none, a user name or password that is not ASCII on "
     "one line; for show: an empty mail; for settings edit: what was typed makes no sense"},
    {EX_NOINPUT, "EX_NOINPUT",
     "the text of the mail, or the password file, cannot be read; for show: the mail cannot, or "
     "has no such entity or message; for settings edit: what was typed cannot"},
    {EX_NOUSER, "EX_NOUSER",
     "recipients were refused; the line says whether the others got the mail"},
    {EX_NOHOST, "EX_NOHOST", "the mail server has no address"},
    {EX_UNAVAILABLE, "EX_UNAVAILABLE",
     "the server refused for good; for fetch: also when the other messages came; for sandbox and "
     "demo: no port, no network; for settings edit: the editor did not end well"},
    {EX_SOFTWARE, "EX_SOFTWARE",
     "what arrived in the demo is not what was sent; a fault of the program"},
    {EX_OSERR, "EX_OSERR",
     "not enough memory for the mail; for sandbox --exec and settings edit: no process for the "
     "command"},
    {EX_OSFILE, "EX_OSFILE",
     "the port of a service is unknown: /etc/services, which knows those of smtp and pop3, is "
     "missing (package netbase), or has no such service"},
    {EX_CANTCREAT, "EX_CANTCREAT",
     "a setting could not be stored, the file is as it was; for fetch: no folder or file for the "
     "messages; for show --extract: a file or the folder could not be made; for sandbox and demo: "
     "no folder"},
    {EX_IOERR, "EX_IOERR",
     "standard output, for fetch a message, or for settings edit the file, could not be written"},
    {EX_TEMPFAIL, "EX_TEMPFAIL",
     "no connection, a connection that was lost, a silent server, a refusal for now, an mbox "
     "that another program has locked, settings that it changed meanwhile, or a delivery that "
     "lacked memory: try again"},
    {EX_PROTOCOL, "EX_PROTOCOL",
     "the server's reply was none; for fetch: a message may go on behind the dot that ended it"},
    {EX_NOPERM, "EX_NOPERM",
     "the mail server refused user name or password; the password file may be read by others"},
    {EX_CONFIG, "EX_CONFIG",
     "settings that are missing, cannot be read or make no sense, ReplyTo included; sending is "
     "switched off"},
};
