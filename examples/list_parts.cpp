// SPDX-License-Identifier: Apache-2.0
// Reads a mail from standard input and lists its parts as a tree.
#include <cstddef>
#include <iostream>
#include <string>

#include "inet/guardedmessage.utf16.h"

namespace {

std::string describe(MIMEDecoder& entity) {
    const MIMEHeaderValue type = entity.getMIMEHeader(u"Content-Type", "text/plain");
    return Printable(type.getValue()) + "/" + Printable(type.getSubvalue());
}

// Guarded decoding has bounded the depth.
void list(MIMEDecoder& entity, std::size_t depth) {
    std::cout << std::string(2 * depth, ' ') << describe(entity);
    if (const MIMETextDecoder* text = entity.getTextDecoder())
        std::cout << ", " << text->getBody().size() << " octets";
    if (const MIMEBinaryDecoder* binary = entity.getBinaryDecoder())
        std::cout << ", " << binary->getBody().size() << " octets";
    std::cout << "\n";
    if (const MIMEMultipartDecoder* multipart = entity.getMultipartDecoder())
        for (MIMEDecoder* part : multipart->getParts()) list(*part, depth + 1);
    if (const RFC2822Decoder* message = entity.getMessageDecoder())
        list(*message->getMessageEntity(), depth + 1);
}

}  // namespace

int main() {
    const GuardedMessage mail(std::cin);
    const RFC2822Decoder& message = mail.getMessage();
    std::cout << "Subject: " << Printable(message.getSubject()) << "\n";
    for (const RFC2822Address& to : message.getTo())
        std::cout << "To: " << Printable(to.getName()) << " <" << Printable(to.getSMTPAddress())
                  << ">\n";
    list(*message.getMessageEntity(), 0);
}
