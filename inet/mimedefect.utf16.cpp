// SPDX-License-Identifier: Apache-2.0
#include "inet/mimedefect.utf16.h"

namespace {

struct DefectText {
    const char* name;
    const char* sentence;
};

/// In the order of MIMEDefect::Kind.
constexpr DefectText defectTexts[] = {
    {"lineWithoutColon", "a line of the header has no colon and was dropped"},
    {"headerTooLarge", "the header is too large; the end of it, or of a value, was dropped"},
    {"unknownTransferEncoding", "the transfer encoding is not known; the body is as it came"},
    {"malformedQuotedPrintable", "a quoted-printable escape is malformed and was dropped"},
    {"malformedBase64", "the end of the base64 data is missing"},
    {"unknownCharset", "the charset is not known"},
    {"noBoundary", "the multipart has no boundary"},
    {"blankLineBeforeParts", "an empty line with a bare line feed stands before the first part"},
    {"unclosedMultipart", "the multipart has no end"},
    {"tooDeep", "the entity lies too deep and was not taken apart"},
    {"tooManyEntities", "there are too many entities; the further ones were dropped"},
};

const DefectText& textOf(MIMEDefect::Kind kind) {
    return defectTexts[static_cast<std::size_t>(kind)];
}

}  // namespace

const char* MIMEDefect::name() const { return textOf(kind).name; }

std::string MIMEDefect::describe() const {
    return "entity " + entity + ", octet " + std::to_string(offset) + ": " + textOf(kind).sentence;
}
