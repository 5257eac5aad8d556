// The type keywords and value texts of the XML configuration document, both ways.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_XMLVALUETEXT_H
#define ORVANDEL_CONFIGURATION_INTERNAL_XMLVALUETEXT_H

#include <locale.h>

#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>

#include <xercesc/util/TransService.hpp>

#include <orvandel/configuration/ISetting.h>

namespace com {
namespace orvandel {
namespace configuration {

// The keyword of a value type in the `type` attribute ("bool", "uchar", ... "unicodeString"),
// or "" for a type outside the fourteen (which no reader accepts).
const char* xmlTypeKeyword(ISetting::Type type);

// The same keyword in UTF-16; a static string, never null.
const XMLCh* xmlTypeKeywordUnicode(ISetting::Type type);

// The value type named by keyword (compared exactly). Returns false for any other text.
bool xmlTypeFromKeyword(const char* keyword, ISetting::Type* type);

// Makes the value texts of one document. Numbers and booleans are formatted in the classic
// conventions (decimal integers, floating-point values widened to double in scientific notation
// with 53 digits after the point, booleans by name), strings are widened with the C library's
// multibyte conversion (the XML writer writes binary values' Base64 text itself). Every text is
// then converted to the multibyte encoding of the current LC_CTYPE locale, stopping at a NUL or
// at the first character that the locale cannot represent; under the "C" locale the conversions
// are those of "C.UTF-8", so that no text is cut. A string of ASCII characters, which both
// conversions give back unchanged, is taken as it is. One writer serves a whole document, so
// that its choice of conversion is made once.
class XMLValueTextWriter {
  public:
    // The value text of setting, in the current locale's multibyte encoding; borrowed, valid
    // until the next call and while the setting keeps its value. A binary setting and a type
    // outside the fourteen have empty text.
    std::string_view valueText(ISetting& setting);

  private:
    // Enough for any integer, and for a double in scientific notation with 53 digits after the
    // point.
    static constexpr size_t sd_numberTextCapacity = 96;

    bool formatNumber(const ISetting& setting);
    bool asciiString(const ISetting& setting, std::string_view* text);
    template <class Stored>
    bool formatScalar(const ISetting& setting);
    void formatText(ISetting& setting);
    void widenMultibyte(const char* text, size_t length);
    void narrowWide();

    // The character conversions the value texts use: the calling thread's own, or "C.UTF-8"
    // in place of the "C" locale, switched to for the length of one valueText call.
    class CtypeForText {
      public:
        CtypeForText();

        class Use {
          public:
            explicit Use(const CtypeForText& ctype);
            ~Use();
            Use(const Use&) = delete;
            Use& operator=(const Use&) = delete;

          private:
            locale_t d_previous;  // 0 when nothing was switched
        };

      private:
        locale_t d_replacement;  // 0 when the thread's own conversions serve
    };

    std::wstring d_wide;
    std::string d_narrow;
    CtypeForText d_ctype;
};

// Reads the value texts of one document into new settings. Numbers and booleans are read by a
// wide stream in the classic conventions that throws std::ios_base::failure for text it cannot
// read; the text is first converted to wchar_t with a UCS-4LE transcoder. One reader serves a whole
// document.
class XMLValueTextReader {
  public:
    // wideTranscoder (UCS-4LE) is borrowed for the reader's lifetime.
    explicit XMLValueTextReader(xercesc::XMLTranscoder& wideTranscoder);

    // Stores the value that text (Xerces-C's UTF-16, not empty) gives for setting's type.
    // Throws serializationFailureException for text that cannot be transcoded and for Base64
    // that does not decode, std::ios_base::failure for a number or boolean that the stream
    // cannot read, std::bad_alloc when memory runs out.
    void readValue(const XMLCh* text, ISetting& setting);

  private:
    template <class Read, class Stored>
    void readScalar(const XMLCh* text, ISetting& setting);
    void widen(const XMLCh* text);
    static void readBinary(const XMLCh* text, ISetting& setting);

    xercesc::XMLTranscoder& d_wideTranscoder;
    std::wistringstream d_stream;
    std::wstring d_wide;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
