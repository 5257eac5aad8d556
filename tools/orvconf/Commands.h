// The commands of orvconf, each given its parsed command line.
#ifndef ORVCONF_COMMANDS_H
#define ORVCONF_COMMANDS_H

#include <ostream>

#include "CommandLine.h"

namespace orvconf {

// Runs line.command, writing its output to out. Returns the exit status: 0, or 1 when diff
// finds differences. Throws Failure for every error; a file is written only by a command that
// succeeds.
int runCommand(const CommandLine& line, std::ostream& out);

}  // namespace orvconf

#endif
