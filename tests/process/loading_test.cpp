// SPDX-License-Identifier: Apache-2.0
// A process that loads the library and lets go of it, again and again. Not linked with it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr int rounds = 1000;

/// What the process holds.
struct Holdings {
    std::size_t residentPages = 0;
    std::ptrdiff_t mappings = 0;
    std::ptrdiff_t descriptors = 0;
};

Holdings holdings() {
    Holdings held;
    std::size_t virtualPages = 0;
    std::ifstream("/proc/self/statm") >> virtualPages >> held.residentPages;
    std::ifstream maps("/proc/self/maps");
    held.mappings = std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
    const std::filesystem::directory_iterator open("/proc/self/fd");
    held.descriptors = std::distance(begin(open), end(open));
    return held;
}

/// Empty, or why the library could not be used.
std::string loadOnce() {
    void* const library = dlopen(VTINETLIB, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return dlerror();
    auto* const print = reinterpret_cast<void (*)()>(dlsym(library, "libvtinetlib_print_verid"));
    if (print == nullptr) return dlerror();
    print();
    return dlclose(library) == 0 ? std::string() : dlerror();
}

TEST(Loading, leavesNothingBehind) {
    Holdings early = holdings();  // looking takes memory, the first time
    for (int i = 0; i < rounds; ++i) {
        if (i == rounds / 4) early = holdings();
        ASSERT_EQ(loadOnce(), "") << i;
    }
    const Holdings late = holdings();
    EXPECT_LE(late.residentPages, early.residentPages + 16);
    EXPECT_EQ(late.mappings, early.mappings);
    EXPECT_EQ(late.descriptors, early.descriptors);
}

TEST(Loading, isUndoneWhenTheLastUserIsGone) {
    ASSERT_EQ(loadOnce(), "");
    EXPECT_EQ(dlopen(VTINETLIB, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace
