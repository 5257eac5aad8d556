// The XML writer as the library once had it, kept as the tests' oracle: it builds a Xerces-C DOM
// of the document and has Xerces-C's DOM serializer print it.
#ifndef ORVANDEL_CONFIGURATION_TEST_ORACLE_DOMDOCUMENTWRITER_H
#define ORVANDEL_CONFIGURATION_TEST_ORACLE_DOMDOCUMENTWRITER_H

#include <vector>

#include <orvandel/configuration/IConfigurationSet.h>

namespace oracle {

// The XML configuration document of every setting of `set` (enumerated in path order), as the
// DOM serializer writes it. Fails as the library's writer must: xercesc::DOMException for a
// branch segment that is not an XML name, serializationFailureException for a path that is too
// deep or a character XML 1.0 cannot carry.
std::vector<unsigned char> domDocument(com::orvandel::configuration::IConfigurationSet& set);

}  // namespace oracle

#endif
