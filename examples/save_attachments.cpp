// SPDX-License-Identifier: Apache-2.0
// Reads a mail from standard input and saves its attachments: save_attachments FOLDER
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "inet/guardedmessage.utf16.h"

namespace {

// The sender chose the name: no folder of it is followed, and no file is replaced.
std::filesystem::path safePath(const std::filesystem::path& folder, const Zeb_String& name) {
    std::string plain = Printable(name);
    plain = plain.substr(plain.find_last_of("/\\") + 1);
    if (plain.empty() || plain.front() == '.') plain = "attachment" + plain;
    std::filesystem::path path = folder / plain;
    for (int copy = 2; std::filesystem::exists(std::filesystem::symlink_status(path)); ++copy)
        path = folder / (std::to_string(copy) + "-" + plain);
    return path;
}

void save(const std::filesystem::path& folder, MIMEDecoder& entity, const std::string& octets) {
    const MIMEHeaderValue disposition = entity.getMIMEHeader(u"Content-Disposition", "");
    const Zeb_String name = disposition.getParameter(u"filename", u"");
    if (name.IsEmpty()) return;
    const std::filesystem::path path = safePath(folder, name);
    std::ofstream file(path, std::ios::binary);
    if (file.write(octets.data(), static_cast<std::streamsize>(octets.size())).flush())
        std::cout << path.string() << "\n";
    else
        std::cerr << "cannot write " << path.string() << "\n";
}

// Guarded decoding has bounded the depth.
void saveBelow(const std::filesystem::path& folder, MIMEDecoder& entity) {
    if (const MIMETextDecoder* text = entity.getTextDecoder())
        save(folder, entity, text->getBody());
    if (const MIMEBinaryDecoder* binary = entity.getBinaryDecoder())
        save(folder, entity, binary->getBody());
    if (const MIMEMultipartDecoder* multipart = entity.getMultipartDecoder())
        for (MIMEDecoder* part : multipart->getParts()) saveBelow(folder, *part);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: save_attachments FOLDER <MAIL\n";
        return 2;
    }
    const GuardedMessage mail(std::cin);
    saveBelow(argv[1], *mail.getMessage().getMessageEntity());
}
