// SPDX-License-Identifier: Apache-2.0
// A store of a host of its own: settings that live as long as the process.
#include <map>
#include <mutex>
#include <utility>

#include "host/sov_settings.h"

namespace {

struct LocationAndKey {
    Zeb_String location;
    Zeb_String key;

    bool operator<(const LocationAndKey& other) const {
        const int order = location.CompareNoCase(other.location);
        return order != 0 ? order < 0 : key.CompareNoCase(other.key) < 0;
    }
};

std::mutex mutex;
std::map<LocationAndKey, Zeb_String> stored;
thread_local Zeb_String found;  // the caller's until it asks again

}  // namespace

void Sov_Settings::Get_Pathname(Zeb_String& out, const Zeb_String& /*directory*/,
                                const unsigned short* /*folder*/, const Zeb_String& name,
                                const unsigned short* /*qualifier*/,
                                const unsigned short* /*variant*/, long /*number*/) {
    out = name;
}

bool Sov_Settings::Get_Setting(Zeb_Condition& /*condition*/, const Zeb_String& location,
                               const Zeb_String& key, Zeb_String*& value) {
    const std::lock_guard lock(mutex);
    const auto place = stored.find({location, key});
    if (place == stored.end()) return false;
    found = place->second;
    value = &found;
    return true;
}

void Sov_Settings::Add_Setting(Zeb_Condition& condition, const Zeb_String& location,
                               const Zeb_String& key, const Zeb_String& value) {
    if (key == u"Locked") return condition.SetError(u"the key Locked cannot be written");
    const std::lock_guard lock(mutex);
    stored.insert_or_assign({location, key}, value);
}
