#include <orvandel/configuration/internal/WholeFile.h>

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ios>
#include <system_error>

#include <orvandel/configuration/internal/FailureDetail.h>

namespace com {
namespace orvandel {
namespace configuration {

namespace {

// Reasons of the file layer's own that no errno names.
enum class FileError { notRegular = 1, shorterThanMeasured = 2 };

class FileErrorCategory : public std::error_category {
  public:
    const char* name() const noexcept override { return "orvandel file"; }
    std::string message(int code) const override {
        return code == static_cast<int>(FileError::notRegular) ? "not a regular file"
                                                               : "shorter than its measured size";
    }
};

const FileErrorCategory sd_fileErrorCategory;

// "cannot OPERATION 'FILE': REASON", recorded as the thread's failure detail and thrown.
[[noreturn]] void throwFileFailure(const char* operation, const std::string& filePath,
                                   std::error_code reason) {
    const std::string reasonText = reason.message();
    recordFailure("cannot ", operation, " '", filePath, "': ", reasonText);
    throw std::ios_base::failure(std::string("cannot ") + operation + " '" + filePath + "'",
                                 reason);
}

// The same, with the reason of an errno value.
[[noreturn]] void throwFileFailure(const char* operation, const std::string& filePath, int error) {
    throwFileFailure(operation, filePath, std::error_code(error, std::system_category()));
}

[[noreturn]] void throwFileFailure(const char* operation, const std::string& filePath,
                                   FileError error) {
    throwFileFailure(operation, filePath,
                     std::error_code(static_cast<int>(error), sd_fileErrorCategory));
}

// An open file descriptor, closed on every way out. Closing on an error path keeps errno, so
// the cause of the failure is still there to be reported.
class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : d_descriptor(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(-1); }

    // Closes the descriptor held (keeping errno) and holds descriptor instead.
    void reset(int descriptor) {
        if (d_descriptor >= 0) {
            const int error = errno;
            ::close(d_descriptor);
            errno = error;
        }
        d_descriptor = descriptor;
    }

    bool isOpen() const { return d_descriptor >= 0; }
    int get() const { return d_descriptor; }

    // Closes it, reporting whether the close itself succeeded.
    bool close() {
        const int result = ::close(d_descriptor);
        d_descriptor = -1;
        return result == 0;
    }

