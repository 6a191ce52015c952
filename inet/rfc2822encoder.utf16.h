// SPDX-License-Identifier: Apache-2.0
// Composing one plain-text message (RFC 5322, MIME).
//
// Wide text comes in, octets with CR LF line ends go out. One thread at a time per object.
// Failure: false for an address or header name that has no form on one ASCII line; the stream's
// bad bit for a write that failed, but for the last soft break of quoted-printable. Nothing here
// throws but std::bad_alloc, Zeb_Range_Error for a body of more units than an int counts, and
// what the buffer of a stream throws while the body is written.
#pragma once

#include <ostream>
#include <set>
#include <string>

#include "host/host.h"
#include "inet/api.h"

/// One outgoing message: set the charset first, then the fields in any order, then getData.
class VTINETLIB_API RFC2822Encoder {
  public:
    /// UTF-8, everything else empty.
    RFC2822Encoder();
    /// Does not take over the charset: a copy starts with the host's default one.
    RFC2822Encoder(const RFC2822Encoder& other);
    /// Leaves the charset of the target as it is.
    RFC2822Encoder& operator=(const RFC2822Encoder& other);
    ~RFC2822Encoder();

    /// The charset of the body and of display names set from now on. Subject and extra headers
    /// are always UTF-8.
    void setCharset(const AdCharset& charset);

    /// From. False, and no sender, when the address has no form on one ASCII line.
    bool setSender(const Zeb_String& address, const Zeb_String& name);
    /// One more mailbox; false as for setSender, and nothing is added. Equal mailboxes are written
    /// once; they are written in the order of their octets.
    bool addTo(const Zeb_String& address, const Zeb_String& name);
    /// The same for Cc.
    bool addCc(const Zeb_String& address, const Zeb_String& name);
    /// The one Bcc mailbox, which is written into the header. Result as for setSender.
    bool setBcc(const Zeb_String& address, const Zeb_String& name);
    /// Keeps one more header field. False when the name has no form on one ASCII line. getData
    /// does not write these fields.
    bool addHeader(const Zeb_String& name, const Zeb_String& value);
    /// Line breaks inside become blanks. A subject of more than 45 octets of UTF-8 that is not
    /// plain ASCII is written as several encoded words. They are filled in halves of what is left,
    /// cut between code units: a character beyond U+FFFF that falls on such a cut, within a word
    /// or at its end, or that stands last, is shown as two U+FFFD.
    void setSubject(const Zeb_String& subject);

    /// Replaces the text of the message. Line ends may be LF or CR LF.
    void setBody(const Zeb_String& text);
    /// Adds to its end.
    void appendBody(const Zeb_String& text);

    /// Writes header and body. `eightBit`: the way to the recipient is 8-bit clean (8BITMIME), the
    /// body is written as it is; otherwise the encoding that getBestTransferEncoding names. Line
    /// feeds without a carriage return get one. The date is now.
    void getData(bool eightBit, std::ostream& out) const;

  private:
    VTINETLIB_HIDDEN bool addMailbox(const Zeb_String& address, const Zeb_String& name,
                                     std::set<std::string>& mailboxes);
    VTINETLIB_HIDDEN std::string headerText(const std::string& transferEncoding) const;

    AdCharset charset_;
    std::string sender_;
    std::set<std::string> to_;
    std::set<std::string> cc_;
    std::string bcc_;
    std::set<std::string> extraHeaders_;
    std::string subject_;
    Zeb_String body_;
};

/// Takes from `text`, starting at unit *lo and up to *hi, exclusive, units whose UTF-8 form fits
/// the rest of the 45 octets that one encoded word carries, appends that form to `chunk`, moves *lo
/// behind what was taken and narrows *hi. Units are weighed in halves of the range: a surrogate
/// pair may be cut, each half is then EF BF BD.
VTINETLIB_API void bi_len(int* lo, int* hi, const Zeb_String& text, std::string& chunk);

// Internal to the module; not exported.

/// base64 of `octets` on one line.
std::string encode2047B(const std::string& octets);

/// Sets `out` to the field "NAME: VALUE" CR LF, the value as encoded words (RFC 2047) unless it is
/// plain ASCII. False, with `out` as it was, when the name has no form on one ASCII line. An empty
/// value gives "NAME: " without a line end. The charset is accepted and not used.
bool encodeRFC2047Unstructured(const AdCharset& charset, const Zeb_String& name,
                               const Zeb_String& value, std::string& out);

/// Sets `out` to the mailbox NAME <ADDRESS>: the name as a quoted string, or as one encoded word
/// in `charset`. False, with `out` empty, when the address has no form on one ASCII line.
bool encodeRecip(const AdCharset& charset, const Zeb_String& address, const Zeb_String& displayName,
                 std::string& out);

/// The header line of the mailboxes `members` behind `prefix` ("To: "), folded at about 72
/// characters, with its CR LF; empty for no members.
std::string handleRecip(const std::string& prefix, const std::set<std::string>& members);
