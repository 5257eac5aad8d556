// The command line: the command, its operands and options, and the usage text.
//
// Options are long options and may stand anywhere after the command; "--" ends them. Arguments
// that begin with a single "-" are operands, so negative numbers need no quoting.
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
    bool help = false;
    bool version = false;
    bool json = false;                   // print --json
    bool raw = false;                    // get --raw
    std::optional<Format> format;        // --format binary|xml
    std::optional<Format> targetFormat;  // convert --to binary|xml
};

// Parses the arguments after the program name. Throws Failure for an unknown command or option,
// an option the command does not take, a bad option value or a wrong number of operands (not
// when help is asked for).
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// The usage text, ending with a line break.
std::string usageText();

}  // namespace orvconf

#endif
