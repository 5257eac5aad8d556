#include "Commands.h"

#include <sstream>
#include <stdexcept>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

#include "Failure.h"
#include "FileIO.h"
#include "JsonInput.h"
#include "JsonOutput.h"
#include "SetContents.h"
#include "SettingTypes.h"
#include "ValueFormat.h"
#include "ValueParse.h"
#include "XmlCheck.h"
#include "XmlOutline.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

std::string pathContext(const std::string& file, const std::string& path) {
    return file + ": path '" + formatPath(path) + "': ";
}

// Refuses "-" as a file that a command edits in place.
void requireEditableFile(const std::string& file) {
    if (isStandardStream(file)) {
        throw Failure("-: standard input cannot be edited; name a file");
    }
}

std::vector<unsigned char> readExistingFile(const std::string& file) {
    std::optional<std::vector<unsigned char>> bytes = readWholeFile(file);
    if (!bytes) {
        throw Failure(file + ": no such file");
    }
    return std::move(*bytes);
}

// The text of set's value: the VALUE operand, or the contents of --value-file, where one line
// break that ends the file is not part of a number or a bool.
std::string valueText(const CommandLine& line, ISetting::Type type) {
    if (!line.valueFile) {
        return line.operands[3];
    }
    const std::vector<unsigned char> bytes = readExistingFile(*line.valueFile);
    std::string text(bytes.begin(), bytes.end());
    if (type != ISetting::stringType && type != ISetting::unicodeString) {
        for (const char* ending : {"\r\n", "\n"}) {
            const std::string suffix(ending);
            if (text.size() >= suffix.size() &&
                text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0) {
                text.resize(text.size() - suffix.size());
                break;
            }
        }
    }
    return text;
}

