#include "DomDocumentWriter.h"

#include <string>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
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

class DocumentBuilder {
  public:
    explicit DocumentBuilder(DOMDocument& document) : d_document(document) {
        d_document.setXmlStandalone(true);
        d_root = d_document.getDocumentElement();
    }

    void addSetting(const std::string& path, ISetting& setting) {
        const size_t lastSlash = path.rfind('/');
        const size_t branchEnd = lastSlash == std::string::npos ? 0 : lastSlash;
        DOMElement* parent = d_root;
        bool upperParentMissing = false;
        size_t depth = 1;
        for (size_t position = 0; position < branchEnd;) {
            const size_t segmentEnd = path.find('/', position);
            const std::string segment = path.substr(position, segmentEnd - position);
            position = segmentEnd + 1;
            if (++depth > XMLConfigurationSet::sd_maxElementDepth - 1) {
                throw IConfigurationSet::serializationFailureException;
            }
            const XStr tag(segment.c_str());
            DOMElement* existing =
                upperParentMissing ? nullptr : uniqueChild(*parent, tag.unicodeForm());
            if (existing == nullptr) {
                upperParentMissing = true;
                existing = d_document.createElement(tag.unicodeForm());
                parent->appendChild(existing);
            }
            parent = existing;
        }
        DOMElement* element = d_document.createElement(u"setting");
        parent->appendChild(element);
        const char* name = path.c_str() + (lastSlash == std::string::npos ? 0 : lastSlash + 1);
        element->setAttribute(u"name", XStr(name).unicodeForm());
        const std::string& text = d_values.valueText(setting);
        element->setAttribute(u"type", xmlTypeKeywordUnicode(setting.getType()));
        element->appendChild(d_document.createTextNode(XStr(text.c_str()).unicodeForm()));
    }

  private:
    DOMDocument& d_document;
    DOMElement* d_root;
    XMLValueTextWriter d_values;
};

}  // namespace

std::vector<unsigned char> domDocument(IConfigurationSet& set) {
    DOMImplementation* implementation = DOMImplementationRegistry::getDOMImplementation(u"LS");
    const XercesReleased<DOMDocument> document(implementation->createDocument(
        nullptr, u"configuration", nullptr, XMLPlatformUtils::fgMemoryManager));
    DocumentBuilder builder(*document);
    std::string path;
    for (uint32_t index = 0; index < set.getSettingCount(); ++index) {
        const AutoRefCounted<ISetting> setting = set.retrieveSettingByIndex("", index, path);
        builder.addSetting(path, *setting);
    }
    const XercesReleased<DOMLSSerializer> serializer(
        implementation->createLSSerializer(XMLPlatformUtils::fgMemoryManager));
    serializer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
    const XercesReleased<DOMLSOutput> output(
        implementation->createLSOutput(XMLPlatformUtils::fgMemoryManager));
    MemBufFormatTarget target(1023, XMLPlatformUtils::fgMemoryManager);
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
