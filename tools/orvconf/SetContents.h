// Walking a configuration set's settings and comparing two sets setting by setting.
#ifndef ORVCONF_SETCONTENTS_H
#define ORVCONF_SETCONTENTS_H

#include <functional>
#include <string>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/ISetting.h>

namespace orvconf {

// Calls visit(path, setting) for every setting whose path begins with branch, in path order.
void forEachSetting(
    const com::orvandel::configuration::IConfigurationSet& set, const std::string& branch,
    const std::function<void(const std::string&, const com::orvandel::configuration::ISetting&)>&
        visit);

// The setting at path, or an empty handle when there is none.
com::orvandel::AutoRefCounted<const com::orvandel::configuration::ISetting> findSetting(
    const com::orvandel::configuration::IConfigurationSet& set, const std::string& path);

// True when path lies in branch by whole segments: branch is empty, or ends in "/" and begins
// path, or equals path, or is followed in path by a "/".
bool inBranch(const std::string& path, const std::string& branch);

struct Difference {
    enum Kind { added, removed, changed };
    Kind kind;
    std::string path;
};

// The settings that differ between before and after, in path order: paths only after has
// (added), paths only before has (removed), and paths whose settings differ in type or value
// (changed). Values are compared as they are shown: bit for bit for floats, so a NaN equals the
// same NaN while 0 and -0 differ.
std::vector<Difference> compareSets(const com::orvandel::configuration::IConfigurationSet& before,
                                    const com::orvandel::configuration::IConfigurationSet& after);

}  // namespace orvconf

#endif
