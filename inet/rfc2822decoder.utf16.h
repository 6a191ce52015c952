// SPDX-License-Identifier: Apache-2.0
// Taking a received message apart: header fields, addresses, parameters, body parts.
//
// Input is octets, with any line ends; what is asked for is wide text. Nothing here fails on bad
// input: parsers stop at the first token that they cannot use and keep what they had, and text
// that cannot be decoded comes back as it stands. Only a text of more units than an int counts,
// from a mail of gigabytes, is a Zeb_Range_Error. One thread at a time per object.
//
// The decoders do not own their children and trust their input: a multipart that is cut off keeps
// its constructor reading for ever. For mail from strangers use inet/guardedmessage.utf16.h.
#pragma once

#include <cstddef>
#include <istream>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.h"
#include "inet/api.h"
#include "inet/headermap.utf16.h"
#include "inet/transferstream.utf16.h"

// ==== header values

/// The text of a header value with its encoded words decoded (RFC 2047). What is no encoded word,
/// or cannot be decoded, stays as it is. Blanks go that have nothing but "=?" or an encoded word,
/// or the start or end of the text, on either side. Octets of 0x80 and above are read as the
/// lenient US-ASCII conversion does.
VTINETLIB_API Zeb_String decodeRFC2047Words(const std::string& text);

/// What RFC2822Lexer::nextToken finds.
enum class RFC2822TokenKind : unsigned {
    Whitespace = 0,
    Comment = 1,
    Special = 2,  // one character; an octet of 0x80 or above as its sign-extended unit
    QuotedString = 3,
    Atom = 4,
    End = 5,
    Error = 6,  // a quoted string or comment without an end
};

/// Whether a result of nextToken is this kind.
inline bool operator==(unsigned kind, RFC2822TokenKind known) {
    return kind == static_cast<unsigned>(known);
}

/// Cuts a structured header value into tokens (RFC 5322, 3.2; RFC 2045, 5.1). A period is part of
/// an atom. The text of atoms, quoted strings and comments is decoded (decodeRFC2047Words).
class VTINETLIB_API RFC2822Lexer {
  public:
    /// In MIME mode "/", "?" and "=" are specials too.
    RFC2822Lexer(const std::string& text, bool mimeMode);
    ~RFC2822Lexer();
    RFC2822Lexer(const RFC2822Lexer&) = delete;
    RFC2822Lexer& operator=(const RFC2822Lexer&) = delete;

    /// The kind of the next token (RFC2822TokenKind), its text in `token`. With `skipBlanks` white
    /// space and comments are skipped, but for the ")" of a comment, which comes as a special.
    unsigned nextToken(Zeb_String& token, bool skipBlanks);

  private:
    friend class RFC2822Address;
    friend class MIMEHeaderValue;
    /// A text that is not copied.
    struct View {
        std::string_view text;
        bool mimeMode;
    };
    VTINETLIB_HIDDEN explicit RFC2822Lexer(const View& view);

    VTINETLIB_HIDDEN void takeWhitespace(Zeb_String* token);
    VTINETLIB_HIDDEN bool takeComment(Zeb_String* token);
    VTINETLIB_HIDDEN bool takeQuotedString(Zeb_String& token);
    VTINETLIB_HIDDEN void takeAtom(Zeb_String& token);
    VTINETLIB_HIDDEN void takeSpecial(Zeb_String& token);
    VTINETLIB_HIDDEN bool isAtomOctet(char c) const;

    const std::string copy_;
    const std::string_view text_;
    std::size_t position_ = 0;
    const bool mimeMode_;
};

