#include <orvandel/configuration/internal/XMLConfigurationSet.h>

#include <cstring>
#include <string_view>
#include <utility>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <orvandel/configuration/internal/XMLBranchIndex.h>
#include <orvandel/configuration/internal/XMLDocumentReader.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace com {
namespace orvandel {
namespace configuration {

using namespace xercesc;

namespace {

// Narrow text (Xerces-C's local code page) as Xerces-C's UTF-16, for the length of one call.
class XStr {
  public:
    explicit XStr(const char* toTranscode) : d_unicodeForm(XMLString::transcode(toTranscode)) {
        if (d_unicodeForm == nullptr) {
            throw IConfigurationSet::serializationFailureException;
        }
    }
    ~XStr() { XMLString::release(&d_unicodeForm); }
    XStr(const XStr&) = delete;
    XStr& operator=(const XStr&) = delete;

    const XMLCh* unicodeForm() const { return d_unicodeForm; }

  private:
    XMLCh* d_unicodeForm;
};

const bool sd_xmlPlatformReady = xmlInitialize();

const XMLCh sd_configurationTag[] = u"configuration";
const XMLCh sd_settingTag[] = u"setting";
const XMLCh sd_nameAttribute[] = u"name";
const XMLCh sd_typeAttribute[] = u"type";
constexpr std::string_view sd_settingTagName = "setting";

DOMImplementation& lsImplementation() {
    DOMImplementation* implementation =
        DOMImplementationRegistry::getDOMImplementation(XStr("LS").unicodeForm());
    if (implementation == nullptr) {
        throw IConfigurationSet::serializationFailureException;
    }
    return *implementation;
}

XercesReleased<DOMDocument> createDocument(DOMImplementation& implementation) {
    try {
        return XercesReleased<DOMDocument>(implementation.createDocument(
            nullptr, sd_configurationTag, nullptr, XMLPlatformUtils::fgMemoryManager));
    } catch (...) {
        throw IConfigurationSet::serializationFailureException;
    }
}

// Builds the tree of one document: branch elements spell each path's branch segments, a setting
// element holds the name, type keyword and value text.
class DocumentBuilder {
  public:
    explicit DocumentBuilder(DOMDocument& document) : d_document(document) {
        d_document.setXmlStandalone(true);
        d_root = d_document.getDocumentElement();
        if (d_root == nullptr) {
            throw IConfigurationSet::serializationFailureException;
        }
    }

    // path must outlive the builder (the branch index keeps views into it).
    void addSetting(const std::string& path, ISetting& setting) {
        const size_t lastSlash = path.rfind('/');
        const size_t branchEnd = lastSlash == std::string::npos ? 0 : lastSlash;
        DOMElement* parent = branchElement(path, branchEnd);
        DOMElement* element = appendElement(*parent, sd_settingTagName, sd_settingTag);
        // The name is the tail of path, which ends there, so it is transcoded in place.
        const char* name = path.c_str() + (lastSlash == std::string::npos ? 0 : lastSlash + 1);
        element->setAttribute(sd_nameAttribute, XStr(name).unicodeForm());
        const std::string& text = d_values.valueText(setting);
        element->setAttribute(sd_typeAttribute, xmlTypeKeywordUnicode(setting.getType()));
        element->appendChild(d_document.createTextNode(XStr(text.c_str()).unicodeForm()));
    }

  private:
    // Walks the branch segments of path before branchEnd (each ends at a "/"). A segment reuses
    // the existing child element of that name when the parent has exactly one; otherwise (none,
    // or several) it gets a new element, and so does every deeper segment of the path, without
    // looking. An empty segment just before branchEnd is never visited ("a//b" is written as
    // "a/b"), but one further up is, and fails as an element name.
    DOMElement* branchElement(const std::string& path, size_t branchEnd) {
        DOMElement* parent = d_root;
        bool upperParentMissing = false;
        size_t depth = 1;
        for (size_t position = 0; position < branchEnd;) {
            const size_t segmentEnd = path.find('/', position);
            const std::string_view segment(path.data() + position, segmentEnd - position);
            position = segmentEnd + 1;
            if (++depth > XMLConfigurationSet::sd_maxElementDepth - 1) {
                throw IConfigurationSet::serializationFailureException;
            }
            XMLBranchIndex::Children& children = d_branches.childrenNamed(parent, segment);
            DOMElement* existing = upperParentMissing ? nullptr : children.unique();
            if (existing != nullptr) {
                parent = existing;
                continue;
            }
            upperParentMissing = true;
            DOMElement* element =
                d_document.createElement(XStr(std::string(segment).c_str()).unicodeForm());
            parent = appendChild(*parent, element, children);
        }
        return parent;
    }

