#include "CommandLine.h"

#include <algorithm>
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
    const char* usage;    // its help text: the synopsis line, then indented explanations
};

const std::array<CommandSyntax, 11> kCommands = {{
    {"print", 1, 1, "--json",
     "print [--json] FILE\n"
     "    every setting in path order as 'path (type) = value'; --json: the JSON form\n"},
    {"get", 2, 2, "--raw --json",
     "get [--raw | --json] FILE PATH\n"
     "    the value of one setting; --raw: binary values as raw bytes, nothing appended;\n"
     "    --json: the setting as one JSON object. Exit 1 when there is no such setting\n"},
    {"set", 3, 4, "--retype --force --value-file",
     "set [--retype] [--force] FILE PATH TYPE VALUE\n"
     "set [--retype] [--force] --value-file F FILE PATH TYPE\n"
     "    create or replace one setting (FILE is created when missing); the value is VALUE or\n"
     "    the contents of F ('-': standard input). An existing setting keeps its type unless\n"
     "    --retype is given. An XML file changes only in that setting's element\n"},
    {"remove", 2, 2, "--recursive --force",
     "remove [--recursive] [--force] FILE PATH\n"
     "    remove one setting; --recursive: every setting under the branch PATH (whole path\n"
     "    segments). An XML file loses only those elements and the branches left empty\n"},
    {"list", 1, 2, "--json",
     "list [--json] FILE [BRANCH]\n"
     "    the paths in BRANCH (whole path segments; all paths without it); --json: a JSON\n"
     "    array of paths. Exit 1 when none matches\n"},
    {"convert", 2, 2, "--to",
     "convert [--to binary|xml] IN OUT\n"
     "    write the settings of IN to OUT; without --to, OUT is XML when its name ends in\n"
     "    .xml, binary otherwise ('-' is binary)\n"},
    {"diff", 2, 2, "--json",
     "diff [--json] A B\n"
     "    added, removed and changed settings, one a line; --json: a JSON array of changes.\n"
     "    Exit 0 when equal, 1 when the sets differ\n"},
    {"check", 1, 1, "",
     "check FILE\n"
     "    list, as 'FILE:LINE:COLUMN: path 'P': ...', every value of an XML file that reads\n"
     "    as other than it shows, paths given twice, markup the reader ignores and paths\n"
     "    that would not come back the same. Exit 0 when clean, 1 when something is found\n"},
    {"export", 1, 2, "--to",
     "export [--to json] FILE [OUT]\n"
     "    the settings of FILE in the JSON form, to OUT or standard output\n"},
    {"import", 1, 2, "--force",
     "import [--force] FILE [JSON]\n"
     "    add the settings of a JSON document (the export form; standard input without JSON)\n"
     "    to FILE, replacing those at the same paths; FILE is created when missing\n"},
    {"help", 0, 1, "", "help [COMMAND]\n    the help text of every command, or of COMMAND\n"},
}};

const CommandSyntax* findCommand(const std::string& name) {
    for (const CommandSyntax& syntax : kCommands) {
        if (name == syntax.name) {
            return &syntax;
        }
    }
    return nullptr;
}

const CommandSyntax& commandSyntax(const std::string& name) {
    const CommandSyntax* syntax = findCommand(name);
    if (syntax == nullptr) {
        throw Failure("unknown command '" + name + "' (see orvconf --help)");
    }
    return *syntax;
}

bool takesOption(const CommandSyntax& syntax, const std::string& option) {
    return (" " + std::string(syntax.options) + " ").find(" " + option + " ") != std::string::npos;
}

// The value of an option that takes one, as "--to=xml" or "--to xml".
std::string optionValue(const std::vector<std::string>& arguments, size_t& i, size_t equals,
                        const std::string& name) {
    const std::string& argument = arguments[i];
    if (equals != std::string::npos) {
        return argument.substr(equals + 1);
    }
    if (i + 1 < arguments.size()) {
        return arguments[++i];
    }
    throw Failure("option " + name + " needs a value");
}

void setFlag(CommandLine& line, const std::string& name) {
    bool CommandLine::*const flags[] = {
        &CommandLine::help,  &CommandLine::version, &CommandLine::json,     &CommandLine::raw,
        &CommandLine::force, &CommandLine::retype,  &CommandLine::recursive};
    const char* names[] = {"--help",  "--version", "--json",     "--raw",
                           "--force", "--retype",  "--recursive"};
    for (size_t k = 0; k < sizeof names / sizeof names[0]; ++k) {
        if (name == names[k]) {
            line.*flags[k] = true;
            return;
        }
    }
    throw Failure("unknown option '" + name + "' (see orvconf --help)");
}

