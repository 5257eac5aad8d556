// The command line: the command, its operands and options, and the help texts.
//
// Options are long options and may stand anywhere after the command; "--" ends them. Arguments
// that begin with a single "-" are operands (so negative numbers need no quoting, and "-" names
// standard input or output), except "-h" as the first argument or right after the command.
#ifndef ORVCONF_COMMANDLINE_H
#define ORVCONF_COMMANDLINE_H

#include <optional>
#include <string>
#include <vector>

#include "ConfigurationFile.h"

namespace orvconf {

struct CommandLine {
    std::string command;                // empty for --help and --version alone
    std::vector<std::string> operands;  // checked against the command's count
    bool help = false;                  // --help, -h, or the command "help"
    bool version = false;
    bool json = false;             // print, get, list, diff --json
    bool raw = false;              // get --raw
    bool force = false;            // set, remove, import --force: replace a file its mode protects
    bool retype = false;           // set --retype: an existing setting may change its type
    bool recursive = false;        // remove --recursive: every setting under a branch
    std::optional<Format> format;  // --format binary|xml
    std::optional<Format> targetFormat;    // convert --to binary|xml
    std::optional<std::string> valueFile;  // set --value-file F
};

// Parses the arguments after the program name. Throws Failure for an unknown command or option,
// an option the command does not take, a bad option value or a wrong number of operands (not
// when help is asked for). "orvconf help [COMMAND]" is parsed as COMMAND --help.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// The usage text of every command, or of command alone when it is not empty; ends with a line
// break.
std::string usageText(const std::string& command);

}  // namespace orvconf

#endif
