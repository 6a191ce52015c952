// SPDX-License-Identifier: Apache-2.0
// Filters between a mail body and the wire.
//
// Each filter wraps another std::streambuf, not owned; it must outlive the filter.
// Units: octets. One thread at a time per object.
// Life: construct, write or read, sync once (pubsync) after the last octet written, destroy.
//       Destructors write nothing.
// Failure: end-of-file results, and -1 from sync, but for what a sync of quotedprintablebuf writes
// itself. Nothing here throws but std::bad_alloc, and what the wrapped buffer throws.
// sgetn may write behind the octets that it gives, as far as it was given room.
#pragma once

#include <cstddef>
#include <streambuf>
#include <string>
#include <utility>

#include "host/host.h"
#include "inet/api.h"

/// base64 (RFC 2045, 6.8; RFC 2047 "B").
///
/// Written: lines of 76 characters that end with CR LF; sync pads, ends the line and syncs the
/// wrapped buffer. Read: octets outside the alphabet are skipped, the first "=" ends the data and
/// the rest of the wrapped buffer is read and dropped, a cut-off group yields what its digits hold.
class VTINETLIB_API base64buf : public std::streambuf {
  public:
    /// `encodedWord`: never break lines.
    base64buf(std::streambuf* target, bool encodedWord);
    ~base64buf() override;

    /// Writes the pending group, padded. False when the wrapped buffer refuses. The argument is
    /// not used.
    bool send_output(bool);
    /// The next digit, 0 to 63; 64 for a NUL octet, which then counts as "A"; -1 at the end.
    int getUnit();
    /// Whether the data ended within a group (digits are missing, or all padding) since last asked.
    bool takeMalformed() { return std::exchange(malformed_, false); }

  protected:
    void imbue(const std::locale& locale) override;
    int sync() override;
    int_type overflow(int_type ch) override;
    int_type underflow() override;
    std::streamsize xsgetn(char* to, std::streamsize count) override;
    std::streamsize xsputn(const char* from, std::streamsize count) override;

  private:
    VTINETLIB_HIDDEN std::size_t decodeAtHand(char* to, std::size_t room);
    VTINETLIB_HIDDEN std::streamsize writeGroups(const char* from, std::streamsize groups);

    std::streambuf* target_;
    bool encodedWord_;
    bool endSeen_ = false;
    bool malformed_ = false;
    int column_ = 0;
    char getArea_[3] = {};
    char putArea_[3] = {};
};

/// quoted-printable (RFC 2045, 6.7), or in header mode the "Q" encoding (RFC 2047, 4.2).
///
/// Written: CR LF passes as a line end; "=", control octets but tabs and those of 127 and above as
/// escapes; lines of at most 76 characters; sync ends an unended line with a soft break. In header
/// mode letters, digits, "!*+-/", NUL and, as "_", blanks pass, without line ends or a limit.
/// Read: a malformed escape (lower-case digits too) ends one read; what follows it can be read on.
class VTINETLIB_API quotedprintablebuf : public std::streambuf {
  public:
    /// `headerMode`: the "Q" encoding.
    quotedprintablebuf(std::streambuf* target, bool headerMode);
    ~quotedprintablebuf() override;

    /// Makes room for `n` more characters on the line; does nothing in header mode.
    void checkSpace(int n);
    /// Whether a read has ended at a malformed escape since last asked.
    bool takeMalformed() { return std::exchange(malformed_, false); }

  protected:
    void imbue(const std::locale& locale) override;
    int sync() override;
    int_type overflow(int_type ch) override;
    int_type underflow() override;
    std::streamsize xsgetn(char* to, std::streamsize count) override;
    std::streamsize xsputn(const char* from, std::streamsize count) override;

  private:
    VTINETLIB_HIDDEN std::size_t decodeAtHand(char* to, std::size_t room);
    VTINETLIB_HIDDEN std::streamsize writeBlock(const char* from, std::streamsize count);
    VTINETLIB_HIDDEN int_type writeHeaderOctet(int_type ch);
    VTINETLIB_HIDDEN int_type writeLineFeed();
    VTINETLIB_HIDDEN bool writePendingReturn();
    VTINETLIB_HIDDEN bool holdReturn();
    VTINETLIB_HIDDEN bool writeEscape(int_type ch);
    VTINETLIB_HIDDEN bool isSoftBreak(int_type first);
    VTINETLIB_HIDDEN int_type decodeEscape(int_type first);

    std::streambuf* target_;
    bool headerMode_;
    int column_ = 0;
    bool malformed_ = false;
    int previous_ = -1;  // last octet written; 13 while a carriage return is held back
    char getArea_[1] = {};
};

/// The transfer encoding for a body: "7bit" when it has no octet that needs one, else
/// "quoted-printable", or "base64" when that is estimated to be shorter. Line lengths are not
/// looked at.
VTINETLIB_API Zeb_String getBestTransferEncoding(const std::string& data);

/// Dot-stuffing (RFC 5321, 4.5.2).
///
/// Written: a dot at the start of a line is doubled; lines end at LF, the writer supplies the CR.
/// Each sync writes the end-of-data line, so sync once (a flush is a sync).
/// Read: the stuffed dot is dropped; the lone dot line is the end. Read with sbumpc or sgetn only:
/// a peek at the start of a line that begins with a dot already takes that dot.
class VTINETLIB_API dotstuffingbuf : public std::streambuf {
  public:
    /// `target` is written to or read from.
    explicit dotstuffingbuf(std::streambuf* target);
    ~dotstuffingbuf() override;

  protected:
    void imbue(const std::locale& locale) override;
    int sync() override;
    int_type underflow() override;
    int_type uflow() override;
    int_type overflow(int_type ch) override;
    std::streamsize xsputn(const char* from, std::streamsize count) override;

  private:
    std::streambuf* target_;
    bool readAtLineStart_ = true;
    bool endReached_ = false;
    bool writeAtLineStart_ = true;
};

/// One body part of a multipart (RFC 2046, 5.1.1), for reading: the octets of the wrapped buffer up
/// to the next delimiter.
///
/// The line end in front of the delimiter (CR LF or LF) belongs to the delimiter; a delimiter at
/// the very start needs none. End-of-file means that the delimiter has been taken, up to the last
/// character of the boundary, or that the wrapped buffer has ended; what stands behind the boundary
/// is left. A delimiter need not be a whole line: the boundary "b" is also found in "--bb".
/// Peeks count: at the very start, a line feed that was not peeked at hides a delimiter behind it,
/// and a CR LF that was not leaves its CR in the data.
class VTINETLIB_API multipartboundarybuf : public std::streambuf {
  public:
    /// `boundary` without its leading hyphens.
    multipartboundarybuf(std::streambuf* source, const std::string& boundary);
    ~multipartboundarybuf() override;

  protected:
    void imbue(const std::locale& locale) override;
    int_type underflow() override;
    int_type uflow() override;
    std::streamsize xsgetn(char* to, std::streamsize count) override;

  private:
    friend class OctetsAtHand;
    VTINETLIB_HIDDEN int_type read(bool takes);
    VTINETLIB_HIDDEN int_type match();
    VTINETLIB_HIDDEN std::size_t copyAtHand(char* to, std::size_t room);
    VTINETLIB_HIDDEN bool owesNothing() const;

    std::streambuf* source_;
    multipartboundarybuf* outer_;  // source_, when that is a body part itself
    std::string delimiter_;
    std::size_t matched_ = 0;  // octets of the delimiter found and taken from the source
    std::size_t replay_ = 0;   // from here to matched_ they are owed to the reader
    bool atStart_ = true;
};
