// SPDX-License-Identifier: Apache-2.0
// The work of own_driver.cpp, done by POCO, which takes apart the outermost multipart only, and
// reads neither addresses nor text.
#include <Poco/Net/MailMessage.h>
#include <Poco/Net/PartHandler.h>
#include <Poco/StreamCopier.h>

#include <fstream>
#include <stdexcept>

#include "bench/scaling/cell.h"

namespace {

class Leaves : public Poco::Net::PartHandler {
  public:
    explicit Leaves(Found& found) : found_(found) {}

    void handlePart(const Poco::Net::MessageHeader&, std::istream& in) override {
        std::string octets;
        Poco::StreamCopier::copyToString(in, octets);
        ++found_.entities;
        found_.levels = 2;
        found_.octets += octets.size();
    }

  private:
    Found& found_;
};

Found readFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + file);
    Found found;
    found.entities = 1;
    found.levels = 1;
    Leaves leaves(found);
    Poco::Net::MailMessage message;
    message.read(in, leaves);
    message.getSubject();
    message.getSender();
    found.octets += message.getContent().size();
    return found;
}

}  // namespace

int main(int argc, char** argv) { return runCell(argc, argv, readFile); }
