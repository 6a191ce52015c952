// SPDX-License-Identifier: Apache-2.0
// All host services in one include.
//
// The mail library asks its host for wide text, charsets, settings, diagnostics, the message
// catalog, date and time. This is the stock implementation on Linux; a product that has these
// services puts its own shared object with the same names in the place of libvthost.so.
#pragma once

#include "host/adcharset.h"
#include "host/addatetime.h"
#include "host/addiagnostic.h"
#include "host/catalog.h"
#include "host/cstringarray.h"
#include "host/exceptions.h"
#include "host/format.h"
#include "host/hux_dir_table.h"
#include "host/printable.h"
#include "host/sov_settings.h"
#include "host/tcstoul.h"
#include "host/zeb_condition.h"
#include "host/zeb_string.h"
