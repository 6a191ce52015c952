// SPDX-License-Identifier: Apache-2.0
// Guarded decoding in tests: what was found, shown as text; messages that nobody stores.
#pragma once

#include <cstddef>
#include <functional>
#include <streambuf>
#include <string>
#include <vector>

#include "inet/guardedmessage.utf16.h"
#include "tests/support/sanitized.h"

using Defects = std::vector<std::string>;

/// Kind, entity and offset, as defectsOf shows them.
std::string defect(const std::string& kind, const std::string& entity, std::size_t offset);
Defects shown(const std::vector<MIMEDefect>& defects);
/// How far ahead the reading of a short last part is: its delimiter has been found.
std::size_t ahead(const std::string& boundary);
/// Those of a message.
Defects defectsOf(const std::string& text, const MIMELimits& limits = {});
/// The tree of a message, as dump shows it.
std::string guardedDump(const std::string& text, const MIMELimits& limits = {});

/// A text, a number of times another one, and a last one, none of them stored more than once.
class GeneratedSource : public std::streambuf {
  public:
    GeneratedSource(std::string first, const std::string& repeated, std::size_t times,
                    std::string last);

  protected:
    int_type underflow() override;

  private:
    std::string first_;
    std::string block_;  // many of the repeated text at once
    std::size_t perBlock_;
    std::string rest_;  // what does not fill a block
    std::size_t blocks_;
    std::string last_;
    int stage_ = 0;
};

/// What `work` returns in a child process; else that it took more memory than this.
std::string withinMebibytes(long limit, const std::function<std::string()>& work);
