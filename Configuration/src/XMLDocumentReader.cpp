#include <orvandel/configuration/internal/XMLDocumentReader.h>

#include <exception>
#include <ios>
#include <new>
#include <utility>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLDocumentHandler.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDGrammar.hpp>

#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/internal/FailureDetail.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>
#include <orvandel/configuration/internal/XMLValueText.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace com {
namespace orvandel {
namespace configuration {

using namespace xercesc;

namespace {

const XMLCh sd_configurationTag[] = u"configuration";
const XMLCh sd_settingTag[] = u"setting";
const XMLCh sd_nameAttribute[] = u"name";
const XMLCh sd_typeAttribute[] = u"type";

// A document can expand internal entities only this often. Documents of this format declare no
// entities at all (the predefined ones such as &amp; and character references are not counted),
// so the bound changes the reading of none of them; it stops "billion laughs" documents, whose
// nested entities would otherwise expand without end, after little work and memory.
constexpr XMLSize_t sd_entityExpansionLimit = 100;

// A value text's buffer larger than this (in UTF-16 units) is not kept from one read to the next.
constexpr size_t sd_keptTextCapacity = 4096;

// Appends text in Xerces-C's local code page. ASCII, which is all the library writes, is the
// same in every code page and is copied without asking Xerces-C.
void appendNarrow(std::string& out, const XMLCh* text) {
    const XMLCh* end = text;
    while (*end != 0 && *end < 0x80) {
        ++end;
    }
    if (*end == 0) {
        out.append(text, end);
    } else {
        out += TranscodedText(text).get();
    }
}

// The XML declaration, which reaches only an advanced document handler (one that hears every
// other event too). Only XML 1.0 and 1.1 documents are read: Xerces-C's scanner accepts any
// "1.x", its DOM only these two, and the reader keeps to what the DOM accepts.
class XMLDeclaration : public XMLDocumentHandler {
  public:
    // Whether the document declared version 1.1, whose names may use more characters.
    bool isVersion1_1() const { return d_version1_1; }

    void XMLDecl(const XMLCh* const version, const XMLCh* const, const XMLCh* const,
                 const XMLCh* const) override {
        d_version1_1 = XMLString::equals(version, XMLUni::fgVersion1_1);
        if (!d_version1_1 && !XMLString::equals(version, XMLUni::fgVersion1_0)) {
            recordFailure(FailurePlace::at(1, 1), "XML version '", TranscodedText(version).get(),
                          "' is neither 1.0 nor 1.1");
            throw IConfigurationSet::serializationFailureException;
        }
    }

    void resetDocument() override { d_version1_1 = false; }

    void docCharacters(const XMLCh* const, const XMLSize_t, const bool) override {}
    void docComment(const XMLCh* const) override {}
    void docPI(const XMLCh* const, const XMLCh* const) override {}
    void endDocument() override {}
    void endElement(const XMLElementDecl&, const unsigned int, const bool,
                    const XMLCh* const) override {}
    void endEntityReference(const XMLEntityDecl&) override {}
    void ignorableWhitespace(const XMLCh* const, const XMLSize_t, const bool) override {}
    void startDocument() override {}
    void startElement(const XMLElementDecl&, const unsigned int, const XMLCh* const,
                      const RefVectorOf<XMLAttr>&, const XMLSize_t, const bool,
                      const bool) override {}
    void startEntityReference(const XMLEntityDecl&) override {}

  private:
    bool d_version1_1 = false;
};

}  // namespace

// Follows the parser's events as a walk over the document's tree would see its nodes:
// "configuration" adds nothing to the path, "setting" is one setting, any other element is a
// branch that adds its name and "/". Only elements that are children of the root or of branch
// elements are read; the content of entity references is not, since a tree keeps it below an
// entity reference node. A setting's value is its first text child: character data up to the
// next node of any other kind (element, comment, processing instruction, CDATA section, entity
// reference), where the parser's character references and predefined entities stay part of it.
class XMLDocumentReader::Handler : public DefaultHandler {
  public:
    XMLDocumentHandler& declarationHandler() { return d_declaration; }

    void begin(Target& target, SAX2XMLReader& parser, XMLValueTextReader& values) {
        d_target = &target;
        d_values = &values;
        d_parser = &parser;
        d_doctypeChecked = false;
        d_declaration.resetDocument();
        d_depth = 0;
        d_entityDepth = 0;
        d_inCdata = false;
        d_settingDepth = 0;
        d_branchStarts.clear();
        d_path.clear();
        d_failure = nullptr;
        d_errorNoted = false;
    }

    // Records the first error the parser reported in this read (an error that makes the read
    // fail wherever it stands, so it is the one to report). False when it reported none.
    bool recordFirstError() const {
        if (d_errorNoted) {
            recordFailure(d_errorPlace, d_errorMessage);
        }
        return d_errorNoted;
    }

