// Edits of an XML configuration document that change only the elements concerned: every other
// byte (comments, processing instructions, element order, whitespace) stays as it was.
#ifndef ORVCONF_XMLEDIT_H
#define ORVCONF_XMLEDIT_H

#include <string>

namespace orvconf {

// document with the setting at path given by element (a complete setting element as the library
// writes it): the last setting element with that key is replaced; when there is none, element
// goes into the deepest branch element that matches the path's branches, inside the new branch
// elements the rest of the path needs, indented as the document is.
std::string setXmlSetting(const std::string& document, const std::string& path,
                          const std::string& element);

// document without any setting element whose key is path, nor the branch elements that are then
// left holding nothing but blanks; lines left blank by a removal go with it.
std::string removeXmlSetting(const std::string& document, const std::string& path);

}  // namespace orvconf

#endif
