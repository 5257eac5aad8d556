// Moving a whole serialised form between memory and a named file, for load and save. Every
// failure is thrown as std::ios_base::failure whose text names the file, the operation and the
// reason (strerror of errno taken where the call failed).
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_WHOLEFILE_H
#define ORVANDEL_CONFIGURATION_INTERNAL_WHOLEFILE_H

#include <cstddef>
#include <memory>
#include <string>

namespace com {
namespace orvandel {
namespace configuration {

// The bytes of a file read whole.
struct FileContents {
    std::unique_ptr<unsigned char[]> bytes;  // null when length is 0
    size_t length = 0;
};

// Reads the regular file at filePath whole. Anything else (a directory, a FIFO, a device, a
// socket) is refused without reading from it and without blocking, so that a FIFO with no
// writer or an endless device never holds the caller up. Throws std::ios_base::failure when the
// file cannot be opened, is not a regular file, cannot be read or is shorter than it measured,
// std::bad_alloc when its bytes do not fit in memory.
FileContents readWholeFile(const std::string& filePath);

// Writes length bytes at data (borrowed) to filePath so that neither a failure nor a crash part
// way through destroys what the file held: the bytes go to a new file in the same directory,
// which is flushed to disk and renamed over the old one, and the directory is flushed. The file
// keeps its permission bits (and owner and group where the process may set them); a new file
// gets those of a plain create (0666 less the umask). A symbolic link is followed and its target
// replaced, so the link stays. Where a replacement is impossible or would break what the user
// relies on, the file is written in place instead: a directory where the process cannot create
// a file, a file with more than one hard link, or anything that is not a regular file (a device
// or a FIFO is written to, never replaced). Every write, flush and close is checked on both
// ways. Throws std::ios_base::failure on any failure, leaving no temporary file behind and, on
// the replacing way, the old file untouched.
void replaceWholeFile(const std::string& filePath, const unsigned char* data, size_t length);

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
