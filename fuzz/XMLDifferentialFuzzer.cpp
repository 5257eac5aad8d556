// Feeds arbitrary bytes to the library's XML reader and to the DOM reader it replaced, each
// reading into a set that already holds settings.
//
// Invariant: both give the same outcome: the same failure (or none), the same paths, types and
// values, the same earlier settings kept, and the same modified flag afterwards.
#include <cstdio>

#include "ReadComparison.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string difference = oracle::differenceBetweenReaders(data, size);
    if (!difference.empty()) {
        std::fprintf(stderr, "%s\n", difference.c_str());
    }
    FUZZ_CHECK(difference.empty());
    return 0;
}
