// SPDX-License-Identifier: Apache-2.0
#include "bench/net/cell.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "bench/net/mails.h"
#include "bench/net/servers.h"

namespace {

/// What one cell does.
struct Row {
    std::string_view name;
    std::size_t mailSize;  // octets
    int mails;             // in one session
    bool isDelivery;
};

constexpr std::size_t smallMail = std::size_t{4} << 10;
constexpr std::size_t largeMail = std::size_t{50} << 20;

constexpr Row rows[] = {
    {"deliver_4k", smallMail, 1, true},
    {"deliver_50m", largeMail, 1, true},
    {"fetch_4k", smallMail, 2000, false},
    {"fetch_50m", largeMail, 1, false},
};

Row quick(Row row) {
    row.mailSize = std::min(row.mailSize, std::size_t{300} << 10);
    row.mails = std::min(row.mails, 20);
    return row;
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Of this process, without the servers.
double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

void expect(bool isMet, const char* what) {
    if (!isMet) throw std::runtime_error(what);
}

/// One row for one library.
class Bench {
  public:
    Bench(const Row& row, NetClient& client)
        : row_(row),
          client_(client),
          mail_(makeMail(row.mailSize)),
          server_(serverFor(row, mail_)) {}

    void check() {
        if (row_.isDelivery)
            checkDelivery();
        else
            checkFetch();
    }

    void measure() {
        const Cost cost = costOf([this] { runSession(); });
        if (row_.isDelivery) checkCount(cost.runs);
        const auto mails = static_cast<std::size_t>(row_.mails);
        printCost(std::string(row_.name), cost, mails * mail_.size(), row_.mails);
    }

  private:
    static Server serverFor(const Row& row, const std::string& mail) {
        if (row.isDelivery) return Server(serveSmtp);
        const Mailbox mailbox(mail, row.mails);
        return Server([&](int connection, Taken&) { servePop3(connection, mailbox); });
    }

    void runSession() {
        if (row_.isDelivery) return client_.deliver(server_.port(), mail_);
        std::size_t octets = 0;
        client_.fetch(server_.port(), row_.mails,
                      [&](std::string_view mail) { octets += mail.size(); });
        expect(octets == octetsOfSession_, "octets were lost");
    }

    void checkDelivery() {
        Taken& taken = server_.taken();
        taken.isDigesting = true;
        client_.deliver(server_.port(), mail_);
        taken.isDigesting = false;
        const std::string wire = stuffed(mail_);
        Digest digest;
        digest.add(wire);
        checkCount(0);
        expect(taken.octets == wire.size() && taken.digest == digest.value(),
               "the server got something else");
    }

    /// Of the mails since the one of the check.
    void checkCount(std::uint64_t mails) {
        const Taken& taken = server_.taken();
        expect(taken.messages == mails + 1, "mails were lost");
        expect(taken.octets % taken.messages == 0, "octets were lost");
    }

    void checkFetch() {
        const std::uint64_t expected = textDigest(mail_);
        int mails = 0;
        client_.fetch(server_.port(), row_.mails, [&](std::string_view mail) {
            ++mails;
            octetsOfSession_ += mail.size();
            expect(textDigest(mail) == expected, "something else was fetched");
        });
        expect(mails == row_.mails, "mails were lost");
    }

    const Row row_;
    NetClient& client_;
    const std::string mail_;
    Server server_;
    std::size_t octetsOfSession_ = 0;
};

void runRow(const Row& row, bool isQuick, NetClient& client) {
    Bench bench(isQuick ? quick(row) : row, client);
    bench.check();
    if (!isQuick) bench.measure();
}

}  // namespace

Cost costOf(const std::function<void()>& work) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds wanted(500);
    const double cpuBefore = cpuSeconds();
    const Clock::time_point before = Clock::now();
    Clock::duration passed{};
    std::uint64_t runs = 0;
    for (; passed < wanted; ++runs) {
        work();
        passed = Clock::now() - before;
    }
    const auto count = static_cast<double>(runs);
    return {std::chrono::duration<double>(passed).count() / count,
            (cpuSeconds() - cpuBefore) / count, runs};
}

void beginNetCell() {
    constexpr unsigned limit = 60;  // seconds
    alarm(limit);
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof allowed, &allowed);
    std::size_t last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &allowed)) --last;
    CPU_ZERO(&allowed);
    CPU_SET(last, &allowed);
    sched_setaffinity(0, sizeof allowed, &allowed);
}

void printCost(const std::string& row, const Cost& cost, std::size_t octets, int mails) {
    std::printf(
        "{\"row\": \"%s\", \"mails_per_second\": %.6g, \"octets_per_second\": %.6g, "
        "\"cpu_us_per_mail\": %.6g, \"mails\": %.0f}\n",
        row.c_str(), mails / cost.seconds, static_cast<double>(octets) / cost.seconds,
        cost.cpuSeconds * 1e6 / mails, static_cast<double>(cost.runs) * mails);
}

int runNetCell(int argc, char** argv, NetClient& client) {
    const std::string_view name = argc == 2 ? argv[1] : "";
    const bool isQuick = name == "--quick";
    bool isKnown = false;
    beginNetCell();
    try {
        for (const Row& row : rows) {
            if (!isQuick && name != row.name) continue;
            isKnown = true;
            runRow(row, isQuick, client);
        }
        expect(isKnown, "one argument: a row, or --quick");
    } catch (const std::exception& error) {
        std::cerr << argv[0] << ' ' << name << ": " << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
