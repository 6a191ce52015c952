// SPDX-License-Identifier: Apache-2.0
// Reads a mail from standard input and tells what is in it.
#include <iostream>

#include "inet/guardedmessage.utf16.h"

int main() {
    const GuardedMessage mail(std::cin);
    const RFC2822Decoder& message = mail.getMessage();
    std::cout << Printable(message.getSubject()) << "\n"
              << Printable(message.getSender().getSMTPAddress()) << "\n";
    MIMEDecoder* entity = message.getMessageEntity();
    if (const MIMETextDecoder* text = entity->getTextDecoder())
        std::cout << text->getBody().size() << " octets of text\n";
    if (const MIMEMultipartDecoder* multipart = entity->getMultipartDecoder())
        std::cout << multipart->getParts().size() << " parts\n";
    for (const MIMEDefect& defect : mail.getDefects()) std::cerr << defect.describe() << "\n";
}
