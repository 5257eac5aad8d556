#include "SetContents.h"

#include <algorithm>
#include <cstdint>

#include "ValueFormat.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

bool sameSetting(const ISetting& left, const ISetting& right) {
    return left.getType() == right.getType() &&
           formatValue(left, TextStyle::quoted) == formatValue(right, TextStyle::quoted);
}

}  // namespace

AutoRefCounted<const ISetting> findSetting(const IConfigurationSet& set, const std::string& path) {
    try {
        return set.retrieveLockedSetting(path);
    } catch (IConfigurationSet::ConfigurationSetException) {
        return AutoRefCounted<const ISetting>();
    }
}

bool inBranch(const std::string& path, const std::string& branch) {
    if (path.compare(0, branch.size(), branch) != 0) {
        return false;
    }
    return branch.empty() || branch.back() == '/' || path.size() == branch.size() ||
           path[branch.size()] == '/';
}

void forEachSetting(const IConfigurationSet& set, const std::string& branch,
                    const std::function<void(const std::string&, const ISetting&)>& visit) {
    for (uint32_t index = 0;; ++index) {
        std::string path;
        AutoRefCounted<const ISetting> setting;
        try {
            setting = set.retrieveLockedSettingByIndex(branch, index, path);
        } catch (IConfigurationSet::ConfigurationSetException) {
            return;
        }
        visit(path, *setting);
    }
}

std::vector<Difference> compareSets(const IConfigurationSet& before,
                                    const IConfigurationSet& after) {
    std::vector<Difference> differences;
    forEachSetting(before, "", [&](const std::string& path, const ISetting& setting) {
        const AutoRefCounted<const ISetting> other = findSetting(after, path);
        if (!other) {
            differences.push_back({Difference::removed, path});
        } else if (!sameSetting(setting, *other)) {
            differences.push_back({Difference::changed, path});
        }
    });
    forEachSetting(after, "", [&](const std::string& path, const ISetting&) {
        if (!findSetting(before, path)) {
            differences.push_back({Difference::added, path});
        }
    });
    std::stable_sort(differences.begin(), differences.end(),
                     [](const Difference& a, const Difference& b) { return a.path < b.path; });
    return differences;
}

}  // namespace orvconf
