// Writing replaces a file whole or not at all, and keeps its permissions.
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "OrvconfFixture.h"

using namespace std::string_literals;

namespace {

class SafeWriteTest : public OrvconfTest {
  protected:
    mode_t permissions(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::stat(file(name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }
};

TEST_F(SafeWriteTest, AWriteIntoADirectoryWithoutPermissionKeepsTheOldFile) {
    ASSERT_EQ(::mkdir(file("locked").c_str(), 0755), 0);
    set("locked/c.cfg", "x", "int32", "1");
    const std::string before = readFile("locked/c.cfg");
    ASSERT_EQ(::chmod(file("locked/c.cfg").c_str(), 0666), 0);  // only the directory forbids
    ASSERT_EQ(::chmod(file("locked").c_str(), 0555), 0);

    // Reading is allowed, so the failure is the write's own.
    EXPECT_EQ(orvconfUnprivileged({"get", file("locked/c.cfg"), "x"}).out, "1\n");
    expectFailure(orvconfUnprivileged({"set", file("locked/c.cfg"), "x", "int32", "2"}),
                  {file("locked/c.cfg"), "Permission denied"});
    expectFailure(orvconfUnprivileged({"remove", file("locked/c.cfg"), "x"}),
                  {file("locked/c.cfg")});
    expectFailure(orvconfUnprivileged({"convert", file("locked/c.cfg"), file("locked/copy.cfg")}),
                  {file("locked/copy.cfg")});

    EXPECT_EQ(readFile("locked/c.cfg"), before);
    EXPECT_EQ(directoryEntries("locked"), std::vector<std::string>{"c.cfg"});
}

TEST_F(SafeWriteTest, AFileItsModeProtectsIsReplacedOnlyWithForce) {
    set("ro.xml", "a/x", "int32", "1");
    ASSERT_EQ(::chmod(file("ro.xml").c_str(), 0444), 0);
    const std::string before = readFile("ro.xml");
    expectFailure(orvconf({"set", file("ro.xml"), "a/x", "int32", "2"}),
                  {file("ro.xml"), "--force"});
    expectFailure(orvconf({"remove", file("ro.xml"), "a/x"}), {"--force"});
    EXPECT_EQ(readFile("ro.xml"), before);
    expectSuccess(orvconf({"set", "--force", file("ro.xml"), "a/x", "int32", "2"}));
    EXPECT_EQ(permissions("ro.xml"), 0444u);
    EXPECT_EQ(orvconf({"get", file("ro.xml"), "a/x"}).out, "2\n");
}

TEST_F(SafeWriteTest, AWriteKeepsPermissionsANewFileGetsTheUmasksAndNoTemporaryFileIsLeft) {
    set("p.cfg", "x", "int32", "1");
    ASSERT_EQ(::chmod(file("p.cfg").c_str(), 0640), 0);
    set("p.cfg", "y", "int32", "2");
    EXPECT_EQ(permissions("p.cfg"), 0640u);
    expectSuccess(orvconf({"remove", file("p.cfg"), "x"}));
    EXPECT_EQ(permissions("p.cfg"), 0640u);

    // A new file gets the permissions the umask allows.
    set("n.cfg", "x", "int32", "1");
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(permissions("n.cfg"), 0666u & ~mask);
    EXPECT_EQ(directoryEntries(""), (std::vector<std::string>{"n.cfg", "p.cfg"}));
}

TEST_F(SafeWriteTest, ASymbolicLinkIsFollowedAndKept) {
    set("target.cfg", "x", "int32", "1");
    ASSERT_EQ(::symlink("target.cfg", file("link.cfg").c_str()), 0);
    set("link.cfg", "x", "int32", "2");
    struct stat status {};
    ASSERT_EQ(::lstat(file("link.cfg").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(orvconf({"get", file("target.cfg"), "x"}).out, "2\n");
}

TEST_F(SafeWriteTest, AFailedCommandWritesNothingAndAnUnreadableFileIsNotReplaced) {
    set("f.cfg", "x", "int32", "1");
    const std::string before = readFile("f.cfg");
    expectFailure(orvconf({"set", file("f.cfg"), "x", "int32", "x"}), {file("f.cfg")});
    expectFailure(orvconf({"set", file("f.cfg"), "x", "nosuchtype", "1"}), {file("f.cfg")});
    expectFailure(orvconf({"set", file("new.cfg"), "x", "int32", "99999999999"}),
                  {file("new.cfg")});
    EXPECT_EQ(readFile("f.cfg"), before);
    EXPECT_EQ(directoryEntries(""), std::vector<std::string>{"f.cfg"});
    writeFile("bad.cfg", "\x09\0\0\0\0\0\0\0abc"s);
    expectFailure(orvconf({"set", file("bad.cfg"), "x", "int32", "1"}), {file("bad.cfg")});
    EXPECT_EQ(readFile("bad.cfg"), "\x09\0\0\0\0\0\0\0abc"s);
}

TEST_F(SafeWriteTest, DashIsAStandardStreamAndDevicesAndFifosAreWrittenInPlace) {
    set("c.xml", "a/x", "int32", "7");
    const std::string program = std::string("'") + ORVCONF_INSTALLED_PROGRAM + "' ";
    const std::string xml = " '" + file("c.xml") + "'";
    const auto shell = [](const std::string& command) { return runProgram({"sh", "-c", command}); };
    for (const std::string& command :
         {program + "print - <" + xml,
          program + "convert" + xml + " - --to xml | " + program + "print -",
          program + "diff -" + xml + " <" + xml + " && " + program + "export" + xml + " - | " +
              program + "import '" + file("j.cfg") + "' && " + program + "print " +
              file("j.cfg")}) {
        SCOPED_TRACE(command);
        const ProgramResult result = shell(command);
        expectSuccess(result);
        EXPECT_EQ(result.out, "a/x (int32) = 7\n");
    }

    expectFailure(orvconf({"convert", file("c.xml"), "/dev/full"}), {"/dev/full", "space"});
    struct stat status {};
    ASSERT_EQ(::stat("/dev/full", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));

    ASSERT_EQ(::mkfifo(file("fifo").c_str(), 0600), 0);
    expectSuccess(shell("cat '" + file("fifo") + "' > '" + file("copy") + "' & " + program +
                        "convert" + xml + " '" + file("fifo") + "' --to xml; wait"));
    EXPECT_EQ(readFile("copy").rfind("<?xml", 0), 0u);
    ASSERT_EQ(::stat(file("fifo").c_str(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

}  // namespace
