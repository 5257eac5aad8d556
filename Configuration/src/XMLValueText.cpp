#include <orvandel/configuration/internal/XMLValueText.h>

#include <langinfo.h>
#include <locale.h>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <ios>
#include <locale>
#include <type_traits>

#include <xercesc/util/Base64.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/XercesHolders.h>

namespace com {
namespace orvandel {
namespace configuration {

namespace {

using xercesc::XMLPlatformUtils;

// Indexed by ISetting::Type: the UTF-16 form of each type's name, so that the writer transcodes
// nothing.
const XMLCh* const sd_typeKeywords[] = {u"bool",   u"uchar",  u"uint16", u"uint32",       u"uint64",
                                        u"char",   u"int16",  u"int32",  u"int64",        u"float",
                                        u"double", u"string", u"binary", u"unicodeString"};
constexpr int sd_typeCount = sizeof sd_typeKeywords / sizeof sd_typeKeywords[0];

// The reader's stream reads numbers and booleans in the form the writer makes them (decimal
// integers, booleans by name, floating-point values in scientific notation with 53 digits after
// the point, enough to give back the identical float or double), in the classic conventions
// whatever the program's global C++ locale, so that a document never depends on the locale of
// the program that wrote or reads it: no digit grouping, "." as the decimal point.
void setNumberFlags(std::ios_base& stream) {
    stream.imbue(std::locale::classic());
    stream.setf(std::ios_base::showbase);
    stream.setf(std::ios_base::boolalpha);
    stream.setf(std::ios_base::scientific, std::ios_base::floatfield);
    stream.setf(std::ios_base::showpoint);
    stream.precision(53);
}

// True when the calling thread's LC_CTYPE is the "C" (or "POSIX") locale, the one of every
// program that never calls setlocale.
bool ctypeIsTheCLocale() {
    const char* name = nl_langinfo(_NL_LOCALE_NAME(LC_CTYPE));
    return name != nullptr && (std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0);
}

// The built-in "C.UTF-8" character classification, made once and kept for the process; null
// when the C library has none.
locale_t utf8Ctype() {
    static const locale_t sd_utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(0));
    return sd_utf8;
}

}  // namespace

// Under the "C" locale the multibyte conversions would stop at the first non-ASCII character
// and cut the text without an error. Xerces-C reads and writes narrow text as UTF-8 whatever the
// locale, so the writer converts as "C.UTF-8" there instead: ASCII text gives the same bytes,
// and everything else comes back whole. Any other locale is used as it is.
XMLValueTextWriter::CtypeForText::CtypeForText()
    : d_replacement(ctypeIsTheCLocale() ? utf8Ctype() : locale_t(0)) {}

XMLValueTextWriter::CtypeForText::Use::Use(const CtypeForText& ctype)
    : d_previous(ctype.d_replacement != locale_t(0) ? ::uselocale(ctype.d_replacement)
                                                    : locale_t(0)) {}

XMLValueTextWriter::CtypeForText::Use::~Use() {
    if (d_previous != locale_t(0)) {
        ::uselocale(d_previous);
    }
}

const char* xmlTypeKeyword(ISetting::Type type) {
    return typeName(type);
}

const XMLCh* xmlTypeKeywordUnicode(ISetting::Type type) {
    const int index = static_cast<int>(type);
    return index >= 0 && index < sd_typeCount ? sd_typeKeywords[index] : u"";
}

bool xmlTypeFromKeyword(const char* keyword, ISetting::Type* type) {
    for (int index = 0; index < sd_typeCount; ++index) {
        if (std::strcmp(keyword, typeName(static_cast<ISetting::Type>(index))) == 0) {
            *type = static_cast<ISetting::Type>(index);
            return true;
        }
    }
    return false;
}

std::string_view XMLValueTextWriter::valueText(ISetting& setting) {
    if (formatNumber(setting)) {
        return d_narrow;
    }
    std::string_view ascii;
    if (asciiString(setting, &ascii)) {
        return ascii;
    }
    const CtypeForText::Use ctype(d_ctype);
    d_wide.clear();
    formatText(setting);
    narrowWide();
    return d_narrow;
}

// Numbers and booleans are ASCII in the classic form, so they are written straight as narrow
// text: decimal integers, floating-point values as printf's "%.53e" writes them (to_chars gives
// the same text), booleans by name.
bool XMLValueTextWriter::formatNumber(const ISetting& setting) {
    switch (setting.getType()) {
        case ISetting::boolType: {
            bool value = false;
            setting.getValue(&value);
            d_narrow = value ? "true" : "false";
            return true;
        }
        case ISetting::ucharType:
            return formatScalar<unsigned char>(setting);
        case ISetting::uint16Type:
            return formatScalar<uint16_t>(setting);
        case ISetting::uint32Type:
            return formatScalar<uint32_t>(setting);
        case ISetting::uint64Type:
            return formatScalar<uint64_t>(setting);
        case ISetting::charType:
            return formatScalar<signed char>(setting);
        case ISetting::int16Type:
            return formatScalar<int16_t>(setting);
        case ISetting::int32Type:
            return formatScalar<int32_t>(setting);
        case ISetting::int64Type:
            return formatScalar<int64_t>(setting);
        case ISetting::floatType:
            return formatScalar<float>(setting);
        case ISetting::doubleType:
            return formatScalar<double>(setting);
        default:
            return false;
    }
}

// A string of ASCII characters comes back from the multibyte conversions as it is, up to its
// first NUL, in every locale (each encoding a locale can have writes ASCII as ASCII), so it is
// taken as it is, without converting it twice.
bool XMLValueTextWriter::asciiString(const ISetting& setting, std::string_view* text) {
    if (setting.getType() != ISetting::stringType) {
        return false;
    }
    const std::string* value = nullptr;
    setting.getValue(&value);
    size_t length = 0;
    for (; length < value->size() && (*value)[length] != '\0'; ++length) {
        if (static_cast<unsigned char>((*value)[length]) >= 0x80) {
            return false;
        }
    }
    *text = std::string_view(value->data(), length);
    return true;
}

// Integers narrower than int are shown as numbers, not characters; a float is shown widened to
// double, so its text is exact.
template <class Stored>
bool XMLValueTextWriter::formatScalar(const ISetting& setting) {
    Stored value;
    setting.getValue(&value);
    char digits[sd_numberTextCapacity];
    std::to_chars_result end;
    if constexpr (std::is_floating_point_v<Stored>) {
        end = std::to_chars(digits, digits + sizeof digits, static_cast<double>(value),
                            std::chars_format::scientific, 53);
    } else {
        end = std::to_chars(digits, digits + sizeof digits, +value);
    }
    d_narrow.assign(digits, end.ptr);
    return true;
}

// Strings and wide strings, as wide text.
void XMLValueTextWriter::formatText(ISetting& setting) {
    switch (setting.getType()) {
        case ISetting::stringType: {
            const std::string* value = nullptr;
            setting.getValue(&value);
            return widenMultibyte(value->c_str(), value->size());
        }
        case ISetting::unicodeString: {
            const std::wstring* value = nullptr;
            setting.getValue(&value);
            d_wide = *value;
            return;
        }
        default:
            return;  // binary buffers and types outside the fourteen have empty text
    }
}

// The characters that the current locale converts, up to the first byte sequence it cannot
// convert or a NUL byte.
void XMLValueTextWriter::widenMultibyte(const char* text, size_t length) {
    d_wide.assign(length, L'\0');
    const size_t converted = std::mbstowcs(&d_wide[0], text, length);
    d_wide.resize(converted != static_cast<size_t>(-1) ? converted : std::wcslen(d_wide.c_str()));
}

// The bytes of the locale's multibyte encoding, up to a NUL or the first character that the
// locale cannot represent (the conversion leaves what it converted before that in the
// zero-filled buffer).
void XMLValueTextWriter::narrowWide() {
    d_narrow.assign(d_wide.size() * MB_CUR_MAX + 1, '\0');
    const wchar_t* source = d_wide.c_str();
    std::mbstate_t state{};
    const size_t converted = std::wcsrtombs(&d_narrow[0], &source, d_narrow.size(), &state);
    d_narrow.resize(converted != static_cast<size_t>(-1) ? converted
                                                         : std::strlen(d_narrow.c_str()));
}

XMLValueTextReader::XMLValueTextReader(xercesc::XMLTranscoder& wideTranscoder)
    : d_wideTranscoder(wideTranscoder) {
    setNumberFlags(d_stream);
    // badbit too: a stream swallows an exception from inside a conversion (running out of
    // memory) unless badbit is in the mask, and would leave the value unread.
    d_stream.exceptions(std::ios_base::failbit | std::ios_base::badbit);
}

void XMLValueTextReader::readValue(const XMLCh* text, ISetting& setting) {
    switch (setting.getType()) {
        case ISetting::boolType:
            return readScalar<bool, bool>(text, setting);
        case ISetting::ucharType:
            return readScalar<uint32_t, unsigned char>(text, setting);
        case ISetting::uint16Type:
            return readScalar<uint32_t, uint16_t>(text, setting);
        case ISetting::uint32Type:
            return readScalar<uint32_t, uint32_t>(text, setting);
        case ISetting::uint64Type:
            return readScalar<uint64_t, uint64_t>(text, setting);
        case ISetting::charType:
            return readScalar<int32_t, signed char>(text, setting);
        case ISetting::int16Type:
            return readScalar<int32_t, int16_t>(text, setting);
        case ISetting::int32Type:
            return readScalar<int32_t, int32_t>(text, setting);
        case ISetting::int64Type:
            return readScalar<int64_t, int64_t>(text, setting);
        case ISetting::floatType:
            return readScalar<float, float>(text, setting);
        case ISetting::doubleType:
            return readScalar<double, double>(text, setting);
        case ISetting::stringType:
            // Taken from Xerces-C's text directly, up to its first NUL.
            return setting.setValue(std::string(TranscodedText(text).get()));
        case ISetting::unicodeString:
            widen(text);
            return setting.setValue(d_wide);
        case ISetting::binaryType:
            return readBinary(text, setting);
    }
    throw IConfigurationSet::serializationFailureException;
}

// The 8- and 16-bit types are read as 32-bit numbers and keep their low bits, so "uchar" 300
// gives 44 and "char" 200 gives -56.
template <class Read, class Stored>
void XMLValueTextReader::readScalar(const XMLCh* text, ISetting& setting) {
    widen(text);
    Read value{};
    d_stream.clear();
    d_stream.str(d_wide);
    d_stream >> value;
    setting.setValue(static_cast<Stored>(value));
}

// UTF-16 to wchar_t (a surrogate pair gives one character). The transcoder may stop before the
// end of a long text, so it is called until everything is consumed; a call that consumes
// nothing means text it cannot convert.
void XMLValueTextReader::widen(const XMLCh* text) {
    const XMLSize_t length = xercesc::XMLString::stringLen(text);
    d_wide.assign(length, L'\0');
    XMLSize_t consumed = 0;
    size_t produced = 0;
    try {
        while (consumed < length) {
            XMLSize_t eaten = 0;
            const XMLSize_t bytes = d_wideTranscoder.transcodeTo(
                text + consumed, length - consumed, reinterpret_cast<XMLByte*>(&d_wide[produced]),
                (d_wide.size() - produced) * sizeof(wchar_t), eaten,
                xercesc::XMLTranscoder::UnRep_Throw);
            if (eaten == 0) {
                throw IConfigurationSet::serializationFailureException;
            }
            consumed += eaten;
            produced += bytes / sizeof(wchar_t);
        }
    } catch (const xercesc::XMLException&) {
        throw IConfigurationSet::serializationFailureException;
    }
    d_wide.resize(produced);
}

// Base64 with RFC 2045 conformance, so whitespace anywhere in the text (the writer's line
// breaks, a reformatting editor's indentation) is skipped. Text that does not decode, or holds
// nothing but whitespace, has no result.
void XMLValueTextReader::readBinary(const XMLCh* text, ISetting& setting) {
    XMLSize_t decodedLength = 0;
    const XercesBuffer<XMLByte> decoded(xercesc::Base64::decodeToXMLByte(
        text, &decodedLength, XMLPlatformUtils::fgMemoryManager, xercesc::Base64::Conf_RFC2045));
    if (decoded == nullptr) {
        throw IConfigurationSet::serializationFailureException;
    }
    size_t length = decodedLength;
    setting.resizeBinaryBuffer(&length);
    unsigned char* binary = nullptr;
    setting.getBinaryBuffer(&binary, &length);
    if (length != 0) {
        std::memcpy(binary, decoded.get(), length);
    }
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