    void error(const SAXParseException& exception) override { noteError(exception); }

    void fatalError(const SAXParseException& exception) override { noteError(exception); }

    // Ends a read: returns the first fault met in a setting, if any (what counts only after a
    // document that parsed without error), and lets go of everything the read made. A value
    // text's buffer is kept for the next read unless it grew large.
    std::exception_ptr end() {
        d_target = nullptr;
        d_values = nullptr;
        if (d_text.capacity() > sd_keptTextCapacity) {
            std::basic_string<XMLCh>().swap(d_text);
        }
        std::exception_ptr failure;
        failure.swap(d_failure);
        return failure;
    }

    void setDocumentLocator(const Locator* const locator) override { d_locator = locator; }

    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const qname,
                      const Attributes& attributes) override {
        if (attributes.getLength() > sd_maxAttributes) {
            recordFailure(here(), "an element with more than ", uint64_t{sd_maxAttributes},
                          " attributes");
            throw IConfigurationSet::serializationFailureException;
        }
        if (d_depth == 0 && !d_doctypeChecked) {
            checkBareDoctype();
        }
        endValue();
        ++d_depth;
        if (d_settingDepth != 0 || d_entityDepth != 0 || d_failure != nullptr) {
            return;
        }
        if (d_depth > XMLConfigurationSet::sd_maxElementDepth) {
            recordFailure(here(), "elements nested deeper than ",
                          uint64_t{XMLConfigurationSet::sd_maxElementDepth});
            return fail(std::make_exception_ptr(IConfigurationSet::serializationFailureException));
        }
        if (XMLString::equals(qname, sd_settingTag)) {
            return beginSetting(attributes);
        }
        d_branchStarts.push_back(d_path.size());
        if (!XMLString::equals(qname, sd_configurationTag)) {
            appendNarrow(d_path, qname);
            d_path += '/';
        }
    }

    void endElement(const XMLCh* const, const XMLCh* const, const XMLCh* const) override {
        if (d_depth == d_settingDepth) {
            endSetting();
        } else if (d_depth == d_branchStarts.size()) {
            d_path.resize(d_branchStarts.back());
            d_branchStarts.pop_back();
        }
        --d_depth;
    }

    void characters(const XMLCh* const chars, const XMLSize_t length) override {
        if (d_inCdata) {
            endValue();
        } else if (atSettingLevel() && d_value != Value::complete) {
            d_value = Value::open;
            d_text.append(chars, length);
        }
    }

    void ignorableWhitespace(const XMLCh* const chars, const XMLSize_t length) override {
        characters(chars, length);
    }

    void comment(const XMLCh* const, const XMLSize_t) override { endValue(); }

    void processingInstruction(const XMLCh* const, const XMLCh* const) override { endValue(); }

    void startDTD(const XMLCh* const name, const XMLCh* const, const XMLCh* const) override {
        checkDoctypeName(name);
    }

    void startCDATA() override { d_inCdata = true; }

    void endCDATA() override { d_inCdata = false; }

    void startEntity(const XMLCh* const) override {
        if (d_depth != 0) {  // not a parameter entity of the DTD
            endValue();
            ++d_entityDepth;
        }
    }

    void endEntity(const XMLCh* const) override {
        if (d_entityDepth != 0) {
            --d_entityDepth;
        }
    }

  private:
    // The DOCTYPE's name must be a qualified name (at most one colon, with a name on each side),
    // as Xerces-C's DOM requires of a document type; the scanner accepts any name.
    void checkDoctypeName(const XMLCh* name) {
        d_doctypeChecked = true;
        const XMLSize_t length = XMLString::stringLen(name);
        if (d_declaration.isVersion1_1() ? !XMLChar1_1::isValidQName(name, length)
                                         : !XMLChar1_0::isValidQName(name, length)) {
            recordFailure(here(), "the DOCTYPE name '", Excerpt(TranscodedText(name).get()),
                          "' is not a qualified name");
            throw IConfigurationSet::serializationFailureException;
        }
    }

    // A DOCTYPE without internal or external subset is not reported to a SAX2 handler; the
    // grammar still holds the declaration it made for the name, which only such a DOCTYPE
    // makes (the root element, seen by now, adds at most one more).
    void checkBareDoctype() {
        const Grammar* grammar = d_parser->getRootGrammar();
        if (grammar == nullptr || grammar->getGrammarType() != Grammar::DTDGrammarType) {
            return;
        }
        NameIdPoolEnumerator<DTDElementDecl> declarations =
            static_cast<const DTDGrammar*>(grammar)->getElemEnumerator();
        while (declarations.hasMoreElements()) {
            const DTDElementDecl& declaration = declarations.nextElement();
            if (declaration.getCreateReason() == XMLElementDecl::AsRootElem) {
                checkDoctypeName(declaration.getFullName());
            }
        }
        d_doctypeChecked = true;
    }

