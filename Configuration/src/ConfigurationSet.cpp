#include <orvandel/configuration/internal/ConfigurationSet.h>

#include <iterator>
#include <stdexcept>
#include <utility>

#include <orvandel/configuration/internal/FailureDetail.h>

namespace com {
namespace orvandel {
namespace configuration {

ConfigurationSet::ConfigurationSet()
    : d_type("ConfigurationSet"),
      d_capLoadSave(false),
      d_capSerialize(false),
      d_modifiedFlag(new SharedFlag(false)),
      d_keptForm(*d_modifiedFlag) {}

ConfigurationSet::~ConfigurationSet() {
    ConfigurationSet::removeAllSettings();
}

const std::string* ConfigurationSet::getType() const {
    return &d_type;
}

bool ConfigurationSet::capLoadAndSave() const {
    return d_capLoadSave;
}

bool ConfigurationSet::capSerialize() const {
    return d_capSerialize;
}

bool ConfigurationSet::checkModified() {
    return d_modifiedFlag != 0 ? d_modifiedFlag->checkFlagged() : false;
}

ConfigurationSet::SettingMap::const_iterator ConfigurationSet::findPath(
    const std::string& path) const {
    const SettingMap::const_iterator found = d_settings.find(path);
    if (found == d_settings.end()) {
        recordFailure("no setting at path '", Excerpt(path, 200), "'");
        throw noSettingAtPathException;
    }
    return found;
}

AutoRefCounted<ISetting> ConfigurationSet::retrieveSetting(const std::string& path) {
    return findPath(path)->second;
}

AutoRefCounted<const ISetting> ConfigurationSet::retrieveLockedSetting(
    const std::string& path) const {
    return const_pointer_cast<const ISetting>(findPath(path)->second);
}

// Index i names the i-th entry from the branch's lower bound, provided that entry still begins
// with the branch. The entries skipped on the way are not tested: the paths under a branch are
// contiguous in the map and begin at its lower bound. Continuing from the cursor walks the same
// entries as starting afresh, so both give the same result.
ConfigurationSet::SettingMap::const_iterator ConfigurationSet::findByIndex(
    const std::string& branch, uint32_t index) const {
    SettingMap::const_iterator position;
    uint32_t remaining;
    if (d_indexCursor.valid && index >= d_indexCursor.index && d_indexCursor.branch == branch) {
        position = d_indexCursor.position;
        remaining = index - d_indexCursor.index;
    } else {
        position = d_settings.lower_bound(branch);
        remaining = index;
    }
    for (; position != d_settings.end(); ++position, --remaining) {
        if (remaining == 0) {
            if (position->first.compare(0, branch.size(), branch) != 0) {
                break;
            }
            if (!d_indexCursor.valid || d_indexCursor.branch != branch) {
                d_indexCursor.branch = branch;
            }
            d_indexCursor.index = index;
            d_indexCursor.position = position;
            d_indexCursor.valid = true;
            return position;
        }
    }
    recordFailure("no setting at index ", uint64_t{index}, " under branch '", Excerpt(branch, 200),
                  "'");
    throw noSettingAtPathException;
}

AutoRefCounted<ISetting> ConfigurationSet::retrieveSettingByIndex(const std::string& branch,
                                                                  uint32_t index,
                                                                  std::string& settingPath) {
    const SettingMap::const_iterator found = findByIndex(branch, index);
    settingPath = found->first;
    return found->second;
}

AutoRefCounted<const ISetting> ConfigurationSet::retrieveLockedSettingByIndex(
    const std::string& branch, uint32_t index, std::string& settingPath) const {
    const SettingMap::const_iterator found = findByIndex(branch, index);
    settingPath = found->first;
    return const_pointer_cast<const ISetting>(found->second);
}

AutoRefCounted<ISetting> ConfigurationSet::retrieveSettingByIndex(const char* branch,
                                                                  uint32_t index,
                                                                  const std::string** settingPath) {
    const SettingMap::const_iterator found = findByIndex(branch, index);
    *settingPath = &found->first;
    return found->second;
}

AutoRefCounted<const ISetting> ConfigurationSet::retrieveLockedSettingByIndex(
    const char* branch, uint32_t index, const std::string** settingPath) const {
    const SettingMap::const_iterator found = findByIndex(branch, index);
    *settingPath = &found->first;
    return const_pointer_cast<const ISetting>(found->second);
}

// An empty handle or a foreign ISetting implementation cannot carry the set's modified flag;
// both are refused before anything changes.
void ConfigurationSet::insertSetting(const std::string& path, AutoRefCounted<ISetting> setting) {
    const SettingMap::iterator hint = d_settings.lower_bound(path);
    if (hint != d_settings.end() && hint->first == path) {
        recordFailure("setting exists at path '", Excerpt(path, 200), "'");
        throw settingExistsAtPathException;
    }
    if (setting == nullptr || dynamic_cast<Setting*>(setting.operator->()) == nullptr) {
        static const char sd_foreign[] =
            "insertSetting: the setting must be one the library created";
        recordFailure(sd_foreign);
        throw std::invalid_argument(sd_foreign);
    }
    static_pointer_cast<Setting>(setting)->setModifiedFlag(d_modifiedFlag);
    d_settings.emplace_hint(hint, path, std::move(setting));
    changeShape();
    d_modifiedFlag->flag();
}

size_t ConfigurationSet::getSettingCount() const {
    return d_settings.size();
}

void ConfigurationSet::removeSetting(const std::string& path) {
    const SettingMap::const_iterator found = findPath(path);
    changeShape();
    d_settings.erase(found);
    d_modifiedFlag->flag();
}

void ConfigurationSet::removeAllSettings() {
    changeShape();
    d_settings.clear();
    d_modifiedFlag->flag();
}

bool ConfigurationSet::equals(AutoRefCounted<const IConfigurationSet> r_hand) const {
    if (getSettingCount() != r_hand->getSettingCount()) {
        return false;
    }
    for (const SettingMap::value_type& entry : d_settings) {
        const AutoRefCounted<const ISetting> mine =
            const_pointer_cast<const ISetting>(entry.second);
        AutoRefCounted<const ISetting> theirs;
        try {
            theirs = r_hand->retrieveLockedSetting(entry.first);
        } catch (ConfigurationSetException) {
            return false;
        }
        if (!mine->equals(theirs)) {
            return false;
        }
    }
    return true;
}

AutoRefCounted<Setting> ConfigurationSet::createAttachedSetting(ISetting::Type type) const {
    AutoRefCounted<Setting> setting(new Setting());
    setting->initialize(type);
    setting->setModifiedFlag(d_modifiedFlag);
    return setting;
}

void ConfigurationSet::storeRead(SettingMap& read, std::string&& path,
                                 AutoRefCounted<ISetting>&& setting) {
    if (read.empty() || std::prev(read.end())->first < path) {
        read.emplace_hint(read.end(), std::move(path), std::move(setting));
    } else {
        read.insert_or_assign(std::move(path), std::move(setting));
    }
}

void ConfigurationSet::mergeRead(SettingMap& read) {
    changeShape();
    d_modifiedFlag->noteChange();
    if (d_settings.empty()) {
        d_settings.swap(read);
    } else {
        while (!read.empty()) {
            SettingMap::node_type node = read.extract(read.begin());
            const SettingMap::iterator hint = d_settings.lower_bound(node.key());
            if (hint != d_settings.end() && hint->first == node.key()) {
                hint->second = std::move(node.mapped());
            } else {
                d_settings.insert(hint, std::move(node));
            }
        }
    }
    clearModified();
}

void ConfigurationSet::clearModified() {
    d_modifiedFlag->checkFlagged();
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
