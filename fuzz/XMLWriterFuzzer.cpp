// The XML writer against the DOM oracle: the bytes choose a set (see oracle/WriterComparison.h),
// and the library must write exactly the bytes the oracle writes, or fail exactly as it fails.
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <string>

#include "FuzzSupport.h"
#include "oracle/WriterComparison.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Under UTF-8 every text reaches the writer whole, markup and non-ASCII characters included.
    static const bool utf8 = std::setlocale(LC_ALL, "C.UTF-8") != nullptr;
    FUZZ_CHECK(utf8);
    const auto set = oracle::xmlSetFrom(data, size);
    const std::string difference = oracle::writerDifference(*set);
    if (!difference.empty()) {
        std::fprintf(stderr, "%s\n", difference.c_str());
    }
    FUZZ_CHECK(difference.empty());
    return 0;
}
