// Whole-file reading and crash-safe replacement of a file's contents.
#ifndef ORVCONF_FILEIO_H
#define ORVCONF_FILEIO_H

#include <optional>
#include <string>
#include <vector>

namespace orvconf {

// The contents of file, or nothing when it does not exist. Throws Failure naming the file and
// the reason when it exists but cannot be read.
std::optional<std::vector<unsigned char>> readWholeFile(const std::string& file);

// Replaces the contents of file by bytes so that the file is never seen truncated or half
// written: the bytes go to a temporary file in the same directory, are flushed to disk, and the
// temporary file is renamed over the target. An existing file keeps its permission bits (a new
// one gets those the umask allows), and a symbolic link is followed, so the file it names is
// replaced. Termination signals (SIGHUP, SIGINT, SIGQUIT, SIGTERM) wait until the replacement is
// done or abandoned. Throws Failure naming the file and the reason; the target is then untouched
// and the temporary file removed.
void replaceFile(const std::string& file, const std::vector<unsigned char>& bytes);

}  // namespace orvconf

#endif
