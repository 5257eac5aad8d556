#include "DomDocumentReader.h"

#include <string>
#include <utility>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>

#include <orvandel/configuration/internal/XMLDocumentReader.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace oracle {

using namespace xercesc;
using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::Setting;
using com::orvandel::configuration::TranscodedText;
using com::orvandel::configuration::XMLDocumentReader;
using com::orvandel::configuration::XMLValueTextReader;

namespace {

const XMLCh sd_configurationTag[] = u"configuration";
const XMLCh sd_settingTag[] = u"setting";
const XMLCh sd_nameAttribute[] = u"name";
const XMLCh sd_typeAttribute[] = u"type";

// The DOM parser with its defaults, except that nothing is ever fetched and entity expansion is
// bounded, as in the library's reader.
class ConfinedParser {
  public:
    ConfinedParser() : d_parser(nullptr, XMLPlatformUtils::fgMemoryManager, nullptr) {
        d_security.setEntityExpansionLimit(100);
        d_parser.setSecurityManager(&d_security);
        d_parser.setDisableDefaultEntityResolution(true);
        d_parser.setLoadExternalDTD(false);
    }

    const DOMElement& parse(const unsigned char* in, size_t length) {
        const MemBufInputSource source(in, length, "configuration", false,
                                       XMLPlatformUtils::fgMemoryManager);
        try {
            d_parser.parse(source);
        } catch (...) {
            throw DomReadingSet::serializationFailureException;
        }
        if (d_parser.getErrorCount() > 0) {
            throw DomReadingSet::serializationFailureException;
        }
        const DOMDocument* document = d_parser.getDocument();
        const DOMElement* root = document != nullptr ? document->getDocumentElement() : nullptr;
        if (root == nullptr) {
            throw DomReadingSet::serializationFailureException;
        }
        return *root;
    }

  private:
    SecurityManager d_security;
    XercesDOMParser d_parser;
};

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

const DOMNode* firstTextChild(const DOMElement& element) {
    for (const DOMNode* child = element.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::TEXT_NODE) {
            return child;
        }
    }
    return nullptr;
}

std::string requiredAttribute(const DOMElement& element, const XMLCh* name) {
    const DOMAttr* attribute = element.getAttributeNode(name);
    if (attribute == nullptr) {
        throw DomReadingSet::serializationFailureException;
    }
    return TranscodedText(attribute->getValue()).get();
}

}  // namespace

struct DomReadingSet::DocumentReading {
    explicit DocumentReading(XMLTranscoder& wideTranscoder) : values(wideTranscoder) {}

    std::string path;
    SettingMap settings;
    XMLValueTextReader values;
};

DomReadingSet::DomReadingSet() {
    XMLTransService::Codes failReason = XMLTransService::Ok;
    d_transcoder.reset(XMLPlatformUtils::fgTransService->makeNewTranscoderFor(
        "UCS-4LE", failReason, 16384, XMLPlatformUtils::fgMemoryManager));
}

DomReadingSet::~DomReadingSet() = default;

void DomReadingSet::unserialize(const unsigned char* in, size_t inLength) {
    DocumentReading reading(*d_transcoder);
    {
        ConfinedParser parser;
        const DOMElement& root = parser.parse(in, inLength);
        if (hasElementWithTooManyAttributes(root)) {
            throw serializationFailureException;
        }
        unserializeDoc(root, reading, 1);
    }
    mergeRead(reading.settings);
}

void DomReadingSet::unserializeDoc(const DOMElement& element, DocumentReading& reading,
                                   size_t depth) {
    if (depth > sd_maxElementDepth) {
        throw serializationFailureException;
    }
    const XMLCh* name = element.getTagName();
    if (XMLString::equals(name, sd_settingTag)) {
        readSetting(element, reading);
        return;
    }
    const size_t pathLength = reading.path.size();
    if (!XMLString::equals(name, sd_configurationTag)) {
        reading.path += TranscodedText(name).get();
        reading.path += '/';
    }
    for (const DOMNode* child = element.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::ELEMENT_NODE) {
            unserializeDoc(static_cast<const DOMElement&>(*child), reading, depth + 1);
        }
    }
    reading.path.resize(pathLength);
}

void DomReadingSet::readSetting(const DOMElement& element, DocumentReading& reading) {
    const std::string settingName = requiredAttribute(element, sd_nameAttribute);
    const std::string settingType = requiredAttribute(element, sd_typeAttribute);
    const DOMNode* value = firstTextChild(element);
    if (value == nullptr) {
        throw serializationFailureException;
    }
    ISetting::Type type;
    if (!com::orvandel::configuration::xmlTypeFromKeyword(settingType.c_str(), &type)) {
        throw serializationFailureException;
    }
    AutoRefCounted<Setting> setting = createAttachedSetting(type);
    reading.values.readValue(value->getNodeValue(), *setting);
    std::string key = reading.path.empty() ? "/" + settingName : reading.path + settingName;
    storeRead(reading.settings, std::move(key),
              com::orvandel::static_pointer_cast<ISetting>(setting));
}

}  // namespace oracle
