// SPDX-License-Identifier: Apache-2.0
// The host's exceptions.
//
// They do not derive from std::exception: a library that catches std::exception lets them
// through to the host, which is the only one to handle them.
#pragma once

#include "host/api.h"

/// Root of the host's class tree.
class VTHOST_API Zeb_Object {
  public:
    virtual ~Zeb_Object();

  protected:
    Zeb_Object() = default;
    Zeb_Object(const Zeb_Object&) = default;
    Zeb_Object& operator=(const Zeb_Object&) = default;
};

/// Root of the host's exceptions.
class VTHOST_API CException {
  public:
    virtual ~CException();

  protected:
    CException() = default;
    CException(const CException&) = default;
    CException& operator=(const CException&) = default;
};

/// A failure inside the host. Thrown by value, caught by reference.
class VTHOST_API Zeb_Core_Exception : public CException, public Zeb_Object {
  public:
    /// Requires: `reason` is a string literal (it is not copied).
    explicit Zeb_Core_Exception(const char* reason) : reason_(reason) {}
    ~Zeb_Core_Exception() override;

    /// Zero-terminated, in English. Owned by the program, valid for ever.
    const char* GetReason() const { return reason_; }

  private:
    const char* reason_;
};

/// An index outside a text or an array, or a text longer than an int can count.
class VTHOST_API Zeb_Range_Error : public Zeb_Core_Exception {
  public:
    using Zeb_Core_Exception::Zeb_Core_Exception;
    ~Zeb_Range_Error() override;
};
