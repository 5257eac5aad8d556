// Floors for the XML form: what a plain program does with Xerces-C to write and read the same
// document, with no library in between, and Xerces-C's DOM serializer alone. Writing builds the DOM (one branch element per branch,
// found again through a map), formats each value with printf-style conversions, and serialises
// with pretty-printing; reading parses the document and walks it by sibling pointers, converting
// each name, type and value back.
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/Base64.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "Measure.h"
#include "Workload.h"
#include "XmlForms.h"

XERCES_CPP_NAMESPACE_USE

namespace orvandel_bench {

namespace {

class Text {
  public:
    explicit Text(const char* text) : d_text(XMLString::transcode(text)) {}
    ~Text() { XMLString::release(&d_text); }
    const XMLCh* get() const { return d_text; }

  private:
    XMLCh* d_text;
};

const char* keyword(ISetting::Type type) {
    static const char* const kKeywords[] = {"bool",   "uchar",  "uint16", "uint32",       "uint64",
                                            "char",   "int16",  "int32",  "int64",        "float",
                                            "double", "string", "binary", "unicodeString"};
    return kKeywords[type];
}

std::string format(const Value& value) {
    char text[128];
    switch (value.type) {
        case ISetting::boolType:
            return value.scalar.b ? "true" : "false";
        case ISetting::ucharType:
            std::snprintf(text, sizeof text, "%u", unsigned(value.scalar.u8));
            break;
        case ISetting::charType:
            std::snprintf(text, sizeof text, "%d", int(value.scalar.i8));
            break;
        case ISetting::uint16Type:
            std::snprintf(text, sizeof text, "%u", unsigned(value.scalar.u16));
            break;
        case ISetting::int16Type:
            std::snprintf(text, sizeof text, "%d", int(value.scalar.i16));
            break;
        case ISetting::int32Type:
            std::snprintf(text, sizeof text, "%" PRId32, value.scalar.i32);
            break;
        case ISetting::int64Type:
            std::snprintf(text, sizeof text, "%" PRId64, value.scalar.i64);
            break;
        case ISetting::doubleType:
            std::snprintf(text, sizeof text, "%.53e", value.scalar.f64);
            break;
        case ISetting::stringType:
            return value.text;
        case ISetting::binaryType: {
            XMLSize_t length = 0;
            XMLByte* encoded = Base64::encode(value.binary.data(), value.binary.size(), &length);
            std::string result(reinterpret_cast<const char*>(encoded), length);
            XMLPlatformUtils::fgMemoryManager->deallocate(encoded);
            return result;
        }
        default:
            return std::string();
    }
    return text;
}

// The document of the workload, built as a plain program builds it; the caller releases it.
DOMDocument* buildDocument(const Workload& load, const std::vector<uint32_t>& order) {
    static const Text kLs("LS");
    static const Text kRoot("configuration");
    static const Text kSetting("setting");
    static const Text kName("name");
    static const Text kType("type");
    DOMImplementation* implementation = DOMImplementationRegistry::getDOMImplementation(kLs.get());
    DOMDocument* document = implementation->createDocument(nullptr, kRoot.get(), nullptr);
    document->setXmlStandalone(true);
    DOMElement* root = document->getDocumentElement();
    std::map<std::string, DOMElement*> branches;
    for (const uint32_t i : order) {
        const std::string& path = load.paths[i];
        DOMElement* parent = root;
        size_t start = 0;
        for (size_t slash = path.find('/'); slash != std::string::npos;
             slash = path.find('/', start)) {
            DOMElement*& branch = branches[path.substr(0, slash)];
            if (branch == nullptr) {
                branch =
                    document->createElement(Text(path.substr(start, slash - start).c_str()).get());
                parent->appendChild(branch);
            }
            parent = branch;
            start = slash + 1;
        }
        DOMElement* setting = document->createElement(kSetting.get());
        parent->appendChild(setting);
        setting->setAttribute(kName.get(), Text(path.substr(start).c_str()).get());
        setting->setAttribute(kType.get(), Text(keyword(load.values[i].type)).get());
        setting->appendChild(document->createTextNode(Text(format(load.values[i]).c_str()).get()));
    }
    return document;
}

// The DOM serializer alone, pretty-printing a built document into memory.
std::vector<unsigned char> serializeDocument(DOMDocument* document) {
    DOMImplementation* implementation = document->getImplementation();
    DOMLSSerializer* serializer = implementation->createLSSerializer();
    serializer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
    DOMLSOutput* output = implementation->createLSOutput();
    MemBufFormatTarget target(1023);
    output->setByteStream(&target);
    serializer->write(document, output);
    std::vector<unsigned char> form(target.getRawBuffer(), target.getRawBuffer() + target.getLen());
    output->release();
    serializer->release();
    return form;
}

std::vector<unsigned char> buildAndSerialize(const Workload& load,
                                             const std::vector<uint32_t>& order) {
    DOMDocument* document = buildDocument(load, order);
    std::vector<unsigned char> form = serializeDocument(document);
    document->release();
    return form;
}

// Turns one setting element back into a value, as a plain reader would.
uint64_t readSetting(DOMElement* element) {
    static const Text kName("name");
    static const Text kType("type");
    char* name = XMLString::transcode(element->getAttribute(kName.get()));
    char* type = XMLString::transcode(element->getAttribute(kType.get()));
    uint64_t sum = std::string(name).size();
    for (DOMNode* child = element->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() != DOMNode::TEXT_NODE) {
            continue;
        }
        char* value = XMLString::transcode(child->getNodeValue());
        if (std::string(type) == "double") {
            sum += static_cast<uint64_t>(std::strtod(value, nullptr));
        } else if (std::string(type) == "binary") {
            XMLSize_t length = 0;
            XMLByte* decoded = Base64::decodeToXMLByte(child->getNodeValue(), &length);
            sum += length;
            XMLPlatformUtils::fgMemoryManager->deallocate(decoded);
        } else if (std::string(type) == "string" || std::string(type) == "bool") {
            sum += std::string(value).size();
        } else {
            sum += static_cast<uint64_t>(std::strtoll(value, nullptr, 10));
        }
        XMLString::release(&value);
        break;
    }
    XMLString::release(&name);
    XMLString::release(&type);
    return sum;
}

uint64_t walk(DOMNode* node) {
    static const Text kSetting("setting");
    uint64_t sum = 0;
    for (DOMNode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() != DOMNode::ELEMENT_NODE) {
            continue;
        }
        if (XMLString::equals(child->getNodeName(), kSetting.get())) {
            sum += readSetting(static_cast<DOMElement*>(child));
        } else {
            sum += walk(child);
        }
    }
    return sum;
}