  private:
    int d_descriptor;
};

void writeAll(const Descriptor& file, const unsigned char* data, size_t length,
              const std::string& filePath) {
    while (length > 0) {
        const ssize_t count = ::write(file.get(), data, length);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwFileFailure("write", filePath, errno);
        }
        data += count;
        length -= static_cast<size_t>(count);
    }
}

// Flushes a regular file to disk and closes it; both results count.
void syncAndClose(Descriptor& file, const std::string& filePath) {
    if (::fsync(file.get()) != 0) {
        throwFileFailure("flush", filePath, errno);
    }
    if (!file.close()) {
        throwFileFailure("close", filePath, errno);
    }
}

// Writes the bytes over whatever filePath is, as a plain create-or-truncate would. Devices and
// FIFOs cannot be flushed to disk, so only a regular file is.
void writeInPlace(const std::string& filePath, const unsigned char* data, size_t length) {
    Descriptor file(::open(filePath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file.isOpen()) {
        throwFileFailure("open", filePath, errno);
    }
    writeAll(file, data, length, filePath);
    struct stat status {};
    if (::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)) {
        syncAndClose(file, filePath);
    } else if (!file.close()) {
        throwFileFailure("close", filePath, errno);
    }
}

// The file a replacement must put in the place of: the final target of a symbolic link, or
// filePath itself. Empty when filePath is a link whose target cannot be resolved (a dangling
// link), which is then written in place, creating its target as a plain open would.
std::string replacementTarget(const std::string& filePath) {
    struct stat status {};
    if (::lstat(filePath.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
        return filePath;
    }
    char resolved[PATH_MAX];
    return ::realpath(filePath.c_str(), resolved) != nullptr ? std::string(resolved)
                                                             : std::string();
}

// A name beside the target that no other save uses at the same time: the process, a sequence
// number and the clock's nanoseconds.
std::string uniqueSuffix() {
    static std::atomic<unsigned> sd_sequence{0};
    struct timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    char suffix[48];
    std::snprintf(suffix, sizeof suffix, "%x.%x.%lx", static_cast<unsigned>(::getpid()),
                  sd_sequence.fetch_add(1), static_cast<unsigned long>(now.tv_nsec));
    return suffix;
}

// A new hidden file next to the target (".NAME.SUFFIX"), created as a plain create would create
// the target (mode 0666 less the umask, the directory's default ACL), and removed again unless
// it was renamed into place.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& target) {
        const size_t nameStart = target.rfind('/') + 1;  // 0 when there is no slash
        d_directory = nameStart == 0 ? "." : target.substr(0, nameStart);
        const std::string prefix =
            target.substr(0, nameStart) + "." + target.substr(nameStart) + ".";
        for (int attempt = 0; attempt < 100; ++attempt) {
            d_path = prefix + uniqueSuffix();
            d_descriptor.reset(
                ::open(d_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
            if (d_descriptor.isOpen() || errno != EEXIST) {
                break;
            }
        }
        d_created = d_descriptor.isOpen();
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (d_created) {
            const int error = errno;
            ::unlink(d_path.c_str());
            errno = error;
        }
    }

    Descriptor& descriptor() { return d_descriptor; }
    const std::string& directory() const { return d_directory; }

    void renameOver(const std::string& target, const std::string& filePath) {
        if (::rename(d_path.c_str(), target.c_str()) != 0) {
            throwFileFailure("replace", filePath, errno);
        }
        d_created = false;
    }

  private:
    std::string d_directory;
    std::string d_path;
    Descriptor d_descriptor;
    bool d_created = false;  // and not yet renamed
};

// Flushes the directory entry of the rename. A file system that cannot flush directories
// (EINVAL) has done what it can.
void syncDirectory(const std::string& directory, const std::string& filePath) {
    Descriptor file(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (file.isOpen() && ::fsync(file.get()) != 0 && errno != EINVAL) {
        throwFileFailure("flush the directory of", filePath, errno);
    }
}

}  // namespace

FileContents readWholeFile(const std::string& filePath) {
    // O_NONBLOCK: opening a FIFO with no writer would otherwise wait for one.
    Descriptor file(::open(filePath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen()) {
        throwFileFailure("open", filePath, errno);
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        throwFileFailure("read", filePath, errno);
    }
    if (S_ISDIR(status.st_mode)) {
        throwFileFailure("read", filePath, EISDIR);
    }
    if (!S_ISREG(status.st_mode)) {
        throwFileFailure("read", filePath, FileError::notRegular);
    }
    FileContents contents;
    contents.length = static_cast<size_t>(status.st_size);
    if (contents.length != 0) {
        contents.bytes.reset(new unsigned char[contents.length]);
    }
    size_t done = 0;
    while (done < contents.length) {
        const ssize_t count =
            ::read(file.get(), contents.bytes.get() + done, contents.length - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throwFileFailure("read", filePath, errno);
        }
        if (count == 0) {
            throwFileFailure("read", filePath, FileError::shorterThanMeasured);
        }
        done += static_cast<size_t>(count);
    }
    return contents;
}

void replaceWholeFile(const std::string& filePath, const unsigned char* data, size_t length) {
    const std::string target = replacementTarget(filePath);
    struct stat status {};
    const bool exists = !target.empty() && ::stat(target.c_str(), &status) == 0;
    if (target.empty() || (exists && (!S_ISREG(status.st_mode) || status.st_nlink > 1))) {
        return writeInPlace(filePath, data, length);
    }
    TemporaryFile temporary(target);
    Descriptor& file = temporary.descriptor();
    if (!file.isOpen()) {
        if (errno == EACCES || errno == EPERM || errno == EROFS) {
            return writeInPlace(filePath, data, length);
        }
        throwFileFailure("write", filePath, errno);
    }
    if (exists) {
        // Owner and group are kept where the process may set them; a process that cannot has
        // made a file of its own, as an in-place write by another user could not either.
        if (::fchown(file.get(), status.st_uid, status.st_gid) != 0 && errno != EPERM) {
            throwFileFailure("set the owner of", filePath, errno);
        }
        if (::fchmod(file.get(), status.st_mode & 07777) != 0) {
            throwFileFailure("set the permissions of", filePath, errno);
        }
    }
    writeAll(file, data, length, filePath);
    syncAndClose(file, filePath);
    temporary.renameOver(target, filePath);
    syncDirectory(temporary.directory(), filePath);
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
