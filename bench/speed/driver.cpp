// SPDX-License-Identifier: Apache-2.0
#include "bench/speed/driver.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace {

class PrintingSink : public Sink {
  public:
    void take(std::string_view field, std::string_view octets) override {
        print(field, octets.data(), 1, octets.size());
    }
    void take(std::string_view field, const unsigned short* units, std::size_t count) override {
        print(field, units, sizeof *units, count);
    }
    void take(std::string_view field, std::size_t number) override {
        take(field, std::to_string(number));
    }

  private:
    static void print(std::string_view field, const void* data, std::size_t size,
                      std::size_t count) {
        std::printf("%.*s %zu %zu\n", static_cast<int>(field.size()), field.data(), size, count);
        if (std::fwrite(data, size, count, stdout) != count)
            throw std::runtime_error("cannot write");
        std::putchar('\n');
    }
};

}  // namespace

Records readRecords(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    Records records;
    for (std::string line; std::getline(in, line);) {
        std::string& record = records.emplace_back(std::stoul(line), '\0');
        in.read(record.data(), static_cast<std::streamsize>(record.size()));
    }
    if (records.empty() || !in.eof()) throw std::runtime_error("no records in " + file);
    return records;
}

void printFound(const Task& task) {
    PrintingSink sink;
    task(sink);
}

int runDriver(int argc, char** argv, const std::function<void(const Task&)>& use) {
    if (argc != 3) {
        std::cerr << "usage: " << argv[0] << " KIND FILE\n";
        return 2;
    }
    try {
        const Works all = works();
        const auto work = all.find(argv[1]);
        if (work == all.end()) return 3;
        const Records records = readRecords(argv[2]);
        use(work->second(records));
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return 0;
}
