// SPDX-License-Identifier: Apache-2.0
#include "host/exceptions.h"

// Out of line, so that the type information lives in one shared object and a catch in another
// one matches.
Zeb_Object::~Zeb_Object() = default;
CException::~CException() = default;
Zeb_Core_Exception::~Zeb_Core_Exception() = default;
Zeb_Range_Error::~Zeb_Range_Error() = default;
