// SPDX-License-Identifier: Apache-2.0
// vtmail settings edit: the settings file in an editor.
#pragma once

/// Gives a copy of the file to the user's editor and puts it in the file's place when all of it
/// makes sense. Throws Failure when not, and keeps what was typed in a file that it names.
void editSettings();
