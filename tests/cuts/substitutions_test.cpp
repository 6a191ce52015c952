// SPDX-License-Identifier: Apache-2.0
// Mails with one octet spoilt: every octet of every seed message by every other octet, decoded with
// guard. All cores share the work.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <mutex>
#include <thread>

#include "tests/cuts/guarded_check.h"
#include "tests/cuts/seed_messages.h"
#include "tests/support/effort.h"
#include "tests/support/sanitized.h"

namespace {

constexpr std::size_t octetValues = 256;

/// A prime, so that the share meets all places and all values alike.
std::size_t shareStride() {
    if (isFullEffort()) return 1;
    return isSanitized ? 307 : 1009;
}

/// Substitutions by number: message, then place, then octet.
class Substitutions {
  public:
    explicit Substitutions(const std::vector<SeedMessage>& messages) : messages_(messages) {
        for (const SeedMessage& message : messages) size_ += message.octets.size() * octetValues;
    }

    std::size_t size() const { return size_; }

    /// Does those of `stride`, until one does not hold.
    void run(std::size_t stride) {
        std::vector<std::jthread> workers;
        const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
        for (unsigned i = 0; i < cores; ++i) workers.emplace_back([this, stride] { work(stride); });
    }

    std::size_t done() const { return done_; }
    const std::string& fault() const { return fault_; }

  private:
    void work(std::size_t stride) {
        constexpr std::size_t block = 64;
        std::vector<std::string> copies;
        for (const SeedMessage& message : messages_) copies.push_back(message.octets);
        for (;;) {
            const std::size_t first = next_.fetch_add(block * stride);
            for (std::size_t i = 0; i < block; ++i) {
                const std::size_t number = first + i * stride;
                if (number >= size_ || hasFault_) return;
                check(copies, number);
                ++done_;
            }
        }
    }

    void check(std::vector<std::string>& copies, std::size_t number) {
        std::size_t message = 0;
        std::size_t rest = number;
        for (; rest >= copies[message].size() * octetValues; ++message)
            rest -= copies[message].size() * octetValues;
        char& octet = copies[message][rest / octetValues];
        const char before = octet;
        octet = static_cast<char>(static_cast<unsigned char>(rest % octetValues));
        const std::string fault = faultOf(copies[message]);
        octet = before;
        if (fault.empty()) return;
        const std::lock_guard lock(mutex_);
        hasFault_ = true;
        fault_ = messages_[message].name + ", octet " + std::to_string(rest / octetValues) +
                 " as " + std::to_string(rest % octetValues) + ": " + fault;
    }

    const std::vector<SeedMessage>& messages_;
    std::size_t size_ = 0;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<std::size_t> done_ = 0;
    std::atomic<bool> hasFault_ = false;
    std::mutex mutex_;
    std::string fault_;
};

TEST(SingleOctetSubstitutions, AreDecodedWithGuard) {
    const std::vector<SeedMessage> messages = seedMessages();
    ASSERT_EQ(messages.size(), 12U);
    Substitutions substitutions(messages);
    const std::size_t stride = shareStride();
    const auto begin = std::chrono::steady_clock::now();
    substitutions.run(stride);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(substitutions.fault(), "");
    EXPECT_EQ(substitutions.done(), (substitutions.size() + stride - 1) / stride);
    std::cout << substitutions.done() << " of " << substitutions.size() << " substitutions, "
              << taken.count() << " s\n";
}

}  // namespace
