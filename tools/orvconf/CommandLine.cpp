#include "CommandLine.h"

#include <array>

#include "Failure.h"
#include "SettingTypes.h"

namespace orvconf {
namespace {

struct CommandSyntax {
    const char* name;
    size_t minOperands;
    size_t maxOperands;
    const char* options;  // the command-specific options it takes, as "--json --raw"
};

const std::array<CommandSyntax, 7> kCommands = {{
    {"print", 1, 1, "--json"},
    {"get", 2, 2, "--raw"},
    {"set", 4, 4, ""},
    {"remove", 2, 2, ""},
    {"list", 1, 2, ""},
    {"convert", 2, 2, "--to"},
    {"diff", 2, 2, ""},
}};

const CommandSyntax& commandSyntax(const std::string& name) {
    for (const CommandSyntax& syntax : kCommands) {
        if (name == syntax.name) {
            return syntax;
        }
    }
    throw Failure("unknown command '" + name + "' (see orvconf --help)");
}

bool takesOption(const CommandSyntax& syntax, const std::string& option) {
    return (" " + std::string(syntax.options) + " ").find(" " + option + " ") != std::string::npos;
}

Format formatOption(const std::string& option, const std::string& value) {
    const std::optional<Format> format = formatFromName(value);
    if (!format) {
        throw Failure("option " + option + ": '" + value + "' is neither binary nor xml");
    }
    return *format;
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine line;
    std::vector<std::string> options;
    bool optionsEnded = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument.compare(0, 2, "--") != 0) {
            if (line.command.empty()) {
                line.command = argument;
            } else {
                line.operands.push_back(argument);
            }
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        if (name == "--help" || name == "--version" || name == "--json" || name == "--raw") {
            if (equals != std::string::npos) {
                throw Failure("option " + name + " takes no value");
            }
            line.help |= name == "--help";
            line.version |= name == "--version";
            line.json |= name == "--json";
            line.raw |= name == "--raw";
        } else if (name == "--format" || name == "--to") {
            std::string value;
            if (equals != std::string::npos) {
                value = argument.substr(equals + 1);
            } else if (i + 1 < arguments.size()) {
                value = arguments[++i];
            } else {
                throw Failure("option " + name + " needs a value: binary or xml");
            }
            (name == "--format" ? line.format : line.targetFormat) = formatOption(name, value);
        } else {
            throw Failure("unknown option '" + name + "' (see orvconf --help)");
        }
        options.push_back(name);
    }
    if (line.command.empty()) {
        if (!line.help && !line.version) {
            throw Failure("no command given (see orvconf --help)");
        }
        return line;
    }
    const CommandSyntax& syntax = commandSyntax(line.command);
    if (line.help) {
        return line;
    }
    for (const std::string& option : options) {
        if (option != "--format" && option != "--version" && !takesOption(syntax, option)) {
            throw Failure("command " + line.command + " does not take the option " + option);
        }
    }
    if (line.operands.size() < syntax.minOperands || line.operands.size() > syntax.maxOperands) {
        throw Failure("command " + line.command + ": wrong number of arguments (see orvconf " +
                      line.command + " --help)");
    }
    return line;
}

std::string usageText() {
    return "usage: orvconf COMMAND [OPTIONS] ARGUMENTS\n"
           "Inspect, edit, convert and compare Orvandel configuration files.\n"
           "\n"
           "Commands:\n"
           "  print [--json] FILE         every setting in path order as 'path (type) = value';\n"
           "                              --json: a JSON array of {path, type, value} objects\n"
           "  get [--raw] FILE PATH       the value of one setting; --raw: binary values as\n"
           "                              raw bytes, nothing appended\n"
           "  set FILE PATH TYPE VALUE    create or replace one setting (FILE is created when\n"
           "                              missing)\n"
           "  remove FILE PATH            remove one setting\n"
           "  list FILE [BRANCH]          the paths that begin with BRANCH (all without it)\n"
           "  convert IN OUT [--to binary|xml]\n"
           "                              write the settings of IN to OUT; without --to, OUT is\n"
           "                              XML when its name ends in .xml, binary otherwise\n"
           "  diff A B                    added, removed and changed settings, one a line\n"
           "\n"
           "Options:\n"
           "  --format binary|xml         read files in this form only (and create new files in\n"
           "                              it); without it the form is detected, a file keeps its\n"
           "                              form, and a new file is XML when its name ends in .xml\n"
           "  --help                      this text (also 'orvconf COMMAND --help')\n"
           "  --version                   the library version\n"
           "  --                          end of options\n"
           "\n"
           "TYPE is one of:\n  " +
           allTypeKeywords() +
           ".\n"
           "VALUE is read strictly: decimal numbers within the type's range (float and double\n"
           "also nan, inf, -inf), bool true or false, binary as Base64, unicodeString as UTF-8.\n"
           "Values are shown the same way; strings quoted and escaped, floats with the fewest\n"
           "digits that read back exactly.\n"
           "\n"
           "Files are written whole: to a temporary file in the same directory, flushed, then\n"
           "renamed over the target, keeping its permissions. The new form is read back first;\n"
           "settings it would not hold unchanged are refused.\n"
           "\n"
           "Exit status: 0 success (diff: equal), 1 diff: the sets differ, 2 error (one line\n"
           "'orvconf: ...' on standard error; nothing is written).\n";
}

}  // namespace orvconf
