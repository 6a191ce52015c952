// SPDX-License-Identifier: Apache-2.0
// The commands of vtmail. Each adds itself to the command line; what it does runs while that is
// parsed, and throws Failure.
#pragma once

#include <CLI/CLI.hpp>

void addSendCommand(CLI::App& program);
void addFetchCommand(CLI::App& program);
void addSettingsCommand(CLI::App& program);
void addSandboxCommand(CLI::App& program);
void addDemoCommand(CLI::App& program);
void addShowCommand(CLI::App& program);
