// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/guardedmessage/small_stack.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include "tests/support/sanitized.h"

namespace {

void* run(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

}  // namespace

void onSmallStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    // A sanitizer makes each frame larger.
    const std::size_t kibibytes = isSanitized ? 8192 : 256;
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kibibytes << 10), 0);
    pthread_t thread{};
    std::function<void()> copy = work;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &copy), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(pthread_attr_destroy(&attributes), 0);
}
