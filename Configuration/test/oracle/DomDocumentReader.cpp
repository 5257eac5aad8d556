#include "ReadComparison.h"

#include <string>
#include <utility>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>

#include <orvandel/configuration/internal/XMLDocumentReader.h>
#include <orvandel/configuration/internal/XMLParserMemory.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace oracle {

using namespace xercesc;
using com::orvandel::AutoRefCounted;
using namespace com::orvandel::configuration;

namespace {

// Whether any element at or below root (entity references included) has more attributes than
// the library's reader accepts. Walked without recursion, since documents may nest deeply.
bool hasElementWithTooManyAttributes(const DOMNode& root) {
    const DOMNode* node = &root;
    while (node != nullptr) {
        const DOMNamedNodeMap* attributes = node->getAttributes();
        if (attributes != nullptr &&
            attributes->getLength() > XMLDocumentReader::sd_maxAttributes) {
            return true;
        }
        if (node->getFirstChild() != nullptr) {
            node = node->getFirstChild();
            continue;
        }
        while (node != nullptr && node != &root && node->getNextSibling() == nullptr) {
            node = node->getParentNode();
        }
        node = node == nullptr || node == &root ? nullptr : node->getNextSibling();
    }
    return false;
}

std::string requiredAttribute(const DOMElement& element, const XMLCh* name) {
    const DOMAttr* attribute = element.getAttributeNode(name);
    if (attribute == nullptr) {
        throw IConfigurationSet::serializationFailureException;
    }
    return TranscodedText(attribute->getValue()).get();
}

}  // namespace

DomReadingSet::DomReadingSet() {
    XMLTransService::Codes failReason = XMLTransService::Ok;
    d_transcoder.reset(XMLPlatformUtils::fgTransService->makeNewTranscoderFor(
        "UCS-4LE", failReason, 16384, XMLPlatformUtils::fgMemoryManager));
}

// The DOM parser with its defaults, except that nothing is ever fetched and entity expansion is
// bounded, as in the library's reader.
void DomReadingSet::unserialize(const unsigned char* in, size_t inLength) {
    SettingMap read;
    {
        // Xerces-C loses memory on some error paths; its own pool hands it back at the end.
        XMLParserMemory memory;
        SecurityManager security;
        security.setEntityExpansionLimit(100);
        XercesDOMParser parser(nullptr, &memory);
        parser.setSecurityManager(&security);
        parser.setDisableDefaultEntityResolution(true);
        parser.setLoadExternalDTD(false);
        const DOMElement* root = nullptr;
        try {
            parser.parse(MemBufInputSource(in, inLength, "configuration", false));
            const DOMDocument* document = parser.getDocument();
            root = parser.getErrorCount() == 0 && document != nullptr
                       ? document->getDocumentElement()
                       : nullptr;
        } catch (...) {
            // reported below
        }
        if (root == nullptr || hasElementWithTooManyAttributes(*root)) {
            throw serializationFailureException;
        }
        std::string path;
        readElement(*root, path, read, 1);
    }
    mergeRead(read);
}

void DomReadingSet::readElement(const DOMElement& element, std::string& path, SettingMap& read,
                                size_t depth) {
    if (depth > sd_maxElementDepth) {
        throw serializationFailureException;
    }
    const XMLCh* name = element.getTagName();
    if (XMLString::equals(name, u"setting")) {
        const std::string settingName = requiredAttribute(element, u"name");
        const std::string settingType = requiredAttribute(element, u"type");
        const DOMNode* value = element.getFirstChild();
        while (value != nullptr && value->getNodeType() != DOMNode::TEXT_NODE) {
            value = value->getNextSibling();
        }
        ISetting::Type type;
        if (value == nullptr || !xmlTypeFromKeyword(settingType.c_str(), &type)) {
            throw serializationFailureException;
        }
        AutoRefCounted<Setting> setting = createAttachedSetting(type);
        XMLValueTextReader(*d_transcoder).readValue(value->getNodeValue(), *setting);
        storeRead(read, path.empty() ? "/" + settingName : path + settingName,
                  com::orvandel::static_pointer_cast<ISetting>(setting));
        return;
    }
    const size_t pathLength = path.size();
    if (!XMLString::equals(name, u"configuration")) {
        path += TranscodedText(name).get() + std::string("/");
    }
    for (const DOMNode* child = element.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::ELEMENT_NODE) {
            readElement(static_cast<const DOMElement&>(*child), path, read, depth + 1);
        }
    }
    path.resize(pathLength);
}

}  // namespace oracle
