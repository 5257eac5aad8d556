// A scratch directory per test and a way to run the installed orvconf in it.
#ifndef ORVCONF_TEST_ORVCONFFIXTURE_H
#define ORVCONF_TEST_ORVCONFFIXTURE_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

struct ProgramResult {
    int status = -1;  // the exit status, or -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs argv[0] (searched in PATH when it has no "/") with the arguments, standard input empty,
// and collects its exit status and output.
ProgramResult runProgram(const std::vector<std::string>& argv);

// True when a program of that name is found in PATH.
bool programExists(const std::string& name);

class OrvconfTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Runs the installed orvconf with the arguments.
    ProgramResult orvconf(const std::vector<std::string>& arguments) const;

    // Runs the installed orvconf as an unprivileged user when the tests run as root (root
    // ignores permission bits), otherwise as the current user.
    ProgramResult orvconfUnprivileged(const std::vector<std::string>& arguments) const;

    // The full name of a file in the scratch directory.
    std::string file(const std::string& name) const;

    std::string readFile(const std::string& name) const;
    void writeFile(const std::string& name, const std::string& bytes) const;

    // The names in a directory of the scratch directory ("" for itself), sorted.
    std::vector<std::string> directoryEntries(const std::string& name) const;

    // Expects exit status 2, no output, and exactly one error line beginning with "orvconf: "
    // that contains every one of the words.
    static void expectFailure(const ProgramResult& result,
                              std::initializer_list<std::string> words);

    // Expects exit status 0 and no error output.
    static void expectSuccess(const ProgramResult& result);

    // orvconf set, expected to succeed.
    void set(const std::string& name, const std::string& path, const std::string& type,
             const std::string& value) const;

  private:
    std::string d_directory;
};

#endif
