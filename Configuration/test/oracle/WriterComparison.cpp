#include "WriterComparison.h"

#include <exception>
#include <string>
#include <vector>

#include <xercesc/dom/DOMException.hpp>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>

namespace oracle {

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using namespace std::string_literals;

namespace {

// Segments that are XML names (some only once transcoded, some equal only once transcoded),
// then a few that are not.
const std::string sd_segmentWords[] = {
    "a",   "b",  "setting", "configuration", "\xc3\xa9", "\xfe", "\xff", "a\0b"s, "a\0c"s,
    "a.b", "_z", "1x",      "x y",           "",         "\xc3"};
constexpr size_t sd_validSegments = 11;
// Texts: whitespace first, so that all-whitespace texts are frequent.
// clang-format off
const std::string sd_textWords[] = {" ", "\n", "\r", "\t", "a", "<", "&", ">", "\"", "'", "]]>",
    "\xc3\xa9", "\xf0\x9f\x98\x80", "\x7f", "\xc2\x85", "\xed\xa0\x80", "\xef\xbf\xbf", "\xfe",
    "\x80", "\0"s, "\x01"};
// clang-format on
constexpr size_t sd_whitespaceWords = 4;
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
    // One of the first `count` words.
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
    for (int level = 0; (shape & 0xfc) == 0xfc && level < 995 + shape % 8; ++level) {
        path += "d/";
    }
    const bool valid = (shape & 0xe6) != 0xe6;
    for (int segment = 0; segment < (shape >> 1) % 4; ++segment) {
        path += source.word(sd_segmentWords, valid ? sd_validSegments : 15) + "/";
    }
    return path + ((shape & 8) != 0 ? source.text<std::string>(sd_textWords) : "x");
}

template <class T>
void fillNumber(Setting& setting, ByteSource& source) {
    setting.setValue(source.number<T>());
}

void fillBinary(Setting& setting, ByteSource& source) {
    size_t length = source.next() * size_t(3);
    setting.resizeBinaryBuffer(&length);
    unsigned char* bytes = nullptr;
    setting.getBinaryBuffer(&bytes, &length);
    for (size_t byte = 0; byte < length; ++byte) {
        bytes[byte] = static_cast<unsigned char>(byte * 7 + length);
    }
}

// How a value of each type, in ISetting::Type order, is drawn.
void (*const sd_fillers[])(Setting&, ByteSource&) = {
    [](Setting& to, ByteSource& from) { to.setValue((from.next() & 1) != 0); },
    fillNumber<unsigned char>,
    fillNumber<uint16_t>,
    fillNumber<uint32_t>,
    fillNumber<uint64_t>,
    fillNumber<signed char>,
    fillNumber<int16_t>,
    fillNumber<int32_t>,
    fillNumber<int64_t>,
    [](Setting& to, ByteSource& from) { to.setValue(from.number<int32_t>() / 7.0f); },
    [](Setting& to, ByteSource& from) { to.setValue(from.number<int64_t>() / 3.0); },
    [](Setting& to, ByteSource& from) { to.setValue(from.text<std::string>(sd_textWords)); },
    fillBinary,
    [](Setting& to, ByteSource& from) { to.setValue(from.text<std::wstring>(sd_wideWords)); }};

AutoRefCounted<ISetting> settingFrom(ByteSource& source) {
    AutoRefCounted<Setting> setting(new Setting());
    const auto type = static_cast<ISetting::Type>(source.next() % 15);
    setting->initialize(type);
    if (type < std::size(sd_fillers)) {
        sd_fillers[type](*setting, source);
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
    const std::string written = outcomeOf([&] { return serialize(set); });
    return written == expected ? std::string() : "oracle:\n" + expected + "\nwriter:\n" + written;
}

}  // namespace oracle