void checkOperands(const CommandLine& line, const CommandSyntax& syntax) {
    size_t minimum = syntax.minOperands;
    size_t maximum = syntax.maxOperands;
    if (line.command == "set") {
        // The value is an operand unless it comes from a file.
        minimum = maximum = line.valueFile ? 3 : 4;
    }
    if (line.operands.size() < minimum || line.operands.size() > maximum) {
        throw Failure("command " + line.command + ": wrong number of arguments (see orvconf " +
                      line.command + " --help)");
    }
}

// A command's help text with each synopsis line after synopsisPrefix and each explanation
// line after indentation.
std::string commandUsage(const CommandSyntax& syntax, const std::string& synopsisPrefix,
                         const std::string& indentation) {
    std::string text;
    const std::string usage = syntax.usage;
    for (size_t at = 0; at < usage.size();) {
        const size_t end = usage.find('\n', at) + 1;
        text += (usage[at] == ' ' ? indentation : synopsisPrefix) + usage.substr(at, end - at);
        at = end;
    }
    return text;
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine line;
    std::vector<std::string> options;
    bool optionsEnded = false;
    std::string target;  // the value of --to
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!optionsEnded && argument == "-h" && line.operands.empty()) {
            line.help = true;
            continue;
        }
        if (optionsEnded || argument.size() < 2 || argument.compare(0, 2, "--") != 0) {
            (line.command.empty() ? line.command : line.operands.emplace_back()) = argument;
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        if (name == "--format") {
            const std::string value = optionValue(arguments, i, equals, name);
            line.format = formatFromName(value);
            if (!line.format) {
                throw Failure("option --format: '" + value + "' is neither binary nor xml");
            }
        } else if (name == "--to") {
            target = optionValue(arguments, i, equals, name);
        } else if (name == "--value-file") {
            line.valueFile = optionValue(arguments, i, equals, name);
        } else if (equals != std::string::npos) {
            setFlag(line, name);  // an unknown option is reported as such first
            throw Failure("option " + name + " takes no value");
        } else {
            setFlag(line, name);
        }
        options.push_back(name);
    }
    if (line.command == "help") {
        // "help COMMAND" is COMMAND's help, "help" alone everything, "help --help" its own.
        if (!line.operands.empty()) {
            line.command = line.operands.front();
        } else if (!line.help) {
            line.command.clear();
        }
        line.help = true;
        line.operands.clear();
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
    if (std::find(options.begin(), options.end(), "--to") != options.end()) {
        if (line.command == "export") {
            if (target != "json") {
                throw Failure("option --to: export writes json only, not '" + target + "'");
            }
        } else {
            line.targetFormat = formatFromName(target);
            if (!line.targetFormat) {
                throw Failure("option --to: '" + target + "' is neither binary nor xml");
            }
        }
    }
    if (line.raw && line.json) {
        throw Failure("command get takes --raw or --json, not both");
    }
    checkOperands(line, syntax);
    return line;
}

std::string usageText(const std::string& command) {
    if (!command.empty()) {
        return commandUsage(commandSyntax(command), "usage: orvconf ", "");
    }
    std::string commands;
    for (const CommandSyntax& syntax : kCommands) {
        commands += commandUsage(syntax, "  ", "  ");
    }
    return "usage: orvconf COMMAND [OPTIONS] ARGUMENTS\n"
           "Inspect, edit, convert and compare Orvandel configuration files.\n"
           "\n"
           "Commands:\n" +
           commands +
           "\n"
           "Options of every command:\n"
           "  --format binary|xml   read files in this form only (and create new files in it);\n"
           "                        without it the form is detected, a file keeps its form,\n"
           "                        and a new file is XML when its name ends in .xml\n"
           "  --help, -h            this text ('orvconf COMMAND --help': the command's own)\n"
           "  --version             the library version\n"
           "  --                    end of options\n"
           "\n"
           "TYPE is one of:\n  " +
           allTypeKeywords() +
           ".\n"
           "VALUE is read strictly: decimal numbers within the type's range (float and double\n"
           "also nan, inf, -inf), bool true or false, binary as Base64 (line breaks and blanks\n"
           "ignored), unicodeString as UTF-8. Values are shown the same way; strings quoted and\n"
           "escaped, floats with the fewest digits that read back exactly.\n"
           "\n"
           "FILE '-' is standard input (print, get, list, check, diff, convert, export) and OUT\n"
           "'-' standard output (convert, export); import reads JSON '-' from standard input.\n"
           "Input that is not a regular file is read up to 256 MiB. A device, FIFO or terminal\n"
           "given as OUT is written to directly. Files are written whole: to\n"
           "a temporary file in the same directory, flushed, then renamed over the target,\n"
           "keeping its permissions; a file whose mode does not let the user write it is\n"
           "replaced only with --force. The new form is read back first; settings it would not\n"
           "hold unchanged are refused.\n"
           "\n"
           "Exit status: 0 success (diff: equal), 1 nothing matched (get, list), the sets\n"
           "differ (diff) or check found something, 2 error (one line 'orvconf: ...' on standard "
           "error; nothing is\n"
           "written).\n";
}

}  // namespace orvconf
