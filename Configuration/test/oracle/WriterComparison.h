// What the differential test and the writer's fuzz target share: a set decoded from arbitrary
// bytes, and the comparison of the library's XML writer with the DOM oracle on it.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_WRITERCOMPARISON_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_WRITERCOMPARISON_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>

namespace oracle {

// An XML set whose settings the bytes choose: every type (and one beyond them), texts and names
// mixing markup characters, whitespace, control characters, non-ASCII and invalid UTF-8, paths
// from a small vocabulary of segments (so that branches are shared, reused and split), with
// empty and odd segments, and now and then a path near the nesting bound.
com::orvandel::AutoRefCounted<com::orvandel::configuration::IConfigurationSet> xmlSetFrom(
    const uint8_t* data, size_t size);

// Empty when the library's writer (a length query, then a buffer of that length) gives exactly
// the oracle's bytes, or fails exactly as the oracle does; otherwise both outcomes.
std::string writerDifference(com::orvandel::configuration::IConfigurationSet& set);

}  // namespace oracle

#endif
