// What the differential test and the writer's fuzz target share: a set decoded from arbitrary
// bytes, and the comparison of the library's XML writer with the DOM oracle on it.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_WRITERCOMPARISON_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_WRITERCOMPARISON_H

#include <cstdint>
#include <string>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>

namespace oracle {

// An XML set the bytes choose: every type (and one beyond), texts and names mixing markup,
// whitespace, control characters, non-ASCII and invalid UTF-8, paths from a small vocabulary (so
// branches are shared, reused and split), odd segments, and now and then a path near the bound.
com::orvandel::AutoRefCounted<com::orvandel::configuration::IConfigurationSet> xmlSetFrom(
    const uint8_t* data, size_t size);

// Empty when the library's writer gives exactly the oracle's bytes, or fails exactly as it does;
// otherwise both outcomes.
std::string writerDifference(com::orvandel::configuration::IConfigurationSet& set);

}  // namespace oracle

#endif
