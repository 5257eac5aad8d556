// Writing replaces a file whole or not at all, and keeps its permissions and links.
#include "OrvconfFixture.h"

namespace {

// Where the directory forbids writing (to an unprivileged user when run as root), set fails and
// leaves the file as it was. A replacement keeps the mode (one that forbids writing is overridden
// only with --force) and the symbolic link; a new file gets what the umask allows.
TEST_F(OrvconfTest, WritingReplacesWholeFilesKeepingModeAndLinksAndWritesDevicesInPlace) {
    ASSERT_EQ(::mkdir("locked", 0755), 0);
    set("locked/c.cfg", "x", "int32", "1");
    const std::string before = readFile("locked/c.cfg");
    ASSERT_EQ(::chmod("locked/c.cfg", 0666) | ::chmod("locked", 0555), 0);
    const std::string as =
        ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    expectFailure(shell(as + "\"$ORVCONF\" set locked/c.cfg x int32 2"),
                  {"locked/c.cfg", "Permission denied"});
    EXPECT_EQ(readFile("locked/c.cfg"), before);
    set("p.xml", "a/x", "int32", "1");
    ASSERT_EQ(::chmod("p.xml", 0444) | ::symlink("p.xml", "link.xml"), 0);
    expectFailure(orvconf({"remove", "link.xml", "a/x"}), {"link.xml", "--force"});
    expectOutput({"set", "--force", "link.xml", "a/y", "int32", "2"});
    EXPECT_EQ(std::filesystem::status("p.xml").permissions(), std::filesystem::perms(0444));
    EXPECT_TRUE(std::filesystem::is_symlink("link.xml"));
    expectOutput({"print", "p.xml"}, "a/x (int32) = 1\na/y (int32) = 2\n");
    const mode_t mask = ::umask(0);
    ::umask(mask);
    set("n.cfg", "x", "int32", "1");
    EXPECT_EQ(std::filesystem::status("n.cfg").permissions(), std::filesystem::perms(0666 & ~mask));
    EXPECT_EQ(listing(), "link.xml\nlocked\nn.cfg\np.xml\n");

    // "-" is a standard stream; a device or a FIFO is written in place, never replaced.
    expectResult(shell("\"$ORVCONF\" convert p.xml - --to xml | \"$ORVCONF\" diff - p.xml && "
                       "\"$ORVCONF\" export p.xml - | \"$ORVCONF\" import j.cfg && "
                       "\"$ORVCONF\" print j.cfg"),
                 "a/x (int32) = 1\na/y (int32) = 2\n");
    ASSERT_EQ(::mkfifo("fifo", 0600), 0);
    expectResult(shell("cat fifo >copy & \"$ORVCONF\" convert p.xml fifo --to xml; wait"));
    EXPECT_TRUE(readFile("copy").rfind("<?xml", 0) == 0);
    ASSERT_TRUE(std::filesystem::is_fifo("fifo"));
    expectFailure(orvconf({"convert", "p.xml", "/dev/full"}), {"/dev/full", "space"});
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

}  // namespace
