// The paths and settings of a set's map in path order, as one array kept until the map gains or
// loses an entry.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_SETTINGORDER_H
#define ORVANDEL_CONFIGURATION_INTERNAL_SETTINGORDER_H

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/Setting.h>

namespace com {
namespace orvandel {
namespace configuration {

using SettingMap = std::map<std::string, AutoRefCounted<ISetting>>;

// Walking a std::map follows one pointer per entry to wherever the entry was allocated: for a
// set filled in any order but its paths', one cache miss after another, and nothing can be
// fetched ahead because the next address is only known once the entry is loaded. The array
// holds every path's and setting's address at once, so a walk through it fetches them well
// ahead of the one it is at and never touches the map's own nodes. Writers walk the settings
// this way; the array costs three words per setting and survives every change that keeps the
// set's entries (a value set); the set forgets it when an entry is added, removed or given
// another setting.
class SettingOrder {
  public:
    // A path (the map's own key, which never moves while its entry lives) and its setting.
    struct Entry {
        std::string_view path;
        Setting* setting;
    };
    using Entries = std::vector<Entry>;

    // The entries of `settings` in path order, built by one walk over the map if it changed shape
    // since the last call. Throws std::bad_alloc and then keeps nothing.
    const Entries& of(const SettingMap& settings);

    // The map gained or lost an entry, or an entry's setting was replaced: frees the array.
    void forget() noexcept {
        Entries().swap(d_entries);
        d_current = false;
    }

  private:
    Entries d_entries;
    bool d_current = false;
};

// Calls visit(path, setting) for every entry of `entries` in order. Every sd_batch entries it
// asks the processor for the paths and settings of the next batch, all at once so that their
// address translations overlap, and for the values of the batch about to be visited.
template <class Visit>
void forEachInOrder(const SettingOrder::Entries& entries, Visit&& visit) {
    constexpr size_t sd_batch = 16;
    const size_t count = entries.size();
    for (size_t i = 0; i < count; ++i) {
        if (i % sd_batch == 0) {
            const size_t end = std::min(count, i + 2 * sd_batch);
            for (size_t ahead = i + sd_batch; ahead < end; ++ahead) {
                __builtin_prefetch(entries[ahead].path.data());
                entries[ahead].setting->prefetch();
            }
            for (size_t ahead = i; ahead < std::min(count, i + sd_batch); ++ahead) {
                entries[ahead].setting->prefetchValue();
            }
        }
        visit(entries[i].path, *entries[i].setting);
    }
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
