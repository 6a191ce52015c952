// SPDX-License-Identifier: Apache-2.0
// Decodes mail that is made to hurt, each in a process of its own, and prints what it took.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "inet/guardedmessage.utf16.h"

namespace {

/// A mail that is made as it is read: a beginning, a piece many times, an end.
struct Mail {
    std::string name;
    std::string beginning;
    std::size_t count;
    std::function<std::string(std::size_t)> piece;
    std::string end;
};

class MailSource : public std::streambuf {
  public:
    explicit MailSource(const Mail& mail) : mail_(mail) { provide(mail.beginning); }

    std::size_t size() const { return size_; }

  protected:
    int_type underflow() override {
        while (gptr() == egptr() && next_ <= mail_.count) {
            provide(next_ < mail_.count ? mail_.piece(next_) : mail_.end);
            ++next_;
        }
        return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
    }

  private:
    void provide(std::string octets) {
        octets_ = std::move(octets);
        size_ += octets_.size();
        setg(octets_.data(), octets_.data(), octets_.data() + octets_.size());
    }

    const Mail& mail_;
    std::string octets_;
    std::size_t next_ = 0;
    std::size_t size_ = 0;
};

std::function<std::string(std::size_t)> always(const std::string& piece) {
    return [piece](std::size_t) { return piece; };
}

std::string nestedMultipart(std::size_t level) {
    const std::string boundary = "b" + std::to_string(level) + "x";
    return "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
}

std::vector<Mail> hostileMails() {
    const std::string multipart = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    const std::string block(1 << 16, 'x');
    const std::string lines = [] {
        std::string text;
        for (int i = 0; i < 1000; ++i)
            text += "--a line like a delimiter, but for its boundary\r\n";
        return text;
    }();
    return {
        {"multiparts in multiparts, 100,000", "", 100000, nestedMultipart, ""},
        {"messages in messages, 100,000", "", 100000,
         always("Content-Type: message/rfc822\r\n\r\n"), ""},
        {"empty parts, 5,000,000", multipart, 5000000, always("--b\r\n"), "--b--\r\n"},
        {"name*2147483647=x", "Content-Type: a/b; name*2147483647=x\r\n\r\n", 0, {}, ""},
        {"a header line of 1 GiB", "Subject: ", 1 << 14, always(block), "\r\n\r\n"},
        {"header lines, 2,000,000", "", 2000000, always("X-Name: value\r\n"), "\r\n"},
        {"a boundary that never occurs", multipart, 1000, always(lines), ""},
        {"an empty boundary", "Content-Type: multipart/mixed\r\n\r\n", 1000, always(lines), ""},
        {"escapes that are none, 10,000,000", "Content-Transfer-Encoding: quoted-printable\r\n\r\n",
         10000, always([] {
             std::string text;
             for (int i = 0; i < 1000; ++i) text += "=zz";
             return text;
         }()),
         ""},
    };
}

double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double peakMebibytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

void decode(const Mail& mail) {
    const double before = peakMebibytes();
    MailSource source(mail);
    std::istream in(&source);
    std::string defect = "no defect";
    std::size_t defects = 0;
    const double taken = seconds([&] {
        const GuardedMessage message(in);
        defects = message.getDefectCount();
        if (defects > 0) defect = message.getDefects().front().describe();
    });
    std::printf("%-36s %8.1f %8.2f %8.1f %9zu  %.70s\n", mail.name.c_str(),
                static_cast<double>(source.size()) / (1 << 20), taken, peakMebibytes() - before,
                defects, defect.c_str());
    std::fflush(stdout);
}

/// A nested multipart, cut off behind each of its octets.
void decodeEveryCut() {
    const std::string whole =
        "Content-Type: multipart/mixed; boundary=out\r\n\r\npreamble\r\n--out\r\n"
        "Content-Type: multipart/alternative; boundary=in\r\n\r\n--in\r\n\r\none\r\n--in\r\n"
        "Content-Transfer-Encoding: quoted-printable\r\n\r\ntw=6F=\r\n\r\n--in--\r\nepilogue\r\n"
        "--out\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\ntext\r\n--out--\r\n";
    std::size_t defects = 0;
    const double taken = seconds([&] {
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            std::istringstream in(whole.substr(0, length));
            defects += GuardedMessage(in).getDefectCount();
        }
    });
    std::printf("%-36s %8zu cuts, %.2f s, %zu defects\n", "a nested multipart, cut everywhere",
                whole.size() + 1, taken, defects);
    std::fflush(stdout);
}

/// False when the child did not end well.
bool inChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(300);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) std::printf("it ended with status %#x\n", static_cast<unsigned>(status));
    return status == 0;
}

}  // namespace

int main() {
    std::printf("%-36s %8s %8s %8s %9s  %s\n", "mail", "MiB", "s", "peak MiB", "defects", "first");
    std::fflush(stdout);
    bool isGood = true;
    for (const Mail& mail : hostileMails()) isGood &= inChild([&] { decode(mail); });
    isGood &= inChild(decodeEveryCut);
    return isGood ? 0 : 1;
}
