#include "WriterComparison.h"

#include <string>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/Base64.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <orvandel/configuration/internal/XMLConfigurationSet.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace oracle {

using namespace xercesc;
using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

// Base64 as Xerces-C encodes it (lines broken by line feeds), read through the writable accessor
// as the writer reads it; an empty buffer has empty text.
std::string base64Text(ISetting& setting) {
    unsigned char* binary = nullptr;
    size_t length = 0;
    setting.getBinaryBuffer(&binary, &length);
    if (length == 0) {
        return std::string();
    }
    XMLSize_t encodedLength = 0;
    const XercesBuffer<XMLByte> encoded(
        Base64::encode(binary, length, &encodedLength, XMLPlatformUtils::fgMemoryManager));
    return std::string(reinterpret_cast<const char*>(encoded.get()), encodedLength);
}

// Narrow text (Xerces-C's local code page) as Xerces-C's UTF-16.
XercesBuffer<XMLCh> unicode(const std::string& text) {
    XercesBuffer<XMLCh> transcoded(XMLString::transcode(text.c_str()));
    if (transcoded == nullptr) {
        throw IConfigurationSet::serializationFailureException;
    }
    return transcoded;
}

// The one element child of parent named tag, or null when there is none or several.
DOMElement* uniqueChild(DOMElement& parent, const XMLCh* tag) {
    DOMElement* found = nullptr;
    for (DOMElement* child = parent.getFirstElementChild(); child != nullptr;
         child = child->getNextElementSibling()) {
        if (XMLString::equals(child->getTagName(), tag)) {
            if (found != nullptr) {
                return nullptr;
            }
            found = child;
        }
    }
    return found;
}

// Adds the setting element of path, reusing a branch element only while every one above it was
// reused and it is its parent's one child of that name.
void addSetting(DOMDocument& document, XMLValueTextWriter& values, const std::string& path,
                ISetting& setting) {
    const size_t lastSlash = path.rfind('/');
    const size_t branchEnd = lastSlash == std::string::npos ? 0 : lastSlash;
    DOMElement* parent = document.getDocumentElement();
    bool upperParentMissing = false;
    size_t depth = 1;
    for (size_t position = 0; position < branchEnd;) {
        const size_t segmentEnd = path.find('/', position);
        const auto tag = unicode(path.substr(position, segmentEnd - position));
        position = segmentEnd + 1;
        if (++depth > XMLConfigurationSet::sd_maxElementDepth - 1) {
            throw IConfigurationSet::serializationFailureException;
        }
        DOMElement* existing = upperParentMissing ? nullptr : uniqueChild(*parent, tag.get());
        if (existing == nullptr) {
            upperParentMissing = true;
            existing = document.createElement(tag.get());
            parent->appendChild(existing);
        }
        parent = existing;
    }
    DOMElement* element = document.createElement(u"setting");
    parent->appendChild(element);
    element->setAttribute(u"name", unicode(path.substr(lastSlash + 1)).get());
    const std::string text = setting.getType() == ISetting::binaryType
                                 ? base64Text(setting)
                                 : std::string(values.valueText(setting));
    element->setAttribute(u"type", xmlTypeKeywordUnicode(setting.getType()));
    element->appendChild(document.createTextNode(unicode(text).get()));
}

}  // namespace

std::vector<unsigned char> domDocument(IConfigurationSet& set) {
    DOMImplementation* implementation = DOMImplementationRegistry::getDOMImplementation(u"LS");
    const XercesReleased<DOMDocument> document(
        implementation->createDocument(nullptr, u"configuration", nullptr));
    document->setXmlStandalone(true);
    XMLValueTextWriter values;
    std::string path;
    for (uint32_t index = 0; index < set.getSettingCount(); ++index) {
        addSetting(*document, values, path, *set.retrieveSettingByIndex("", index, path));
    }
    const XercesReleased<DOMLSSerializer> serializer(implementation->createLSSerializer());
    serializer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
    const XercesReleased<DOMLSOutput> output(implementation->createLSOutput());
    MemBufFormatTarget target;
    output->setByteStream(&target);
    bool written = false;
    try {
        written = serializer->write(document.get(), output.get());
    } catch (const DOMLSException&) {
        // reported below, like a write that returns false
    }
    if (!written) {
        throw IConfigurationSet::serializationFailureException;
    }
    return std::vector<unsigned char>(target.getRawBuffer(),
                                      target.getRawBuffer() + target.getLen());
}

}  // namespace oracle