// The paths of set in branch (by whole segments).
std::vector<std::string> pathsIn(const IConfigurationSet& set, const std::string& branch) {
    std::vector<std::string> paths;
    forEachSetting(set, branch, [&](const std::string& path, const ISetting&) {
        if (inBranch(path, branch)) {
            paths.push_back(path);
        }
    });
    return paths;
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
    const std::string& path = line.operands[1];
    const ConfigurationFile configuration = readConfigurationFile(file, line.format);
    const AutoRefCounted<const ISetting> setting = findSetting(*configuration.set, path);
    if (!setting) {
        throw Failure(pathContext(file, path) + "no such setting", 1);
    }
    if (line.json) {
        out << jsonSetting(path, *setting) << '\n';
    } else if (line.raw && setting->getType() == ISetting::binaryType) {
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
    requireEditableFile(file);
    const std::optional<ISetting::Type> type = typeFromKeyword(keyword);
    if (!type) {
        throw Failure(pathContext(file, path) + "unknown type '" + keyword + "' (one of " +
                      allTypeKeywords() + ")");
    }
    AutoRefCounted<ISetting> setting = getConfigurationSetFactory()->createSetting();
    setting->initialize(*type);
    const std::string value = valueText(line, *type);
    try {
        assignValue(*setting, value);
    } catch (const std::invalid_argument& error) {
        throw Failure(pathContext(file, path) + "invalid " + keyword + " value " +
                      quotedValue(value) + ": " + error.what());
    }
    const ConfigurationFile configuration = readOrCreateConfigurationFile(file, line.format);
    const AutoRefCounted<const ISetting> old = findSetting(*configuration.set, path);
    if (!!old) {
        if (old->getType() != *type && !line.retype) {
            throw Failure(pathContext(file, path) + "is a " + typeKeyword(old->getType()) +
                          " setting, not " + keyword + " (--retype changes its type)");
        }
        configuration.set->removeSetting(path);
    }
    configuration.set->insertSetting(path, setting);
    writeEditedFile(file, configuration, {path}, line.force);
    return 0;
}

int remove(const CommandLine& line, std::ostream&) {
    const std::string& file = line.operands[0];
    const std::string& path = line.operands[1];
    requireEditableFile(file);
    const ConfigurationFile configuration = readConfigurationFile(file, line.format);
    const std::vector<std::string> paths =
        line.recursive ? pathsIn(*configuration.set, path) : std::vector<std::string>{path};
    if (paths.empty() || !findSetting(*configuration.set, paths.front())) {
        throw Failure(pathContext(file, path) +
                      (line.recursive ? "no setting in this branch" : "no such setting"));
    }
    for (const std::string& removed : paths) {
        configuration.set->removeSetting(removed);
    }
    writeEditedFile(file, configuration, paths, line.force);
    return 0;
}

int list(const CommandLine& line, std::ostream& out) {
    const ConfigurationFile configuration = readConfigurationFile(line.operands[0], line.format);
    const std::vector<std::string> paths =
        pathsIn(*configuration.set, line.operands.size() > 1 ? line.operands[1] : "");
    if (line.json) {
        writeJsonPaths(out, paths);
    } else {
        for (const std::string& path : paths) {
            out << formatPath(path) << '\n';
        }
    }
    return paths.empty() ? 1 : 0;
}

int convert(const CommandLine& line, std::ostream&) {
    const ConfigurationFile input = readConfigurationFile(line.operands[0], line.format);
    const std::string& output = line.operands[1];
    writeConfigurationFile(output, *input.set,
                           line.targetFormat ? *line.targetFormat : formatForNewFile(output),
                           false);
    return 0;
}

int diff(const CommandLine& line, std::ostream& out) {
    if (isStandardStream(line.operands[0]) && isStandardStream(line.operands[1])) {
        throw Failure("diff: standard input can stand for one side only");
    }
    const ConfigurationFile before = readConfigurationFile(line.operands[0], line.format);
    const ConfigurationFile after = readConfigurationFile(line.operands[1], line.format);
    const std::vector<Difference> differences = compareSets(*before.set, *after.set);
    if (line.json) {
        writeJsonDifferences(out, *before.set, *after.set, differences);
        return differences.empty() ? 0 : 1;
    }
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

int check(const CommandLine& line, std::ostream& out) {
    const std::string& file = line.operands[0];
    const std::vector<unsigned char> bytes = readExistingFile(file);
    std::optional<Failure> unreadable;
    try {
        if (readConfigurationBytes(file, bytes, line.format).format == Format::binary) {
            return 0;  // binary streams hold no texts to misread
        }
    } catch (const Failure& failure) {
        unreadable = failure;
    }
    const std::string document(bytes.begin(), bytes.end());
    const std::vector<XmlFinding> findings = checkXmlDocument(file, document);
    const LinePositions positions(document);
    for (const XmlFinding& finding : findings) {
        const std::pair<size_t, size_t> position = positions.at(finding.offset);
        out << file << ':' << position.first << ':' << position.second << ": ";
        if (!finding.path.empty()) {
            out << "path '" << formatPath(finding.path) << "': ";
        }
        out << finding.message << '\n';
    }
    if (findings.empty() && unreadable) {
        throw *unreadable;
    }
    return findings.empty() ? 0 : 1;
}

int exportJson(const CommandLine& line, std::ostream& out) {
    const ConfigurationFile configuration = readConfigurationFile(line.operands[0], line.format);
    const std::string output = line.operands.size() > 1 ? line.operands[1] : "-";
    if (isStandardStream(output)) {
        writeJson(out, *configuration.set);
        return 0;
    }
    std::ostringstream json;
    writeJson(json, *configuration.set);
    const std::string text = json.str();
    replaceFile(output, std::vector<unsigned char>(text.begin(), text.end()), false);
    return 0;
}

int importJson(const CommandLine& line, std::ostream&) {
    const std::string& file = line.operands[0];
    requireEditableFile(file);
    const std::string source = line.operands.size() > 1 ? line.operands[1] : "-";
    const std::vector<unsigned char> bytes = readExistingFile(source);
    const std::vector<JsonSetting> settings =
        readJsonSettings(source, std::string(bytes.begin(), bytes.end()));
    const ConfigurationFile configuration = readOrCreateConfigurationFile(file, line.format);
    std::vector<std::string> paths;
    for (const JsonSetting& setting : settings) {
        if (!!findSetting(*configuration.set, setting.first)) {
            configuration.set->removeSetting(setting.first);
        }
        configuration.set->insertSetting(setting.first, setting.second);
        paths.push_back(setting.first);
    }
    writeEditedFile(file, configuration, paths, line.force);
    return 0;
}

}  // namespace

int runCommand(const CommandLine& line, std::ostream& out) {
    using Command = int (*)(const CommandLine&, std::ostream&);
    const std::pair<const char*, Command> commands[] = {
        {"print", print},       {"get", get},         {"set", set},   {"remove", remove},
        {"list", list},         {"convert", convert}, {"diff", diff}, {"export", exportJson},
        {"import", importJson}, {"check", check}};
    for (const auto& command : commands) {
        if (line.command == command.first) {
            return command.second(line, out);
        }
    }
    throw Failure("unknown command '" + line.command + "'");
}

}  // namespace orvconf
