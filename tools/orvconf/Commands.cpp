#include "Commands.h"

#include <stdexcept>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

#include "Failure.h"
#include "JsonOutput.h"
#include "SetContents.h"
#include "SettingTypes.h"
#include "ValueFormat.h"
#include "ValueParse.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

std::string pathContext(const std::string& file, const std::string& path) {
    return file + ": path '" + formatPath(path) + "': ";
}

AutoRefCounted<const ISetting> settingAt(const ConfigurationFile& configuration,
                                         const std::string& file, const std::string& path) {
    try {
        return configuration.set->retrieveLockedSetting(path);
    } catch (IConfigurationSet::ConfigurationSetException) {
        throw Failure(pathContext(file, path) + "no such setting");
    }
}

int print(const CommandLine& line, std::ostream& out) {
    const ConfigurationFile configuration = readConfigurationFile(line.operands[0], line.format);
    if (line.json) {
        writeJson(out, *configuration.set);
        return 0;
    }
    forEachSetting(*configuration.set, "", [&](const std::string& path, const ISetting& setting) {
        out << formatSettingLine(path, setting) << '\n';
    });
    return 0;
}

int get(const CommandLine& line, std::ostream& out) {
    const std::string& file = line.operands[0];
    const ConfigurationFile configuration = readConfigurationFile(file, line.format);
    const AutoRefCounted<const ISetting> setting = settingAt(configuration, file, line.operands[1]);
    if (line.raw && setting->getType() == ISetting::binaryType) {
        const unsigned char* data = nullptr;
        size_t length = 0;
        setting->getLockedBinaryBuffer(&data, &length);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(length));
    } else {
        out << formatValue(*setting, TextStyle::plain) << (line.raw ? "" : "\n");
    }
    return 0;
}

int set(const CommandLine& line, std::ostream&) {
    const std::string& file = line.operands[0];
    const std::string& path = line.operands[1];
    const std::string& keyword = line.operands[2];
    const std::optional<ISetting::Type> type = typeFromKeyword(keyword);
    if (!type) {
        throw Failure(pathContext(file, path) + "unknown type '" + keyword + "' (one of " +
                      allTypeKeywords() + ")");
    }
    AutoRefCounted<ISetting> setting = getConfigurationSetFactory()->createSetting();
    setting->initialize(*type);
    try {
        assignValue(*setting, line.operands[3]);
    } catch (const std::invalid_argument& error) {
        throw Failure(pathContext(file, path) + "invalid " + keyword + " value '" +
                      formatPath(line.operands[3]) + "': " + error.what());
    }
    const ConfigurationFile configuration = readOrCreateConfigurationFile(file, line.format);
    try {
        configuration.set->removeSetting(path);
    } catch (IConfigurationSet::ConfigurationSetException) {
        // A new path: nothing to replace.
    }
    configuration.set->insertSetting(path, setting);
    writeConfigurationFile(file, *configuration.set, configuration.format);
    return 0;
}

int remove(const CommandLine& line, std::ostream&) {
    const std::string& file = line.operands[0];
    const std::string& path = line.operands[1];
    const ConfigurationFile configuration = readConfigurationFile(file, line.format);
    try {
        configuration.set->removeSetting(path);
    } catch (IConfigurationSet::ConfigurationSetException) {
        throw Failure(pathContext(file, path) + "no such setting");
    }
    writeConfigurationFile(file, *configuration.set, configuration.format);
    return 0;
}

int list(const CommandLine& line, std::ostream& out) {
    const ConfigurationFile configuration = readConfigurationFile(line.operands[0], line.format);
    const std::string branch = line.operands.size() > 1 ? line.operands[1] : "";
    forEachSetting(*configuration.set, branch, [&](const std::string& path, const ISetting&) {
        out << formatPath(path) << '\n';
    });
    return 0;
}

int convert(const CommandLine& line, std::ostream&) {
    const ConfigurationFile input = readConfigurationFile(line.operands[0], line.format);
    const std::string& output = line.operands[1];
    writeConfigurationFile(output, *input.set,
                           line.targetFormat ? *line.targetFormat : formatForNewFile(output));
    return 0;
}

int diff(const CommandLine& line, std::ostream& out) {
    const ConfigurationFile before = readConfigurationFile(line.operands[0], line.format);
    const ConfigurationFile after = readConfigurationFile(line.operands[1], line.format);
    const std::vector<Difference> differences = compareSets(*before.set, *after.set);
    for (const Difference& difference : differences) {
        switch (difference.kind) {
            case Difference::added:
                out << "added: "
                    << formatSettingLine(difference.path,
                                         *after.set->retrieveLockedSetting(difference.path));
                break;
            case Difference::removed:
                out << "removed: "
                    << formatSettingLine(difference.path,
                                         *before.set->retrieveLockedSetting(difference.path));
                break;
            case Difference::changed: {
                const AutoRefCounted<const ISetting> now =
                    after.set->retrieveLockedSetting(difference.path);
                out << "changed: "
                    << formatSettingLine(difference.path,
                                         *before.set->retrieveLockedSetting(difference.path))
                    << " -> " << formatTypedValue(*now);
                break;
            }
        }
        out << '\n';
    }
    return differences.empty() ? 0 : 1;
}

}  // namespace

int runCommand(const CommandLine& line, std::ostream& out) {
    if (line.command == "print") {
        return print(line, out);
    }
    if (line.command == "get") {
        return get(line, out);
    }
    if (line.command == "set") {
        return set(line, out);
    }
    if (line.command == "remove") {
        return remove(line, out);
    }
    if (line.command == "list") {
        return list(line, out);
    }
    if (line.command == "convert") {
        return convert(line, out);
    }
    return diff(line, out);
}

}  // namespace orvconf
