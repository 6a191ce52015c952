// SPDX-License-Identifier: Apache-2.0
// Reads a message with guarded decoding and all that a host asks of it, on a thread with a stack
// of 256 KiB.
#include <pthread.h>

#include <algorithm>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <streambuf>

#include "bench/scaling/cell.h"
#include "inet/guardedmessage.utf16.h"

namespace {

constexpr std::size_t stackSize = 256 << 10;

/// Counts the code units that are written to it and drops them.
class UnitCounter : public std::basic_streambuf<unsigned short> {
  public:
    std::size_t count() const { return count_; }

  protected:
    std::streamsize xsputn(const unsigned short*, std::streamsize count) override {
        count_ += static_cast<std::size_t>(count);
        return count;
    }
    int_type overflow(int_type) override {
        ++count_;
        return 0;
    }

  private:
    std::size_t count_ = 0;
};

/// Asks each entity of a tree for what it has; recursive, as hosts will be.
class Reading {
  public:
    void readMessage(const RFC2822Decoder& message, std::size_t level) {
        message.getSubject();
        message.getDate();
        const RFC2822Address sender = message.getSender();
        if (!sender.getSMTPAddress().IsEmpty()) ++found.addresses;
        found.addresses += message.getTo().size() + message.getCc().size();
        readEntity(*message.getMessageEntity(), level);
    }

    void readEntity(MIMEDecoder& entity, std::size_t level) {
        ++found.entities;
        found.levels = std::max(found.levels, level);
        readFields(entity);
        if (const MIMETextDecoder* const text = entity.getTextDecoder()) readText(*text);
        if (const MIMEBinaryDecoder* const binary = entity.getBinaryDecoder())
            found.octets += binary->getBody().size();
        if (const MIMEMultipartDecoder* const multipart = entity.getMultipartDecoder())
            for (MIMEDecoder* const part : multipart->getParts()) readEntity(*part, level + 1);
        if (const RFC2822Decoder* const message = entity.getMessageDecoder())
            readMessage(*message, level + 1);
    }

    Found found;

  private:
    static void readFields(const MIMEDecoder& entity) {
        entity.getMIMEHeader(u"Content-Type", "text/plain").getParameter(u"name", u"");
        entity.getMIMEHeader(u"Content-Disposition", "inline").getParameter(u"filename", u"");
        decodeRFC2047Words(entity.getRawHeader(u"Content-Description"));
    }

    void readText(const MIMETextDecoder& text) {
        UnitCounter units;
        std::basic_ostream<unsigned short> out(&units);
        text.getText(out);
        found.octets += text.getBody().size();
        if (units.count() == 0 && !text.getBody().empty())
            throw std::logic_error("a text was lost");
    }
};

struct Task {
    const std::string& file;
    Found found;
    std::exception_ptr failure;
};

Found readFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + file);
    const GuardedMessage message(in);
    Reading reading;
    reading.readMessage(message.getMessage(), 1);
    for (const MIMEDefect& defect : message.getDefects()) ++reading.found.defects[defect.name()];
    return reading.found;
}

void* runTask(void* argument) {
    auto& task = *static_cast<Task*>(argument);
    try {
        task.found = readFile(task.file);
    } catch (...) {
        task.failure = std::current_exception();
    }
    return nullptr;
}

Found onSmallStack(const std::string& file) {
    Task task{file, {}, nullptr};
    pthread_attr_t attributes{};
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_t thread{};
    const int failure = pthread_create(&thread, &attributes, runTask, &task);
    pthread_attr_destroy(&attributes);
    if (failure != 0) throw std::runtime_error("cannot make a thread");
    pthread_join(thread, nullptr);
    if (task.failure) std::rethrow_exception(task.failure);
    return task.found;
}

}  // namespace

int main(int argc, char** argv) { return runCell(argc, argv, onSmallStack); }
