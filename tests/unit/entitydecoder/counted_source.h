// SPDX-License-Identifier: Apache-2.0
// Watching a child process that reads behind the end of its source.
#pragma once

#include <poll.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <new>
#include <streambuf>

/// A number that parent and child see.
class SharedCounter {
  public:
    SharedCounter() {
        void* const page = mmap(nullptr, sizeof *number_, PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) throw std::bad_alloc();
        number_ = new (page) std::atomic<unsigned long>(0);
    }
    ~SharedCounter() { munmap(number_, sizeof *number_); }
    SharedCounter(const SharedCounter&) = delete;
    SharedCounter& operator=(const SharedCounter&) = delete;

    void increment() const { number_->fetch_add(1); }
    unsigned long value() const { return *number_; }

    /// False when the number is not reached within 30 seconds.
    bool waitUntil(unsigned long number) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (value() < number) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            poll(nullptr, 0, 1);
        }
        return true;
    }

  private:
    std::atomic<unsigned long>* number_ = nullptr;
};

/// Hands on the octets of a buffer, and counts how often it is read behind their end.
class CountedSource : public std::streambuf {
  public:
    CountedSource(std::streambuf& source, const SharedCounter& readsAtEnd)
        : source_(source), readsAtEnd_(readsAtEnd) {}

  protected:
    int_type underflow() override { return counted(source_.sgetc()); }
    int_type uflow() override { return counted(source_.sbumpc()); }

  private:
    int_type counted(int_type octet) const {
        if (octet == traits_type::eof()) readsAtEnd_.increment();
        return octet;
    }

    std::streambuf& source_;
    const SharedCounter& readsAtEnd_;
};
