// SPDX-License-Identifier: Apache-2.0
// Where the host keeps its files.
#pragma once

#include "host/api.h"
#include "host/zeb_string.h"

/// The host's table of directory names.
class VTHOST_API Hux_Dir_Table {
  public:
    /// The directory of the settings: $VTINETLIB_SETTINGS_DIR when set and not empty, else
    /// $XDG_CONFIG_HOME/vtinetlib when that is an absolute path, else ~/.config/vtinetlib.
    static constexpr int settings = 2;

    /// The name of directory `element` as the environment gives it now, without a final slash;
    /// empty for an element that this host does not use.
    static Zeb_String Get(int element);
};
