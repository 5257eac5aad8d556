#include <orvandel/configuration/internal/XMLConfigurationSet.h>

#include <utility>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <orvandel/configuration/internal/XMLDocumentWriter.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace com {
namespace orvandel {
namespace configuration {

using namespace xercesc;

namespace {

const bool sd_xmlPlatformReady = xmlInitialize();

const XMLCh sd_configurationTag[] = u"configuration";
const XMLCh sd_settingTag[] = u"setting";
const XMLCh sd_nameAttribute[] = u"name";
const XMLCh sd_typeAttribute[] = u"type";

// A document can expand internal entities only this often. Documents of this format declare no
// entities at all (the predefined ones such as &amp; and character references are not counted),
// so the bound changes the reading of none of them; it stops "billion laughs" documents, whose
// nested entities would otherwise expand without end, after little work and memory.
constexpr XMLSize_t sd_entityExpansionLimit = 100;

// The DOM parser with its defaults, except where a document could make it fetch something or
// work without end. None of these changes the reading of a document of this format, which has
// no DOCTYPE and no entities: nothing is ever fetched from files or the network (a reference to
// an external entity is an error, an external DTD is skipped), and entity expansion is bounded.
class ConfinedParser {
  public:
    ConfinedParser() : d_parser(nullptr, XMLPlatformUtils::fgMemoryManager, nullptr) {
        d_security.setEntityExpansionLimit(sd_entityExpansionLimit);
        d_parser.setSecurityManager(&d_security);
        d_parser.setDisableDefaultEntityResolution(true);
        d_parser.setLoadExternalDTD(false);
    }

    // The root element of the document in length bytes at in; owned by the parser. Throws
    // serializationFailureException for input with any error the parser reports.
    const DOMElement& parse(const unsigned char* in, size_t length) {
        const MemBufInputSource source(in, length, "configuration", false,
                                       XMLPlatformUtils::fgMemoryManager);
        try {
            d_parser.parse(source);
        } catch (...) {
            throw IConfigurationSet::serializationFailureException;
        }
        if (d_parser.getErrorCount() > 0) {
            throw IConfigurationSet::serializationFailureException;
        }
        const DOMDocument* document = d_parser.getDocument();
        const DOMElement* root = document != nullptr ? document->getDocumentElement() : nullptr;
        if (root == nullptr) {
            throw IConfigurationSet::serializationFailureException;
        }
        return *root;
    }

  private:
    SecurityManager d_security;  // outlives the parser, which refers to it
    XercesDOMParser d_parser;
};

// The first text child of element (not CDATA, not a comment), or null.
const DOMNode* firstTextChild(const DOMElement& element) {
    for (const DOMNode* child = element.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::TEXT_NODE) {
            return child;
        }
    }
    return nullptr;
}

// The narrow value of element's attribute called name. Throws serializationFailureException when
// it has none.
std::string requiredAttribute(const DOMElement& element, const XMLCh* name) {
    const DOMAttr* attribute = element.getAttributeNode(name);
    if (attribute == nullptr) {
        throw IConfigurationSet::serializationFailureException;
    }
    return TranscodedText(attribute->getValue()).get();
}

}  // namespace

bool xmlInitialize() {
    try {
        XMLPlatformUtils::Initialize(XMLUni::fgXercescDefaultLocale, nullptr, nullptr, nullptr);
    } catch (const XMLException&) {
        return false;
    }
    return true;
}

// What one unserialize call collects: the branch path of the element being read ("a/b/" inside
// branch elements a and b, empty at the top), the settings read so far, and the value reader.
struct XMLConfigurationSet::DocumentReading {
    explicit DocumentReading(XMLTranscoder& wideTranscoder) : values(wideTranscoder) {}

    std::string path;
    SettingMap settings;
    XMLValueTextReader values;
};

XMLConfigurationSet::XMLConfigurationSet() : d_xmlPlatformInitialized(false) {
    d_type = "XMLConfigurationSet";
    d_capLoadSave = true;
    d_capSerialize = true;
    if (!sd_xmlPlatformReady) {
        return;
    }
    try {
        XMLTransService::Codes failReason = XMLTransService::Ok;
        d_wcharTranscoder.reset(XMLPlatformUtils::fgTransService->makeNewTranscoderFor(
            "UCS-4LE", failReason, 16384, XMLPlatformUtils::fgMemoryManager));
        d_xmlPlatformInitialized =
            d_wcharTranscoder != nullptr && failReason == XMLTransService::Ok;
    } catch (const XMLException&) {
        d_xmlPlatformInitialized = false;
    }
}

XMLConfigurationSet::~XMLConfigurationSet() = default;

void XMLConfigurationSet::serialize(unsigned char* out, size_t outLength, size_t* reqLength) {
    serializeWhole(out, outLength, reqLength);
}

void XMLConfigurationSet::buildForm(KeptForm& form) {
    if (!d_xmlPlatformInitialized) {
        throw serializationFailureException;
    }
    writeXMLDocument(d_settings, form);
}

void XMLConfigurationSet::rewriteBinary(unsigned char* at, const unsigned char* binary,
                                        size_t length) {
    writeXMLBase64(binary, length, at);
}

void XMLConfigurationSet::unserialize(const unsigned char* in, size_t inLength) {
    if (!d_xmlPlatformInitialized) {
        throw serializationFailureException;
    }
    DocumentReading reading(*d_wcharTranscoder);
    {
        ConfinedParser parser;
        unserializeDoc(parser.parse(in, inLength), reading, 1);
    }
    mergeRead(reading.settings);
}

// "configuration" adds nothing to the path, wherever it stands; "setting" is one setting; any
// other element is a branch and adds its name and "/" while its children are read. Children
// that are not elements (text, comments, processing instructions) are skipped.
void XMLConfigurationSet::unserializeDoc(const DOMElement& element, DocumentReading& reading,
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

void XMLConfigurationSet::readSetting(const DOMElement& element, DocumentReading& reading) {
    const std::string settingName = requiredAttribute(element, sd_nameAttribute);
    const std::string settingType = requiredAttribute(element, sd_typeAttribute);
    const DOMNode* value = firstTextChild(element);
    if (value == nullptr) {
        throw serializationFailureException;
    }
    ISetting::Type type;
    if (!xmlTypeFromKeyword(settingType.c_str(), &type)) {
        throw serializationFailureException;
    }
    AutoRefCounted<Setting> setting = createAttachedSetting(type);
    reading.values.readValue(value->getNodeValue(), *setting);
    std::string key = reading.path.empty() ? "/" + settingName : reading.path + settingName;
    storeRead(reading.settings, std::move(key), static_pointer_cast<ISetting>(setting));
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
