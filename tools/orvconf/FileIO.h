// Whole-file reading and crash-safe replacement of a file's contents.
#ifndef ORVCONF_FILEIO_H
#define ORVCONF_FILEIO_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvconf {

// The most bytes read from an input that is not a regular file (standard input, a FIFO, a
// device): 256 MiB.
inline constexpr size_t kStreamInputLimit = size_t(256) << 20;

// True for the name "-", which stands for standard input or standard output.
inline bool isStandardStream(const std::string& file) {
    return file == "-";
}

// The contents of file ("-": standard input), or nothing when it does not exist. An input that
// is not a regular file is read up to kStreamInputLimit. Throws Failure naming the file and the
// reason when it exists but cannot be read, or holds more than the limit.
std::optional<std::vector<unsigned char>> readWholeFile(const std::string& file);

// Replaces the contents of file by bytes so that the file is never seen truncated or half
// written: the bytes go to a temporary file in the same directory, are flushed to disk, and the
// temporary file is renamed over the target. An existing file keeps its permission bits (a new
// one gets those the umask allows), and a symbolic link is followed, so the file it names is
// replaced. Termination signals (SIGHUP, SIGINT, SIGQUIT, SIGTERM) wait until the replacement is
// done or abandoned. Throws Failure naming the file and the reason; the target is then untouched
// and the temporary file removed.
//
// "-" stands for standard output, and a target that exists but is not a regular file (a
// device, a FIFO, a terminal) is written to directly, never replaced. A regular file whose
// permission bits do not let the user write it is refused unless force is true.
void replaceFile(const std::string& file, const std::vector<unsigned char>& bytes, bool force);

}  // namespace orvconf

#endif
