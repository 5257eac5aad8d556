// orvconf: inspect, edit, convert and compare configuration files of the Orvandel
// configuration library, through its public interfaces only.
#include <clocale>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "Failure.h"
#include "Version.h"

namespace {

// Keeps an error report on one line whatever file names or paths it quotes.
std::string oneLine(const std::string& message) {
    std::string line;
    for (const char c : message) {
        line += static_cast<unsigned char>(c) < 0x20 ? '?' : c;
    }
    return line;
}

int fail(const std::string& message, int status = 2) {
    std::cout.flush();
    std::cerr << "orvconf: " << oneLine(message) << std::endl;
    return status;
}

int run(const std::vector<std::string>& arguments) {
    const orvconf::CommandLine line = orvconf::parseCommandLine(arguments);
    if (line.help) {
        std::cout << orvconf::usageText(line.command);
    } else if (line.version) {
        std::cout << "orvconf (Orvandel Configuration) " << ORVCONF_LIBRARY_VERSION << '\n';
    } else {
        const int status = orvconf::runCommand(line, std::cout);
        std::cout.flush();
        if (!std::cout) {
            throw orvconf::Failure("cannot write to standard output");
        }
        return status;
    }
    std::cout.flush();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // The XML form converts text through the C library's multibyte functions; UTF-8 keeps every
    // character. Without a UTF-8 locale the user's own is used.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
        std::setlocale(LC_CTYPE, "");
    }
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const orvconf::Failure& failure) {
        return fail(failure.what(), failure.status());
    } catch (const std::bad_alloc&) {
        return fail("out of memory");
    } catch (const std::exception& error) {
        return fail(std::string("unexpected error: ") + error.what());
    } catch (...) {
        return fail("unexpected error");
    }
}
