// SPDX-License-Identifier: Apache-2.0
#include "sandbox/message_folder.h"

#include <string>
#include <utility>

#include "sandbox/whole_file.h"

namespace sandbox {

MessageFolder::MessageFolder(std::filesystem::path folder) : folder_(std::move(folder)) {
    create_directories(folder_);
}

void MessageFolder::write(std::string_view message) {
    TemporaryFile file(folder_);
    file.write(message);
    while (!file.rename(nextFile())) {
    }
    syncFolder(folder_);
}

std::filesystem::path MessageFolder::nextFile() {
    std::string number = std::to_string(++number_);
    if (number.size() < 4) number.insert(0, 4 - number.size(), '0');
    return folder_ / ("message-" + number + ".eml");
}

}  // namespace sandbox