    enum class Value { missing, open, complete };  // the setting's first text child

    bool atSettingLevel() const {
        return d_settingDepth != 0 && d_depth == d_settingDepth && d_entityDepth == 0;
    }

    // A node other than text in the setting element ends its first text child.
    void endValue() {
        if (atSettingLevel() && d_value == Value::open) {
            d_value = Value::complete;
        }
    }

    void fail(std::exception_ptr failure) {
        d_failure = std::move(failure);
        d_settingDepth = 0;
    }

    void noteError(const SAXParseException& exception) {
        if (d_errorNoted) {
            return;
        }
        d_errorPlace = FailurePlace::at(exception.getLineNumber(), exception.getColumnNumber());
        d_errorMessage = TranscodedText(exception.getMessage()).get();
        d_errorNoted = true;
    }

    // Where the parser stands: the end of the markup it last reported.
    FailurePlace here() const {
        return d_locator != nullptr
                   ? FailurePlace::at(d_locator->getLineNumber(), d_locator->getColumnNumber())
                   : FailurePlace();
    }

    // Records why the setting element that began at d_settingPlace cannot be read: "path 'P':
    // reason", and with the value, "(type 'T', text 'X')".
    void recordSettingFailure(const char* reason, bool withValue) noexcept {
        try {
            const std::string path = !d_hasName       ? d_path + "?"
                                     : d_path.empty() ? "/" + d_name
                                                      : d_path + d_name;
            if (!withValue) {
                return recordFailure(d_settingPlace, "path '", Excerpt(path), "': ", reason);
            }
            std::string text;
            appendNarrow(text, d_text.c_str());
            recordFailure(d_settingPlace, "path '", Excerpt(path), "': ", reason, " (type '",
                          Excerpt(d_type), "', text '", Excerpt(text), "')");
        } catch (...) {
            recordFailure(d_settingPlace, reason);
        }
    }

    void beginSetting(const Attributes& attributes) {
        d_settingPlace = here();
        d_settingDepth = d_depth;
        d_value = Value::missing;
        d_text.clear();
        d_hasName = false;
        d_hasType = false;
        for (XMLSize_t index = 0; index < attributes.getLength(); ++index) {
            const XMLCh* name = attributes.getQName(index);
            if (XMLString::equals(name, sd_nameAttribute)) {
                d_name.clear();
                appendNarrow(d_name, attributes.getValue(index));
                d_hasName = true;
            } else if (XMLString::equals(name, sd_typeAttribute)) {
                d_type.clear();
                appendNarrow(d_type, attributes.getValue(index));
                d_hasType = true;
            }
        }
    }

    void endSetting() {
        d_settingDepth = 0;
        try {
            ISetting::Type type;
            if (!d_hasName || !d_hasType) {
                recordSettingFailure(!d_hasName ? "a setting element without a 'name' attribute"
                                                : "a setting element without a 'type' attribute",
                                     false);
                throw IConfigurationSet::serializationFailureException;
            }
            if (!xmlTypeFromKeyword(d_type.c_str(), &type)) {
                recordSettingFailure("unknown type keyword", true);
                throw IConfigurationSet::serializationFailureException;
            }
            if (d_value == Value::missing) {
                recordSettingFailure("a setting element without a value text", true);
                throw IConfigurationSet::serializationFailureException;
            }
            AutoRefCounted<Setting> setting = d_target->createSetting(type);
            try {
                d_values->readValue(d_text.c_str(), *setting);
            } catch (IConfigurationSet::ConfigurationSetException) {
                recordSettingFailure("the value text cannot be read as its type", true);
                throw;
            } catch (const std::ios_base::failure&) {
                recordSettingFailure("the value text cannot be read as its type", true);
                throw;
            }
            std::string key = d_path.empty() ? "/" + d_name : d_path + d_name;
            d_target->storeSetting(std::move(key), static_pointer_cast<ISetting>(setting));
        } catch (IConfigurationSet::ConfigurationSetException) {
            fail(std::current_exception());
        } catch (const std::ios_base::failure&) {
            fail(std::current_exception());
        }
    }

