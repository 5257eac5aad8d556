// The XML writer as the library once had it, kept as the tests' oracle (a Xerces-C DOM of the
// document, printed by Xerces-C's DOM serializer), sets decoded from arbitrary bytes, and the
// comparison of the library's writer with the oracle on them.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_WRITERCOMPARISON_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_WRITERCOMPARISON_H

#include <cstdint>
#include <string>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>

namespace oracle {

// The document of every setting of `set` in path order. Fails as the library's writer must:
// xercesc::DOMException for a branch segment that is no XML name, serializationFailureException
// for a path too deep or a character XML 1.0 cannot carry.
std::vector<unsigned char> domDocument(com::orvandel::configuration::IConfigurationSet& set);

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