/// A mailbox (RFC 5322, 3.4): a phrase and an address in angle brackets, or an address alone. The
/// local part is one word, the domain one atom; groups, routes and domain literals are refused,
/// and so is a mailbox with a comment in it.
class VTINETLIB_API RFC2822Address {
  public:
    /// Without name and address.
    RFC2822Address();
    /// A copy; so is what is assigned.
    RFC2822Address(const RFC2822Address&);
    /// As the copy constructor.
    RFC2822Address& operator=(const RFC2822Address&);
    /// From the raw text of one mailbox; of a malformed one, what was read of it.
    RFC2822Address(const std::string& text);  // NOLINT(google-explicit-constructor)
    /// As the constructor from text.
    RFC2822Address& operator=(const std::string& text);
    ~RFC2822Address();

    /// Reads one mailbox. Returns the kind of the token that follows it, its text in `next`; 6
    /// when the mailbox is malformed.
    unsigned parseOneAddress(RFC2822Lexer& lexer, Zeb_String& next);

    /// The mailboxes of a list, raw text. The list ends at the first malformed one, and behind one
    /// that no comma follows.
    static std::vector<RFC2822Address> parseAddresses(const std::string& text);

    /// Decoded; empty when there is none.
    Zeb_String getName() const { return name_; }
    /// Local part, "@", domain.
    Zeb_String getSMTPAddress() const { return smtpAddress_; }

  private:
    VTINETLIB_HIDDEN unsigned parseAngleAddress(RFC2822Lexer& lexer, Zeb_String& next);

    Zeb_String smtpAddress_;
    Zeb_String name_;
};

/// A structured MIME value (RFC 2045, 5.1): VALUE[/SUBVALUE] *(; NAME=TEXT), for example that of
/// Content-Type. Continued and extended parameters (RFC 2231) are put together and decoded.
class VTINETLIB_API MIMEHeaderValue {
  public:
    /// By name; of a name that is given twice the first spelling and the last text. Continued ones
    /// come last, at the end of the value.
    using Parameters = std::map<Zeb_String, Zeb_String, CaseInsensitiveLess>;

    /// Without value, subvalue and parameters.
    MIMEHeaderValue();
    /// A copy; so is what is assigned.
    MIMEHeaderValue(const MIMEHeaderValue&);
    /// As the copy constructor.
    MIMEHeaderValue& operator=(const MIMEHeaderValue&);
    /// From the raw text of a field; of a malformed one, what stands before the first fault.
    /// Continued parameters are kept only when there is no fault.
    MIMEHeaderValue(const std::string& text);  // NOLINT(google-explicit-constructor)
    /// As the constructor from text.
    MIMEHeaderValue& operator=(const std::string& text);
    ~MIMEHeaderValue();

    /// As written.
    Zeb_String getValue() const { return value_; }
    /// Empty when there is none.
    Zeb_String getSubvalue() const { return subvalue_; }
    /// The decoded text of a parameter; `defaultValue` when there is none of that name.
    Zeb_String getParameter(const Zeb_String& name, const Zeb_String& defaultValue) const;
    /// All parameters, decoded.
    const Parameters& getParameters() const { return parameters_; }

  private:
    VTINETLIB_HIDDEN void parse(const std::string& text);

    Zeb_String value_;
    Zeb_String subvalue_;
    Parameters parameters_;
};

/// The text of an extended parameter value, charset'language'text with "%" escapes in upper-case
/// hexadecimal (RFC 2231, 4); `value` itself when it cannot be decoded.
VTINETLIB_API Zeb_String RFC2184Decode(const Zeb_String& value);

// ==== entities

// Kept: destructors are not virtual, and no decoder destroys those below it.
// NOLINTBEGIN(cppcoreguidelines-virtual-class-destructor)

class BlockSource;
class DecodeGuard;
class EntityInput;
class TextSource;
class MIMETextDecoder;
class MIMEBinaryDecoder;
class MIMEMultipartDecoder;
class RFC2822Decoder;

/// An entity (RFC 2045, 2.4): the message itself, an embedded message, a body part. Complete when
/// its constructor returns; the stream that it was read from is not used any more. Destroyed
/// through its own class, and by the caller: a decoder does not own its children.
class VTINETLIB_API MIMEDecoder {
  public:
    /// The entity of a header block that has been read; its body follows in `in`, up to the end.
    MIMEDecoder(const HeaderMap& headers, std::istream& in);
    MIMEDecoder(const MIMEDecoder&) = delete;
    MIMEDecoder& operator=(const MIMEDecoder&) = delete;

