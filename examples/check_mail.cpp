// SPDX-License-Identifier: Apache-2.0
// Reads a mail from standard input, with limits of its own, and tells what is wrong with it.
#include <iostream>

#include "inet/guardedmessage.utf16.h"

int main() {
    MIMELimits limits;
    limits.depth = 10;
    limits.entities = 200;
    limits.headerSize = 64 << 10;  // octets
    limits.defects = 20;

    const GuardedMessage mail(std::cin, limits);
    for (const MIMEDefect& defect : mail.getDefects())
        std::cout << defect.name() << " in entity " << defect.entity << " at octet "
                  << defect.offset << "\n";
    const auto more = mail.getDefectCount() - mail.getDefects().size();
    if (more > 0) std::cout << "and " << more << " more\n";
    return mail.getDefectCount() == 0 ? 0 : 1;
}
