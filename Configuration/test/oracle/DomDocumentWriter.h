// The XML writer as the library once had it, kept as the tests' oracle: a Xerces-C DOM of the
// document, printed by Xerces-C's DOM serializer.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_DOMDOCUMENTWRITER_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_DOMDOCUMENTWRITER_H

#include <vector>

#include <orvandel/configuration/IConfigurationSet.h>

namespace oracle {

// The document of every setting of `set` in path order. Fails as the library's writer must:
// xercesc::DOMException for a branch segment that is no XML name, serializationFailureException
// for a path too deep or a character XML 1.0 cannot carry.
std::vector<unsigned char> domDocument(com::orvandel::configuration::IConfigurationSet& set);

}  // namespace oracle

#endif
