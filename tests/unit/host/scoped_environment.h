// SPDX-License-Identifier: Apache-2.0
// An environment variable for the length of a test.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

/// Sets (or, without a value, unsets) one variable; the destructor brings the old state back.
class ScopedEnvironment {
  public:
    ScopedEnvironment(const char* name, std::optional<std::string> value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        put(value);
    }
    ~ScopedEnvironment() { put(old_); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    void put(const std::optional<std::string>& value) const {
        if (value)
            setenv(name_, value->c_str(), 1);
        else
            unsetenv(name_);
    }

    const char* name_;
    std::optional<std::string> old_;
};
