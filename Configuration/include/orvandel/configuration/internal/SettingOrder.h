// The entries of a set's map in path order, as one array kept until the map gains or loses an
// entry.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_SETTINGORDER_H
#define ORVANDEL_CONFIGURATION_INTERNAL_SETTINGORDER_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ISetting.h>

namespace com {
namespace orvandel {
namespace configuration {

using SettingMap = std::map<std::string, AutoRefCounted<ISetting>>;

// Walking a std::map follows one pointer per entry to wherever the entry was allocated: for a
// set filled in any order but its paths', one cache miss after another, and nothing can be
// fetched ahead because the next address is only known once the entry is loaded. The array
// knows every entry's address at once, so a walk through it fetches entries well ahead of the
// one it is at. Writers walk the settings this way; the array costs a pointer per setting and
// survives every change that keeps the set's paths (a value set, a setting replaced).
class SettingOrder {
  public:
    using Entries = std::vector<const SettingMap::value_type*>;

    // The entries of `settings` in path order, built by one walk over the map if it changed shape
    // since the last call. Throws std::bad_alloc and then keeps nothing.
    const Entries& of(const SettingMap& settings);

    // The map gained or lost an entry: frees the array.
    void forget() noexcept {
        Entries().swap(d_entries);
        d_current = false;
    }

  private:
    Entries d_entries;
    bool d_current = false;
};

// Calls visit(path, setting) for every entry of `entries` in order, fetching the entries, their
// paths and their settings a few entries before they are visited.
template <class Visit>
void forEachInOrder(const SettingOrder::Entries& entries, Visit&& visit) {
    constexpr size_t sd_entryAhead = 16;  // the entry itself
    constexpr size_t sd_dataAhead = 8;    // what it points to, once it has arrived
    const size_t count = entries.size();
    for (size_t i = 0; i < count; ++i) {
        if (i + sd_entryAhead < count) {
            __builtin_prefetch(entries[i + sd_entryAhead]);
            __builtin_prefetch(&entries[i + sd_entryAhead]->second);
        }
        if (i + sd_dataAhead < count) {
            __builtin_prefetch(entries[i + sd_dataAhead]->first.data());
            __builtin_prefetch(entries[i + sd_dataAhead]->second.operator->());
        }
        visit(entries[i]->first, *entries[i]->second);
    }
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
