#include <orvandel/configuration/internal/SettingOrder.h>

namespace com {
namespace orvandel {
namespace configuration {

const SettingOrder::Entries& SettingOrder::of(const SettingMap& settings) {
    if (!d_current) {
        Entries entries;
        entries.reserve(settings.size());
        for (const SettingMap::value_type& entry : settings) {
            entries.push_back({entry.first, static_cast<Setting*>(entry.second.operator->())});
        }
        d_entries.swap(entries);
        d_current = true;
    }
    return d_entries;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