    DOMElement* appendElement(DOMElement& parent, std::string_view tag, const XMLCh* tagName) {
        return appendChild(parent, d_document.createElement(tagName),
                           d_branches.childrenNamed(&parent, tag));
    }

    static DOMElement* appendChild(DOMElement& parent, DOMElement* child,
                                   XMLBranchIndex::Children& sameName) {
        if (child == nullptr) {
            throw IConfigurationSet::serializationFailureException;
        }
        parent.appendChild(child);
        sameName.add(child);
        return child;
    }

    DOMDocument& d_document;
    DOMElement* d_root;
    XMLBranchIndex d_branches;
    XMLValueTextWriter d_values;
};

// Pretty-printed when the serializer can do it; UTF-8, the serializer's default encoding. A
// serializer that fails (a value holding a character XML 1.0 cannot carry, such as U+0001)
// would leave a partial document, so the failure is reported instead.
void writeDocument(DOMImplementation& implementation, const DOMDocument& document,
                   XMLFormatTarget& target) {
    const XercesReleased<DOMLSSerializer> serializer(
        implementation.createLSSerializer(XMLPlatformUtils::fgMemoryManager));
    DOMConfiguration* configuration = serializer->getDomConfig();
    if (configuration->canSetParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
        configuration->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
    }
    const XercesReleased<DOMLSOutput> output(
        implementation.createLSOutput(XMLPlatformUtils::fgMemoryManager));
    output->setByteStream(&target);
    bool written = false;
    try {
        written = serializer->write(&document, output.get());
    } catch (const DOMLSException&) {
        // reported below, like a write that returns false
    }
    if (!written) {
        throw IConfigurationSet::serializationFailureException;
    }
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
    if (!d_xmlPlatformInitialized) {
        throw serializationFailureException;
    }
    DOMImplementation& implementation = lsImplementation();
    const XercesReleased<DOMDocument> document = createDocument(implementation);
    DocumentBuilder builder(*document);
    for (const SettingMap::value_type& entry : d_settings) {
        builder.addSetting(entry.first, *entry.second);
    }
    MemBufFormatTarget target(1023, XMLPlatformUtils::fgMemoryManager);
    writeDocument(implementation, *document, target);
    const size_t length = target.getLen();
    *reqLength = length;
    if (length > outLength) {
        throw outBufferTooSmallException;
    }
    if (length != 0) {
        std::memcpy(out, target.getRawBuffer(), length);
    }
    clearModified();
}

// Builds the settings of one read for the set, into a map of the read's own until the whole
// document has been read.
class XMLConfigurationSet::ReadTarget final : public XMLDocumentReader::Target {
  public:
    explicit ReadTarget(XMLConfigurationSet& set)
        : d_set(set), d_wasModified(set.d_modifiedFlag->isFlagged()) {}

    AutoRefCounted<Setting> createSetting(ISetting::Type type) override {
        return d_set.createAttachedSetting(type);
    }

    void storeSetting(std::string&& key, AutoRefCounted<ISetting>&& setting) override {
        storeRead(d_read, std::move(key), std::move(setting));
    }

    void forgetCreated() override {
        if (!d_wasModified) {
            d_set.clearModified();
        }
    }

    SettingMap& read() { return d_read; }

  private:
    XMLConfigurationSet& d_set;
    const bool d_wasModified;
    SettingMap d_read;
};

void XMLConfigurationSet::unserialize(const unsigned char* in, size_t inLength) {
    if (!d_xmlPlatformInitialized) {
        throw serializationFailureException;
    }
    if (d_reader == nullptr) {
        d_reader.reset(new XMLDocumentReader(*d_wcharTranscoder));
    }
    ReadTarget target(*this);
    d_reader->read(in, inLength, target);
    mergeRead(target.read());
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
