// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/text.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "host/adcharset.h"
#include "host/exceptions.h"
#include "host/printable.h"
#include "tools/vtmail/failure.h"

Zeb_String fromUtf8(std::string_view octets, const std::string& what) {
    Zeb_String text;
    try {
        if (AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), octets.data(), octets.size(),
                                     text))
            return text;
    } catch (const Zeb_Range_Error&) {
        throw Failure(EX_DATAERR, what + " is longer than a mail can be; shorten it");
    }
    throw Failure(EX_DATAERR, what + " is not UTF-8; convert it, for example with iconv");
}

std::string toUtf8(const Zeb_String& text) {
    AdMbcsString octets;
    octets.cvtFromTchar(AdCharset::getUTF8Charset(), text, 1);
    return octets.getString();
}

std::string shown(std::string_view octets) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), octets.data(), octets.size(), text, 1);
    return Printable(text);
}

void finishOutput() {
    errno = 0;
    if (std::cout.flush()) return;
    const char* reason = errno != 0 ? std::strerror(errno) : "write error";
    throw Failure(EX_IOERR, std::string("cannot write to standard output: ") + reason);
}