    /// Exactly one of the four is true.
    virtual bool isText() const;
    /// As isText.
    virtual bool isBinary() const;
    /// As isText.
    virtual bool isMultipart() const;
    /// As isText.
    virtual bool isMessage() const;
    /// Itself as its own class, or null.
    virtual MIMETextDecoder* getTextDecoder();
    /// As getTextDecoder.
    virtual MIMEBinaryDecoder* getBinaryDecoder();
    /// As getTextDecoder.
    virtual MIMEMultipartDecoder* getMultipartDecoder();
    /// As getTextDecoder.
    virtual RFC2822Decoder* getMessageDecoder();

    /// Reads a header block, up to and including the blank line that ends it. A line without a
    /// colon and a field without a value are dropped.
    static void readHeaders(HeaderMap& headers, std::istream& in);
    /// Reads an entity, header block and body, to the end of the stream. The caller owns it.
    static MIMEDecoder* getDecoder(std::istream& in);

    /// The value of a field, empty when there is none.
    std::string getRawHeader(const Zeb_String& name) const;
    /// The value of a field, else `defaultValue`, parsed.
    MIMEHeaderValue getMIMEHeader(const Zeb_String& name, const std::string& defaultValue) const;
    /// The header block of the entity.
    const HeaderMap& getHeaders() const { return headers_; }

    /// What the body is read through: Content-Transfer-Encoding decides. Only of use while the
    /// stream that the entity is built from exists.
    std::streambuf* getTransferStreambuf();

  protected:
    ~MIMEDecoder();

    VTINETLIB_HIDDEN MIMEDecoder(HeaderMap&& headers, const EntityInput& input);
    VTINETLIB_HIDDEN static MIMEDecoder* build(HeaderMap&& headers, std::streambuf& source,
                                               TextSource* text, DecodeGuard* guard);
    VTINETLIB_HIDDEN static MIMEDecoder* buildFrom(std::streambuf& source, DecodeGuard* guard);
    VTINETLIB_HIDDEN static MIMEDecoder* buildFrom(TextSource& source, DecodeGuard* guard);
    VTINETLIB_HIDDEN static MIMEDecoder* buildInBlocks(BlockSource& source, DecodeGuard& guard);
    template <typename Decoder>
    VTINETLIB_HIDDEN static MIMEDecoder* construct(HeaderMap&& headers, const EntityInput& input,
                                                   DecodeGuard* guard);
    /// The value of a field, null when there is none.
    VTINETLIB_HIDDEN const std::string* findHeader(const Zeb_String& name) const;

  private:
    friend class BodySource;
    friend class RFC2822Decoder;

    HeaderMap headers_;
    std::streambuf* source_;
    std::unique_ptr<std::streambuf> filter_;  // over source_, once it has been asked for
};

/// An entity of media type text, or without Content-Type.
class VTINETLIB_API MIMETextDecoder final : public MIMEDecoder {
  public:
    /// Reads the body to the end of `in`.
    MIMETextDecoder(const HeaderMap& headers, std::istream& in);
    ~MIMETextDecoder();

    bool isText() const override;
    MIMETextDecoder* getTextDecoder() override;

    /// Writes the body as wide text; octets that its charset does not know are replaced.
    void getText(std::basic_ostream<unsigned short>& out) const;
    /// Octets, after transfer decoding.
    const std::string& getBody() const { return body_; }
    /// As declared, else US-ASCII. In guarded decoding an unknown name ends behind 128 units.
    const Zeb_String& getCharsetName() const { return charsetName_; }

  private:
    friend class MIMEDecoder;
    VTINETLIB_HIDDEN MIMETextDecoder(HeaderMap&& headers, const EntityInput& input,
                                     DecodeGuard* guard);