    Target* d_target = nullptr;
    SAX2XMLReader* d_parser = nullptr;
    bool d_doctypeChecked = false;  // the DOCTYPE's name, if there is one
    XMLDeclaration d_declaration;
    XMLValueTextReader* d_values = nullptr;
    size_t d_depth = 0;        // elements open
    size_t d_entityDepth = 0;  // entity references open inside the root element
    bool d_inCdata = false;
    // Per open root or branch element, d_path's length before it.
    std::vector<size_t> d_branchStarts;
    std::string d_path;         // the branch path: "a/b/" inside branch elements a and b
    size_t d_settingDepth = 0;  // the depth of the open setting element, 0 outside one
    bool d_hasName = false;
    bool d_hasType = false;
    std::string d_name;
    std::string d_type;
    std::basic_string<XMLCh> d_text;
    Value d_value = Value::missing;
    std::exception_ptr d_failure;  // the first fault in a setting; later settings are skipped
    const Locator* d_locator = nullptr;
    bool d_errorNoted = false;    // the parser reported an error in this read:
    FailurePlace d_errorPlace;    // where,
    std::string d_errorMessage;   // and what
    FailurePlace d_settingPlace;  // where the setting element being read began
};

XMLDocumentReader::XMLDocumentReader(XMLTranscoder& wideTranscoder)
    : d_wideTranscoder(wideTranscoder), d_handler(new Handler()) {
    d_security.setEntityExpansionLimit(sd_entityExpansionLimit);
}

XMLDocumentReader::~XMLDocumentReader() = default;

// The value reader lives for one read only, so that its buffers, as large as the longest value
// read, go with it.
void XMLDocumentReader::read(const unsigned char* in, size_t length, Target& target) {
    XMLValueTextReader values(d_wideTranscoder);
    try {
        parse(in, length, target, values);
    } catch (...) {
        d_handler->end();
        target.forgetCreated();
        discardParser();
        throw;
    }
    const std::exception_ptr failure = d_handler->end();
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

// Xerces-C's parser with the settings of its DOM parser (no validation, no namespaces, so tag
// names are read as written), except where a document could make it fetch something or work
// without end: nothing is ever fetched from files or the network (a reference to an external
// entity is an error, an external DTD is skipped), and entity expansion is bounded.
void XMLDocumentReader::createParser() {
    std::unique_ptr<SAX2XMLReader> parser(XMLReaderFactory::createXMLReader(&d_memory));
    try {
        parser->setFeature(XMLUni::fgSAX2CoreNameSpaces, false);
        parser->setFeature(XMLUni::fgSAX2CoreValidation, false);
        parser->setFeature(XMLUni::fgXercesSchema, false);
        parser->setFeature(XMLUni::fgXercesLoadExternalDTD, false);
        parser->setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
        parser->setProperty(XMLUni::fgXercesSecurityManager, &d_security);
        parser->setContentHandler(d_handler.get());
        parser->setLexicalHandler(d_handler.get());
        parser->setErrorHandler(d_handler.get());
        parser->installAdvDocHandler(&d_handler->declarationHandler());
    } catch (const OutOfMemoryException&) {
        parser.release();  // abandoned with the rest of its memory by parse
        throw;
    }
    d_parser = std::move(parser);
}

// Everything the parser and its input allocate comes from d_memory. Running out of memory there
// (or in the handler) abandons the parser with all its memory, since Xerces-C does not leave it
// in a state fit for reuse or even destruction; the next read builds a new one.
void XMLDocumentReader::parse(const unsigned char* in, size_t length, Target& target,
                              XMLValueTextReader& values) {
    try {
        if (d_parser == nullptr) {
            createParser();
        }
        d_handler->begin(target, *d_parser, values);
        const MemBufInputSource source(in, length, "configuration", false, &d_memory);
        d_parser->parse(source);
    } catch (const OutOfMemoryException&) {
        abandonParser();
        throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
        abandonParser();
        throw;
    } catch (const SAXParseException& error) {
        recordFailure(FailurePlace::at(error.getLineNumber(), error.getColumnNumber()),
                      TranscodedText(error.getMessage()).get());
        throw IConfigurationSet::serializationFailureException;
    } catch (const XMLException& error) {
        recordFailure(TranscodedText(error.getMessage()).get());
        throw IConfigurationSet::serializationFailureException;
    } catch (IConfigurationSet::ConfigurationSetException) {
        throw;  // recorded where it was found
    } catch (...) {
        recordFailure("the document cannot be read");
        throw IConfigurationSet::serializationFailureException;
    }
    if (d_parser->getErrorCount() > 0) {
        if (!d_handler->recordFirstError()) {
            recordFailure("the document is malformed");
        }
        throw IConfigurationSet::serializationFailureException;
    }
}

void XMLDocumentReader::abandonParser() {
    d_parser.release();
    d_memory.releaseAll();
}

// Xerces-C loses memory on some of its error paths (its DTD scanner, for one, loses the parts of
// a content model it could not finish), which would stay in d_memory for the set's whole life,
// read after failed read. So a read that fails destroys its parser and hands back whatever is
// left of the parser's memory; the next read builds a new parser.
void XMLDocumentReader::discardParser() {
    d_parser.reset();
    d_memory.releaseAll();
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
