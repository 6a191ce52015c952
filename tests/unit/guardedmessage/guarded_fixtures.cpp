// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/guardedmessage/guarded_fixtures.h"

#include <sys/resource.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/host/child_process.h"

namespace {

long peakKibibytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

std::string defect(const std::string& kind, const std::string& entity, std::size_t offset) {
    return kind + " in " + entity + " at " + std::to_string(offset);
}

std::size_t ahead(const std::string& boundary) { return ("\r\n--" + boundary).size(); }

Defects shown(const std::vector<MIMEDefect>& defects) {
    Defects texts;
    for (const MIMEDefect& found : defects)
        texts.push_back(defect(found.name(), found.entity, found.offset));
    return texts;
}

Defects defectsOf(const std::string& text, const MIMELimits& limits) {
    std::istringstream in(text);
    const GuardedMessage message(in, limits);
    return shown(message.getDefects());
}

std::string guardedDump(const std::string& text, const MIMELimits& limits) {
    std::istringstream in(text);
    return dump(GuardedMessage(in, limits).getMessage());
}

GeneratedSource::GeneratedSource(std::string first, const std::string& repeated, std::size_t times,
                                 std::string last)
    : first_(std::move(first)),
      perBlock_(std::max<std::size_t>(1, 65536 / repeated.size())),
      blocks_(times / perBlock_),
      last_(std::move(last)) {
    block_ = ::repeated(repeated, perBlock_);
    rest_ = ::repeated(repeated, times % perBlock_);
}

GeneratedSource::int_type GeneratedSource::underflow() {
    std::string* const stages[] = {&first_, &block_, &rest_, &last_};
    while (stage_ < 4) {
        std::string& text = *stages[stage_];
        const bool isRepeated = stage_ == 1;
        if (!isRepeated || blocks_ == 0) ++stage_;
        if (text.empty() || (isRepeated && blocks_ == 0)) continue;
        if (isRepeated) --blocks_;
        setg(text.data(), text.data(), text.data() + text.size());
        return traits_type::to_int_type(text.front());
    }
    return traits_type::eof();
}

std::string withinMebibytes(long limit, const std::function<std::string()>& work) {
    return inChild([&] {
        const long before = peakKibibytes();
        const std::string result = work();
        const long taken = (peakKibibytes() - before) / 1024;
        // What is released stays with a sanitizer for a while.
        const long allowed = isSanitized ? 16 * limit : limit;
        return taken <= allowed ? result : "took " + std::to_string(taken) + " MiB";
    });
}
