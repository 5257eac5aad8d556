#include "FileIO.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "Failure.h"

namespace orvconf {
namespace {

std::string systemError() {
    return std::strerror(errno);
}

// Holds back the signals that end a program from a terminal or a service manager while it lives,
// so that an interrupted replacement ends either before the temporary file exists or after the
// rename: no stray temporary file is left behind. Held-back signals arrive afterwards.
class DeferredTerminationSignals {
  public:
    DeferredTerminationSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
            sigaddset(&signals, signal);
        }
        ::sigprocmask(SIG_BLOCK, &signals, &d_previous);
    }
    DeferredTerminationSignals(const DeferredTerminationSignals&) = delete;
    DeferredTerminationSignals& operator=(const DeferredTerminationSignals&) = delete;
    ~DeferredTerminationSignals() { ::sigprocmask(SIG_SETMASK, &d_previous, nullptr); }

  private:
    sigset_t d_previous;
};

// Closes the descriptor and removes the temporary file unless the replacement went through.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string pathTemplate) : d_path(std::move(pathTemplate)) {
        d_descriptor = ::mkstemp(d_path.data());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (d_descriptor >= 0) {
            ::close(d_descriptor);
        }
        if (!d_committed) {
            ::unlink(d_path.c_str());
        }
    }

    bool isOpen() const { return d_descriptor >= 0; }
    int descriptor() const { return d_descriptor; }
    const std::string& path() const { return d_path; }

    // Closes the descriptor, reporting a failure of the close itself.
    bool close() {
        const int result = ::close(d_descriptor);
        d_descriptor = -1;
        return result == 0;
    }

    void commit() { d_committed = true; }

  private:
    std::string d_path;
    int d_descriptor = -1;
    bool d_committed = false;
};

// The file a write must replace: the target of a symbolic link, otherwise file itself.
std::string resolveTarget(const std::string& file) {
    struct stat status {};
    if (::lstat(file.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
        return file;
    }
    char resolved[PATH_MAX];
    if (::realpath(file.c_str(), resolved) == nullptr) {
        throw Failure(file + ": cannot follow the symbolic link: " + systemError());
    }
    return resolved;
}

mode_t permissionsFor(const std::string& target) {
    struct stat status {};
    if (::stat(target.c_str(), &status) == 0) {
        return status.st_mode & 07777;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

// Writes all of bytes to an open descriptor; false with errno set when that fails.
bool writeAll(int descriptor, const std::vector<unsigned char>& bytes) {
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}

// Writes to standard output or to a target that is not a regular file, in place.
void writeInPlace(const std::string& file, const std::vector<unsigned char>& bytes) {
    const bool standardOutput = isStandardStream(file);
    const int descriptor =
        standardOutput ? 1 : ::open(file.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        throw Failure(file + ": cannot open: " + systemError());
    }
    const bool written = writeAll(descriptor, bytes);
    const std::string reason = written ? "" : systemError();
    if (!standardOutput && ::close(descriptor) != 0 && written) {
        throw Failure(file + ": cannot write: " + systemError());
    }
    if (!written) {
        throw Failure(file + ": cannot write: " + reason);
    }
}

// True when the permission bits of an existing file let this process's user write it (the
// owner's, the group's or the others' bits, whichever class the user falls in).
bool modeAllowsWriting(const struct stat& status) {
    if (status.st_uid == ::geteuid()) {
        return (status.st_mode & S_IWUSR) != 0;
    }
    if (status.st_gid == ::getegid()) {
        return (status.st_mode & S_IWGRP) != 0;
    }
    return (status.st_mode & S_IWOTH) != 0;
}

void syncDirectory(const std::string& directory) {
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        // The rename has happened; a directory that cannot be flushed does not undo it.
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

}  // namespace

std::optional<std::vector<unsigned char>> readWholeFile(const std::string& file) {
    const bool standardInput = isStandardStream(file);
    const int descriptor = standardInput ? 0 : ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw Failure(file + ": cannot open: " + systemError());
    }
    struct stat status {};
    const bool limited = ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode);
    std::vector<unsigned char> bytes;
    unsigned char block[65536];
    std::string failure;
    for (;;) {
        const ssize_t count = ::read(descriptor, block, sizeof block);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            failure = file + ": cannot read: " + systemError();
            break;
        }
        if (count == 0) {
            break;
        }
        if (limited && bytes.size() + static_cast<size_t>(count) > kStreamInputLimit) {
            failure = file + ": more than " + std::to_string(kStreamInputLimit >> 20) +
                      " MiB from an input that is not a regular file";
            break;
        }
        bytes.insert(bytes.end(), block, block + count);
    }
    if (!standardInput) {
        ::close(descriptor);
    }
    if (!failure.empty()) {
        throw Failure(failure);
    }
    return bytes;
}

void replaceFile(const std::string& file, const std::vector<unsigned char>& bytes, bool force) {
    struct stat existing {};
    const bool exists = !isStandardStream(file) && ::stat(file.c_str(), &existing) == 0;
    if (isStandardStream(file) || (exists && !S_ISREG(existing.st_mode))) {
        writeInPlace(file, bytes);
        return;
    }
    if (exists && !force && !modeAllowsWriting(existing)) {
        throw Failure(file + ": its mode does not allow writing it (--force replaces it)");
    }
    const std::string target = resolveTarget(file);
    const size_t slash = target.rfind('/');
    const std::string directory =
        slash == std::string::npos ? "." : (slash == 0 ? "/" : target.substr(0, slash));
    const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
    const mode_t permissions = permissionsFor(target);

    const DeferredTerminationSignals deferred;
    TemporaryFile temporary(directory + "/." + name + ".XXXXXX");
    if (!temporary.isOpen()) {
        throw Failure(file + ": cannot create a temporary file in " + directory + ": " +
                      systemError());
    }
    if (::fchmod(temporary.descriptor(), permissions) != 0) {
        throw Failure(file + ": cannot set the permissions of " + temporary.path() + ": " +
                      systemError());
    }
    if (!writeAll(temporary.descriptor(), bytes)) {
        throw Failure(file + ": cannot write " + temporary.path() + ": " + systemError());
    }
    if (::fsync(temporary.descriptor()) != 0 || !temporary.close()) {
        throw Failure(file + ": cannot flush " + temporary.path() + " to disk: " + systemError());
    }
    if (::rename(temporary.path().c_str(), target.c_str()) != 0) {
        throw Failure(file + ": cannot rename " + temporary.path() + " over it: " + systemError());
    }
    temporary.commit();
    syncDirectory(directory);
}

}  // namespace orvconf
