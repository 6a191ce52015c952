// SPDX-License-Identifier: Apache-2.0
#include "host/exceptions.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>

#include "host/zeb_string.h"

namespace {

static_assert(std::is_base_of_v<CException, Zeb_Core_Exception>);
static_assert(std::is_base_of_v<Zeb_Object, Zeb_Core_Exception>);
static_assert(std::is_base_of_v<Zeb_Core_Exception, Zeb_Range_Error>);
static_assert(!std::is_base_of_v<std::exception, Zeb_Core_Exception>);
static_assert(!std::is_base_of_v<std::exception, Zeb_Range_Error>);
static_assert(std::has_virtual_destructor_v<CException>);
static_assert(std::has_virtual_destructor_v<Zeb_Object>);

template <typename Caught>
bool isCaughtAs() {
    try {
        static_cast<void>(Zeb_String(u"a")[1]);
    } catch (const Caught&) {
        return true;
    } catch (...) {
        return false;
    }
    return false;
}

TEST(Exceptions, RangeErrorIsCaughtAsEachOfItsBases) {
    EXPECT_TRUE(isCaughtAs<Zeb_Range_Error>());
    EXPECT_TRUE(isCaughtAs<Zeb_Core_Exception>());
    EXPECT_TRUE(isCaughtAs<CException>());
    EXPECT_TRUE(isCaughtAs<Zeb_Object>());
}

TEST(Exceptions, HandlersOfStandardExceptionsLetThemThrough) {
    EXPECT_FALSE(isCaughtAs<std::exception>());
}

TEST(Exceptions, KeepTheirReason) {
    EXPECT_STREQ("what happened", Zeb_Core_Exception("what happened").GetReason());
    const Zeb_Range_Error error("index");
    const Zeb_Core_Exception& base = error;
    EXPECT_STREQ("index", base.GetReason());
}

TEST(Exceptions, RangeErrorOfATextSaysWhatIsWrong) {
    try {
        static_cast<void>(Zeb_String(u"a")[1]);
        FAIL() << "nothing was thrown";
    } catch (const Zeb_Core_Exception& error) {
        EXPECT_GT(std::string(error.GetReason()).size(), 5u);
    }
}

}  // namespace
