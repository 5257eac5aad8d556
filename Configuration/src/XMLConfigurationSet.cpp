#include <orvandel/configuration/internal/XMLConfigurationSet.h>

#include <new>
#include <utility>

#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <orvandel/configuration/internal/XMLDocumentReader.h>
#include <orvandel/configuration/internal/XMLDocumentWriter.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace com {
namespace orvandel {
namespace configuration {

using namespace xercesc;

namespace {

const bool sd_xmlPlatformReady = xmlInitialize();

}  // namespace

bool xmlInitialize() {
    try {
        XMLPlatformUtils::Initialize(XMLUni::fgXercescDefaultLocale, nullptr, nullptr, nullptr);
    } catch (const XMLException&) {
        return false;
    }
    return true;
}

// Xerces-C reports memory exhaustion with its own exception type, which callers of the library
// do not know; it becomes std::bad_alloc.
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
    } catch (const OutOfMemoryException&) {
        throw std::bad_alloc();
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
    writeXMLDocument(settingsInOrder(), form);
}

void XMLConfigurationSet::rewriteBinary(unsigned char* at, const unsigned char* binary,
                                        size_t length) noexcept {
    writeXMLBase64(binary, length, at);
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
