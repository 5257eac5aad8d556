#include "WriterComparison.h"

#include <orvandel/configuration/Convenience.h>

#include <exception>
#include <string>
#include <vector>

#include <xercesc/dom/DOMException.hpp>

#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>

#include "DomDocumentWriter.h"

namespace oracle {

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

// Segments that are XML names (some only once transcoded, some equal only once transcoded),
// then a few that are not.
const std::string sd_segmentWords[] = {"a",
                                       "b",
                                       "setting",
                                       "configuration",
                                       "\xc3\xa9",
                                       "\xfe",
                                       "\xff",
                                       std::string("a\0b", 3),
                                       std::string("a\0c", 3),
                                       "a.b",
                                       "_z",
                                       "1x",
                                       "x y",
                                       "",
                                       "\xc3"};
constexpr int sd_validSegments = 11;
// Texts: whitespace first, so that all-whitespace texts are frequent.
const std::string sd_textWords[] = {" ",
                                    "\n",
                                    "\r",
                                    "\t",
                                    "a",
                                    "<",
                                    "&",
                                    ">",
                                    "\"",
                                    "'",
                                    "]]>",
                                    "\xc3\xa9",
                                    "\xf0\x9f\x98\x80",
                                    "\x7f",
                                    "\xc2\x85",
                                    "\xed\xa0\x80",
                                    "\xef\xbf\xbf",
                                    "\xfe",
                                    std::string(1, '\0'),
                                    "\x01"};
constexpr int sd_whitespaceWords = 4;
const wchar_t sd_wideWords[] = {L' ', L'\n',   L'\r',  L'\t',    L'a',   L'<', L'&',   L'"',
                                0xe9, 0x1F600, 0xD800, 0x110000, 0xFFFE, 0x85, 0x2028, 1};

class ByteSource {
  public:
    ByteSource(const uint8_t* data, size_t size) : d_data(data), d_size(size) {}

    bool more() const { return d_position < d_size; }
    uint8_t next() { return d_position < d_size ? d_data[d_position++] : 0; }
    template <class T>
    T number() {
        T value = 0;
        for (size_t byte = 0; byte < sizeof value; ++byte) {
            value = static_cast<T>((static_cast<uint64_t>(value) << 8) | next());
        }
        return value;
    }
    // One of the first `count` words, or of all of them.
    template <class Word, size_t size>
    const Word& word(const Word (&words)[size], size_t count = size) {
        return words[next() % count];
    }

    // A few words; now and then only whitespace (and then rarely anything invalid).
    template <class Text, class Word, size_t size>
    Text text(const Word (&words)[size]) {
        const uint8_t shape = next();
        Text text;
        for (int count = shape % 6; count > 0; --count) {
            text += word(words, (shape & 0x40) != 0 ? sd_whitespaceWords
                                                    : size - ((shape & 0x3c) != 0x3c ? 1 : 0));
        }
        return text;
    }

  private:
    const uint8_t* d_data;
    size_t d_size;
    size_t d_position = 0;
};

std::string pathFrom(ByteSource& source) {
    const uint8_t shape = source.next();
    std::string path = (shape & 0x67) == 0x67 ? "/" : "";
    if ((shape & 0xfc) == 0xfc) {
        for (int level = 0; level < 995 + shape % 8; ++level) {
            path += "d/";
        }
    }
    const bool valid = (shape & 0xe6) != 0xe6;
    for (int segment = 0; segment < (shape >> 1) % 4; ++segment) {
        path += source.word(sd_segmentWords, valid ? sd_validSegments : 15) + "/";
    }
    return path + ((shape & 8) != 0 ? source.text<std::string>(sd_textWords) : "x");
}

template <class T>
void setScalar(Setting& setting, ByteSource& source) {
    setting.setValue(source.number<T>());
}

AutoRefCounted<ISetting> settingFrom(ByteSource& source) {
    AutoRefCounted<Setting> setting(new Setting());
    const auto type = static_cast<ISetting::Type>(source.next() % 15);
    setting->initialize(type);
    switch (type) {
        case ISetting::boolType:
            setting->setValue((source.next() & 1) != 0);
            break;
        case ISetting::ucharType:
            setScalar<unsigned char>(*setting, source);
            break;
        case ISetting::uint16Type:
            setScalar<uint16_t>(*setting, source);
            break;
        case ISetting::uint32Type:
            setScalar<uint32_t>(*setting, source);
            break;
        case ISetting::uint64Type:
            setScalar<uint64_t>(*setting, source);
            break;
        case ISetting::charType:
            setScalar<signed char>(*setting, source);
            break;
        case ISetting::int16Type:
            setScalar<int16_t>(*setting, source);
            break;
        case ISetting::int32Type:
            setScalar<int32_t>(*setting, source);
            break;
        case ISetting::int64Type:
            setScalar<int64_t>(*setting, source);
            break;
        case ISetting::floatType:
            setting->setValue(static_cast<float>(source.number<int32_t>()) / 7.0f);
            break;
        case ISetting::doubleType:
            setting->setValue(static_cast<double>(source.number<int64_t>()) / 3.0);
            break;
        case ISetting::stringType:
            setting->setValue(source.text<std::string>(sd_textWords));
            break;
        case ISetting::unicodeString:
            setting->setValue(source.text<std::wstring>(sd_wideWords));
            break;
        case ISetting::binaryType: {
            size_t length = source.next() * size_t(3);
            setting->resizeBinaryBuffer(&length);
            unsigned char* bytes = nullptr;
            setting->getBinaryBuffer(&bytes, &length);
            for (size_t byte = 0; byte < length; ++byte) {
                bytes[byte] = static_cast<unsigned char>(byte * 7 + length);
            }
            break;
        }
        default:
            break;
    }
    return static_pointer_cast<ISetting>(setting);
}

// The bytes written, or how the writing failed.
template <class Write>
std::string outcomeOf(Write write) {
    try {
        const std::vector<unsigned char> bytes = write();
        return std::string(bytes.begin(), bytes.end());
    } catch (const xercesc::DOMException& exception) {
        return "failed: DOMException " + std::to_string(exception.code);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        return "failed: ConfigurationSetException " + std::to_string(exception);
    } catch (const std::exception& exception) {
        return std::string("failed: ") + exception.what();
    }
}

}  // namespace

AutoRefCounted<IConfigurationSet> xmlSetFrom(const uint8_t* data, size_t size) {
    AutoRefCounted<IConfigurationSet> set(new XMLConfigurationSet());
    ByteSource source(data, size);
    while (source.more() && set->getSettingCount() < 64) {
        const std::string path = pathFrom(source);
        const AutoRefCounted<ISetting> setting = settingFrom(source);
        try {
            set->insertSetting(path, setting);
        } catch (IConfigurationSet::ConfigurationSetException) {
            // a path drawn twice keeps its first setting
        }
    }
    return set;
}

std::string writerDifference(IConfigurationSet& set) {
    const std::string expected = outcomeOf([&] { return domDocument(set); });
    const std::string written =
        outcomeOf([&] { return com::orvandel::configuration::serialize(set); });
    return written == expected ? std::string() : "oracle:\n" + expected + "\nwriter:\n" + written;
}

}  // namespace oracle
