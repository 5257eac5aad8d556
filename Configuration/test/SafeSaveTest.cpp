// save never destroys the file it replaces nor reports a failed write as success; load refuses
// what is not a regular file without blocking.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <ios>
#include <string>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using Set = AutoRefCounted<IConfigurationSet>;

namespace {

Set setOfSize(int count, int32_t value) {
    const Set set = testsupport::newBinarySet();
    for (int index = 0; index < count; ++index) {
        set->insertSetting("key" + std::to_string(index),
                           testsupport::makeSetting(ISetting::int32Type, value));
    }
    return set;
}

bool loadsAs(const std::string& file, const Set& expected) {
    const Set loaded = testsupport::newBinarySet();
    loaded->load(file);
    return testsupport::setsEqual(loaded, expected);
}

// A write that fails part way (a size limit, as on a full disk) throws, leaving the old file whole
// and nothing beside it; a FIFO or a device is written in place. A load of what is not a regular
// file (a FIFO with no writer, a device, a directory) fails at once, naming it, changing nothing.
TEST(SafeSave, AFailedWriteThrowsAndLeavesTheOldFileWholeWithNothingBeside) {
    const testsupport::ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    const Set small = setOfSize(10, 1);
    small->save(file);
    struct rlimit previous {};
    ::getrlimit(RLIMIT_FSIZE, &previous);
    const sighandler_t handler = ::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {4096, previous.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_THROW(setOfSize(2000, 2)->save(file), std::ios_base::failure);
    ::setrlimit(RLIMIT_FSIZE, &previous);
    ::signal(SIGXFSZ, handler);
    EXPECT_TRUE(loadsAs(file, small));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(directory.file("")),
                               std::filesystem::directory_iterator()));
    // A FIFO first: a save that replaced it would replace /dev/full too, which root may do.
    const std::string fifo = directory.file("fifo");
    ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    small->save(fifo);
    ASSERT_TRUE(std::filesystem::is_fifo(fifo));
    char bytes[16];
    EXPECT_EQ(static_cast<ssize_t>(sizeof bytes), ::read(reader, bytes, sizeof bytes));
    ::close(reader);
    EXPECT_THROW(small->save("/dev/full"), std::ios_base::failure);
    for (const std::string& name : {fifo, std::string("/dev/zero"), directory.file("")}) {
        const Set set = setOfSize(1, 1);
        set->checkModified();
        try {
            set->load(name);
            ADD_FAILURE() << name << " loaded";
        } catch (const std::ios_base::failure& failure) {
            EXPECT_NE(std::string::npos, std::string(failure.what()).find(name)) << failure.what();
        }
        EXPECT_TRUE(testsupport::setsEqual(set, setOfSize(1, 1)));
        EXPECT_FALSE(set->checkModified());
    }
}

// A replacement keeps the permissions, the symbolic link and a hard link's sharing (written in
// place); a new file gets a plain create's mode. Killed at any moment, a save leaves the old form
// or the new one, whole.
TEST(SafeSave, AReplacementIsWholeAndKeepsPermissionsLinksAndSharing) {
    const testsupport::ScratchDirectory directory;
    const Set before = setOfSize(1, 1), after = setOfSize(2, 2);
    const std::string file = directory.file("set.bin"), link = directory.file("link.bin");
    before->save(file);
    std::filesystem::permissions(file, std::filesystem::perms(0640));
    std::filesystem::create_symlink(file, link);
    after->save(link);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(std::filesystem::perms(0640), std::filesystem::status(file).permissions());
    EXPECT_TRUE(loadsAs(file, after));
    std::filesystem::create_hard_link(file, directory.file("hard.bin"));
    before->save(directory.file("hard.bin"));
    EXPECT_TRUE(loadsAs(file, before));
    const std::string fresh = directory.file("new.bin");
    const mode_t mask = ::umask(027);
    const Set sets[] = {setOfSize(20000, 1), setOfSize(30000, 2)};
    sets[0]->save(fresh);
    ::umask(mask);
    EXPECT_EQ(std::filesystem::perms(0640), std::filesystem::status(fresh).permissions());
    for (useconds_t round = 0; round < 12; ++round) {
        const pid_t child = ::fork();
        ASSERT_NE(-1, child);
        for (int save = 0; child == 0; ++save) {
            sets[save % 2]->save(fresh);
        }
        ::usleep(1000 + round * 3300);  // killed at moments spread over a save or two
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        EXPECT_TRUE(loadsAs(fresh, sets[0]) || loadsAs(fresh, sets[1])) << "round " << round;
    }
}

}  // namespace
