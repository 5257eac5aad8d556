#include <orvandel/configuration/internal/SettingOrder.h>

#include <algorithm>
#include <cstdint>

namespace com {
namespace orvandel {
namespace configuration {

namespace {

// Below this many settings the map is walked along its links as it is.
constexpr size_t sd_splitFrom = 4096;
// Halvings of the paths' range: up to 2^6 parts walked side by side.
constexpr int sd_halvings = 6;

SettingOrder::Entry entryOf(const SettingMap::value_type& entry) {
    return {entry.first, static_cast<Setting*>(entry.second.operator->())};
}

// A path strictly between `low` and `high` (low < high): their common prefix, then the 8 bytes
// halfway between the 8 bytes that follow it in each (read as big-endian numbers, a short path
// padded with zero bytes). False when those numbers leave nothing between them.
bool pathBetween(const std::string& low, const std::string& high, std::string* between) {
    const size_t common =
        std::mismatch(low.begin(), low.end(), high.begin(), high.end()).first - low.begin();
    const auto eightBytes = [common](const std::string& path) {
        uint64_t value = 0;
        for (size_t byte = common; byte < common + 8; ++byte) {
            value = value << 8 | (byte < path.size() ? static_cast<unsigned char>(path[byte]) : 0);
        }
        return value;
    };
    const uint64_t lowBytes = eightBytes(low);
    const uint64_t highBytes = eightBytes(high);
    if (highBytes <= lowBytes + 1) {
        return false;
    }
    const uint64_t middle = lowBytes + (highBytes - lowBytes) / 2;
    between->assign(high, 0, common);
    for (int shift = 56; shift >= 0; shift -= 8) {
        between->push_back(static_cast<char>(middle >> shift));
    }
    return true;
}

// Where the map splits into parts of about equal spans of paths: the first entry of each part,
// then the map's end.
std::vector<SettingMap::const_iterator> partStarts(const SettingMap& settings) {
    std::vector<std::string> bounds = {settings.begin()->first, std::prev(settings.end())->first};
    for (int halving = 0; halving < sd_halvings; ++halving) {
        std::vector<std::string> finer = {bounds.front()};
        std::string between;
        for (size_t bound = 1; bound < bounds.size(); ++bound) {
            if (pathBetween(bounds[bound - 1], bounds[bound], &between)) {
                finer.push_back(between);
            }
            finer.push_back(bounds[bound]);
        }
        bounds.swap(finer);
    }
    std::vector<SettingMap::const_iterator> starts = {settings.begin()};
    for (size_t bound = 1; bound + 1 < bounds.size(); ++bound) {
        starts.push_back(settings.lower_bound(bounds[bound]));
    }
    starts.push_back(settings.end());
    return starts;
}

}  // namespace

// Following the map's links from entry to entry waits for each entry before the next one's
// address is known. A large map is therefore walked as several parts side by side, one step in
// each in turn, so that the processor fetches several entries at once; the parts are then joined
// in order.
const SettingOrder::Entries& SettingOrder::of(const SettingMap& settings) {
    if (!d_current) {
        Entries entries;
        entries.reserve(settings.size());
        if (settings.size() < sd_splitFrom) {
            for (const SettingMap::value_type& entry : settings) {
                entries.push_back(entryOf(entry));
            }
        } else {
            const std::vector<SettingMap::const_iterator> starts = partStarts(settings);
            const size_t partCount = starts.size() - 1;
            std::vector<Entries> parts(partCount);
            std::vector<SettingMap::const_iterator> at(starts.begin(), starts.end() - 1);
            for (bool stepped = true; stepped;) {
                stepped = false;
                for (size_t part = 0; part < partCount; ++part) {
                    if (at[part] != starts[part + 1]) {
                        parts[part].push_back(entryOf(*at[part]++));
                        stepped = true;
                    }
                }
            }
            for (const Entries& part : parts) {
                entries.insert(entries.end(), part.begin(), part.end());
            }
        }
        d_entries.swap(entries);
        d_current = true;
    }
    return d_entries;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
