// save never destroys the file it replaces and never reports a failed write as success; load
// refuses what is not a regular file without blocking.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <ios>
#include <random>
#include <string>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeSetting;
using testsupport::newBinarySet;
using testsupport::ScratchDirectory;
using testsupport::setsEqual;

namespace {

AutoRefCounted<IConfigurationSet> setOfSize(int count, int32_t value) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    for (int index = 0; index < count; ++index) {
        set->insertSetting("key" + std::to_string(index), makeSetting(ISetting::int32Type, value));
    }
    return set;
}

bool loadsAs(const std::string& file, const AutoRefCounted<IConfigurationSet>& expected) {
    const AutoRefCounted<IConfigurationSet> loaded = newBinarySet();
    loaded->load(file);
    return setsEqual(loaded, expected);
}

size_t entriesIn(const std::string& directory) {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory)) {
        ++count;
    }
    return count;
}

mode_t modeOf(const std::string& file) {
    struct stat status {};
    ::stat(file.c_str(), &status);
    return status.st_mode & 07777;
}

// Limits the size of any file the process writes, so that a write fails as on a full disk.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &d_previous);
        d_handler = ::signal(SIGXFSZ, SIG_IGN);
        const struct rlimit limit = {bytes, d_previous.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &d_previous);
        ::signal(SIGXFSZ, d_handler);
    }

  private:
    struct rlimit d_previous {};
    sighandler_t d_handler;
};

// A write that fails part way (the file system full) throws, and the old file is still whole.
TEST(SafeSave, AFailedWriteThrowsAndLeavesTheOldFileWholeWithNothingBeside) {
    const ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    const AutoRefCounted<IConfigurationSet> small = setOfSize(10, 1);
    small->save(file);
    {
        const FileSizeLimit limit(4096);
        EXPECT_THROW(setOfSize(2000, 2)->save(file), std::ios_base::failure);
    }
    EXPECT_TRUE(loadsAs(file, small));
    EXPECT_EQ(1u, entriesIn(directory.file("")));
    // A device is written in place, never replaced; a device that is full fails the save.
    EXPECT_THROW(small->save("/dev/full"), std::ios_base::failure);
    small->save("/dev/null");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

// Killed at any moment, a save leaves the old form or the new one, whole.
TEST(SafeSave, ASaveKilledAtAnyMomentLeavesTheOldOrTheNewFileWhole) {
    const ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    const AutoRefCounted<IConfigurationSet> sets[] = {setOfSize(20000, 1), setOfSize(30000, 2)};
    sets[0]->save(file);
    std::mt19937 random(7);
    for (int round = 0; round < 12; ++round) {
        const pid_t child = ::fork();
        ASSERT_NE(-1, child);
        if (child == 0) {
            for (int save = 0;; ++save) {
                sets[save % 2]->save(file);
            }
        }
        ::usleep(std::uniform_int_distribution<useconds_t>(1000, 40000)(random));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        EXPECT_TRUE(loadsAs(file, sets[0]) || loadsAs(file, sets[1])) << "round " << round;
    }
}

// The replacement keeps what the file was to its user: its permissions, the symbolic link that
// named it, and a hard link's sharing (written in place). A new file gets a plain create's mode.
TEST(SafeSave, AReplacementKeepsPermissionsLinksAndSharing) {
    const ScratchDirectory directory;
    const AutoRefCounted<IConfigurationSet> before = setOfSize(1, 1);
    const AutoRefCounted<IConfigurationSet> after = setOfSize(2, 2);
    const std::string file = directory.file("set.bin");
    const std::string link = directory.file("link.bin");
    const std::string hard = directory.file("hard.bin");
    before->save(file);
    ::chmod(file.c_str(), 0640);
    std::filesystem::create_symlink(file, link);
    after->save(link);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(0640u, modeOf(file));
    EXPECT_TRUE(loadsAs(file, after));
    std::filesystem::create_hard_link(file, hard);
    before->save(hard);
    EXPECT_TRUE(loadsAs(file, before));

    const mode_t mask = ::umask(027);
    after->save(directory.file("new.bin"));
    ::umask(mask);
    EXPECT_EQ(0640u, modeOf(directory.file("new.bin")));
}

// What is not a regular file is refused at once: a FIFO with no writer, a device, a directory.
TEST(SafeLoad, AnythingButARegularFileIsRefusedWithoutBlocking) {
    const ScratchDirectory directory;
    const std::string fifo = directory.file("fifo");
    ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    for (const std::string& file : {fifo, std::string("/dev/zero"), directory.file("")}) {
        const AutoRefCounted<IConfigurationSet> set = setOfSize(1, 1);
        set->checkModified();
        try {
            set->load(file);
            ADD_FAILURE() << file << " loaded";
        } catch (const std::ios_base::failure& failure) {
            EXPECT_NE(std::string::npos, std::string(failure.what()).find(file)) << failure.what();
        }
        EXPECT_TRUE(setsEqual(set, setOfSize(1, 1)));
        EXPECT_FALSE(set->checkModified());
    }
}

}  // namespace