std::vector<uint32_t> pathOrder(const Workload& load) {
    std::map<std::string, uint32_t> sorted;
    for (uint32_t i = 0; i < load.paths.size(); ++i) {
        sorted.emplace(load.paths[i], i);
    }
    std::vector<uint32_t> order;
    for (const auto& entry : sorted) {
        order.push_back(entry.second);
    }
    return order;
}

void xerces_build_serialize(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    const std::vector<uint32_t> order = pathOrder(load);
    for (auto _ : state) {
        benchmark::DoNotOptimize(buildAndSerialize(load, order));
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(xerces_build_serialize);

// The serializer alone on a document built beforehand: the part of the floor above that the
// library's own writer replaces.
void xerces_serialize(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    DOMDocument* document = buildDocument(load, pathOrder(load));
    for (auto _ : state) {
        benchmark::DoNotOptimize(serializeDocument(document));
    }
    document->release();
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(xerces_serialize);

// Parses the workload's XML form with a fresh DOM parser in every iteration and hands the root
// element to `use`.
template <class Use>
void timeDomParses(benchmark::State& state, Use use) {
    const Workload& load = workload(state.range(0));
    const std::vector<unsigned char>& form = xmlForm(load);
    for (auto _ : state) {
        MemBufInputSource source(form.data(), form.size(), "configuration", false);
        XercesDOMParser parser;
        parser.parse(source);
        benchmark::DoNotOptimize(use(parser.getDocument()->getDocumentElement()));
    }
    countSettings(state, load.paths.size());
}

void xerces_parse_walk(benchmark::State& state) {
    timeDomParses(state, [](DOMElement* root) { return walk(root); });
}
ORVANDEL_BENCHMARK(xerces_parse_walk);

// Xerces-C's DOM parser building the tree, nothing else: what any DOM-based reader pays before it
// reads a single value.
void xerces_dom_parse(benchmark::State& state) {
    timeDomParses(state, [](DOMElement* root) { return root; });
}
ORVANDEL_BENCHMARK(xerces_dom_parse);

}  // namespace

}  // namespace orvandel_bench
