// A scratch directory per test as the working directory, and the installed orvconf run in it.
#ifndef ORVCONF_TEST_ORVCONFFIXTURE_H
#define ORVCONF_TEST_ORVCONFFIXTURE_H

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct ProgramResult {
    int status;  // the exit status, or -1 when the program did not exit normally
    std::string out, err;
};

inline std::string readFile(const std::string& name) {
    std::ifstream stream(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

// Runs a shell command, in which $ORVCONF names the installed orvconf, with empty input.
inline ProgramResult shell(const std::string& command) {
    const std::string output = "/tmp/orvconf-output-" + std::to_string(::getpid());
    const int status = std::system(
        ("(" + command + ") </dev/null >" + output + ".out 2>" + output + ".err").c_str());
    ProgramResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(output + ".out"),
                         readFile(output + ".err")};
    std::filesystem::remove(output + ".out");
    std::filesystem::remove(output + ".err");
    return result;
}

// Runs orvconf with the arguments, each quoted and, as by the system, cut at a NUL.
inline ProgramResult orvconf(const std::vector<std::string>& arguments) {
    std::string command = "\"$ORVCONF\"";
    for (const std::string& argument : arguments) {
        command += " '";
        for (const char* c = argument.c_str(); *c != 0; ++c) {
            command += *c == '\'' ? std::string("'\\''") : std::string(1, *c);
        }
        command += "'";
    }
    return shell(command);
}

class OrvconfTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char directory[] = "/tmp/orvconf-test-XXXXXX";
        ASSERT_NE(::mkdtemp(directory), nullptr);
        d_directory = directory;
        ::chmod(directory, 0755);  // open to the unprivileged user some tests run as
        ASSERT_EQ(::chdir(directory), 0);
        ::setenv("ORVCONF", ORVCONF_INSTALLED_PROGRAM, 1);
    }

    void TearDown() override {  // gives back write permission a test took away, removes all
        shell("chmod -R u+w '" + d_directory + "'; rm -rf '" + d_directory + "'");
    }

    static void writeFile(const std::string& name, const std::string& bytes) {
        std::ofstream(name, std::ios::binary) << bytes;
    }

    static bool contains(const std::string& text, const std::string& word) {
        return text.find(word) != std::string::npos;
    }

    static std::string listing() { return shell("LC_ALL=C ls -A").out; }

    // Expects the status, no output, and one error line "orvconf: ..." holding every word.
    static void expectFailure(const ProgramResult& result, const std::vector<std::string>& words,
                              int status = 2) {
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind("orvconf: ", 0), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        for (const std::string& word : words) {
            EXPECT_TRUE(contains(result.err, word)) << word << " in " << result.err;
        }
    }

    // Expects the output and the status, and no error output; expectOutput runs orvconf first.
    static void expectResult(const ProgramResult& result, const std::string& out = "",
                             int status = 0) {
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out, out);
    }

    static void expectOutput(const std::vector<std::string>& arguments, const std::string& out = "",
                             int status = 0) {
        SCOPED_TRACE(arguments.empty() ? "" : arguments[0] + " " + arguments.back());
        expectResult(orvconf(arguments), out, status);
    }

    static void set(const std::string& name, const std::string& path, const std::string& type,
                    const std::string& value) {
        expectOutput({"set", name, path, type, value});
    }

  private:
    std::string d_directory;
};

#endif