    std::string body_;
    Zeb_String charsetName_;
};

/// An entity that is neither text nor a container.
class VTINETLIB_API MIMEBinaryDecoder final : public MIMEDecoder {
  public:
    /// Reads the body to the end of `in`.
    MIMEBinaryDecoder(const HeaderMap& headers, std::istream& in);
    ~MIMEBinaryDecoder();

    bool isBinary() const override;
    MIMEBinaryDecoder* getBinaryDecoder() override;

    /// Octets, after transfer decoding.
    const std::string& getBody() const { return body_; }

  private:
    friend class MIMEDecoder;
    VTINETLIB_HIDDEN MIMEBinaryDecoder(HeaderMap&& headers, const EntityInput& input,
                                       DecodeGuard* guard);

    std::string body_;
};

/// A multipart entity (RFC 2046, 5.1). Preamble and epilogue are dropped.
class VTINETLIB_API MIMEMultipartDecoder final : public MIMEDecoder {
  public:
    /// Kept: does not return when the body ends before the close delimiter, or does not hold the
    /// boundary.
    MIMEMultipartDecoder(const HeaderMap& headers, std::istream& in);
    ~MIMEMultipartDecoder();

    bool isMultipart() const override;
    MIMEMultipartDecoder* getMultipartDecoder() override;

    /// In the order of the body. Not owned by the multipart.
    const std::vector<MIMEDecoder*>& getParts() const { return parts_; }

  private:
    friend class MIMEDecoder;
    VTINETLIB_HIDDEN MIMEMultipartDecoder(HeaderMap&& headers, const EntityInput& input,
                                          DecodeGuard* guard);
    VTINETLIB_HIDDEN static MIMEDecoder* buildPart(TextSource& body, const std::string& delimiter,
                                                   DecodeGuard* guard);
    VTINETLIB_HIDDEN static MIMEDecoder* buildPart(std::streambuf& body,
                                                   const std::string& delimiter,
                                                   DecodeGuard* guard);

    std::vector<MIMEDecoder*> parts_;
};

/// A message (RFC 5322), received or embedded. The header questions are answered by the message's
/// own header block; getHeaders() is that of the entity that contains it, empty for a message that
/// was received.
class VTINETLIB_API RFC2822Decoder final : public MIMEDecoder {
  public:
    /// A received message, read to the end of the stream.
    explicit RFC2822Decoder(std::istream& in);
    /// An embedded one; `headers` are those of its entity.
    RFC2822Decoder(const HeaderMap& headers, std::istream& in);
    ~RFC2822Decoder();

    bool isMessage() const override;
    RFC2822Decoder* getMessageDecoder() override;

    /// A header field as text, decoded; empty when there is none.
    Zeb_String getHeader(const Zeb_String& name) const;
    /// Decoded; empty when there is none.
    Zeb_String getSubject() const;
    /// As getHeader gives it.
    Zeb_String getDate() const;
    /// The mailboxes of a header field; none when there is no such field.
    std::vector<RFC2822Address> parseAddressHeader(const Zeb_String& name) const;
    /// The one mailbox of Sender, else the one mailbox of From, else an empty one.
    RFC2822Address getSender() const;
    /// The mailboxes of To.
    std::vector<RFC2822Address> getTo() const;
    /// The mailboxes of Cc.
    std::vector<RFC2822Address> getCc() const;

    /// Header block and body of the message. Never null; not owned by the decoder.
    MIMEDecoder* getMessageEntity() const { return entity_; }

  private:
    friend class MIMEDecoder;
    friend class GuardedMessage;
    VTINETLIB_HIDDEN RFC2822Decoder(std::istream& in, DecodeGuard* guard);
    VTINETLIB_HIDDEN RFC2822Decoder(HeaderMap&& headers, const EntityInput& input,
                                    DecodeGuard* guard);

    std::string messageText_;  // empty when guarded
    MIMEDecoder* entity_;
};

// NOLINTEND(cppcoreguidelines-virtual-class-destructor)
