#include "OrvconfFixture.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

extern char** environ;

namespace {

std::string slurp(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

}  // namespace

ProgramResult runProgram(const std::vector<std::string>& argv) {
    char outputTemplate[] = "/tmp/orvconf-output-XXXXXX";
    const char* outputDirectory = ::mkdtemp(outputTemplate);
    EXPECT_NE(outputDirectory, nullptr);
    const std::string out = std::string(outputTemplate) + "/out";
    const std::string err = std::string(outputTemplate) + "/err";

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char*> arguments;
    for (const std::string& argument : argv) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);

    ProgramResult result;
    pid_t child = 0;
    const int spawned =
        ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned == 0) {
        int status = 0;
        ::waitpid(child, &status, 0);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.out = slurp(out);
        result.err = slurp(err);
    } else {
        ADD_FAILURE() << "cannot start " << argv[0];
    }
    std::filesystem::remove_all(outputTemplate);
    return result;
}

bool programExists(const std::string& name) {
    return runProgram({"sh", "-c", "command -v " + name}).status == 0;
}

void OrvconfTest::SetUp() {
    char directoryTemplate[] = "/tmp/orvconf-test-XXXXXX";
    ASSERT_NE(::mkdtemp(directoryTemplate), nullptr);
    d_directory = directoryTemplate;
    // Open to others, so that a test may run the program as an unprivileged user.
    ::chmod(d_directory.c_str(), 0755);
}

void OrvconfTest::TearDown() {
    // Give back write permission taken away by a test, so that everything can be removed.
    for (const auto& entry : std::filesystem::recursive_directory_iterator(d_directory)) {
        if (entry.is_directory()) {
            ::chmod(entry.path().c_str(), 0755);
        }
    }
    std::filesystem::remove_all(d_directory);
}

ProgramResult OrvconfTest::orvconf(const std::vector<std::string>& arguments) const {
    std::vector<std::string> argv = {ORVCONF_INSTALLED_PROGRAM};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return runProgram(argv);
}

ProgramResult OrvconfTest::orvconfUnprivileged(const std::vector<std::string>& arguments) const {
    if (::geteuid() != 0) {
        return orvconf(arguments);
    }
    std::vector<std::string> argv = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                                     ORVCONF_INSTALLED_PROGRAM};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return runProgram(argv);
}

std::string OrvconfTest::file(const std::string& name) const {
    return d_directory + "/" + name;
}

std::string OrvconfTest::readFile(const std::string& name) const {
    return slurp(file(name));
}

void OrvconfTest::writeFile(const std::string& name, const std::string& bytes) const {
    std::ofstream stream(file(name), std::ios::binary | std::ios::trunc);
    stream << bytes;
}

std::vector<std::string> OrvconfTest::directoryEntries(const std::string& name) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(file(name))) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void OrvconfTest::expectFailure(const ProgramResult& result,
                                std::initializer_list<std::string> words) {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("orvconf: ", 0), 0u) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.err.back(), '\n');
    for (const std::string& word : words) {
        EXPECT_NE(result.err.find(word), std::string::npos)
            << "'" << word << "' missing in: " << result.err;
    }
}

void OrvconfTest::expectSuccess(const ProgramResult& result) {
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
}

void OrvconfTest::set(const std::string& name, const std::string& path, const std::string& type,
                      const std::string& value) const {
    expectSuccess(orvconf({"set", file(name), path, type, value}));
}
