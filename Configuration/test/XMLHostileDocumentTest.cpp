#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "XMLTestSupport.h"

#include <orvandel/configuration/internal/XMLDocumentReader.h>

using namespace xmltest;

namespace {

const char sd_secret[] = "TOP-SECRET-7c1e";

// A file holding the secret (or any text), removed at the end of the test. It watches itself
// through inotify, so a test can tell whether anything opened it.
class SecretFile {
  public:
    explicit SecretFile(const std::string& content) : d_file(content) {
        d_watch = inotify_init1(IN_NONBLOCK);
        if (d_watch >= 0) {
            inotify_add_watch(d_watch, d_file.path().c_str(), IN_OPEN | IN_ACCESS);
        }
    }
    ~SecretFile() {
        if (d_watch >= 0) {
            close(d_watch);
        }
    }
    SecretFile(const SecretFile&) = delete;
    SecretFile& operator=(const SecretFile&) = delete;

    std::string url() const { return d_file.url(); }

    bool watched() const { return d_watch >= 0; }

    // Whether the file was opened or read since it was written.
    bool wasOpened() const {
        alignas(inotify_event) char events[4096];
        return read(d_watch, events, sizeof events) > 0;
    }

  private:
    TemporaryFile d_file;
    int d_watch;
};

// Reads the document into a set holding "p"; returns whether the read succeeded, and checks
// that the secret reached no setting either way.
bool readLeavesNoSecret(const std::string& document) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "p", ISetting::int32Type, int32_t(1));
    bool read = true;
    try {
        unserialize(*set, document);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        EXPECT_EQ(IConfigurationSet::serializationFailureException, exception);
        read = false;
        EXPECT_EQ((std::vector<std::string>{"p"}), pathsOf(*set));
    }
    for (const std::string& path : pathsOf(*set)) {
        if (set->retrieveSetting(path)->getType() == ISetting::stringType) {
            EXPECT_EQ(std::string::npos, stringAt(*set, path).find(sd_secret)) << path;
        }
    }
    return read;
}

std::string nested(size_t depth, const std::string& innermost) {
    std::string document;
    for (size_t level = 0; level < depth; ++level) {
        document += "<a>";
    }
    document += innermost;
    for (size_t level = 0; level < depth; ++level) {
        document += "</a>";
    }
    return document;
}

}  // namespace

// An external entity, an external parameter entity and an external DTD, each of which would
// bring the secret into a setting if it were fetched.
TEST(XMLHostileDocument, ExternalEntitiesAndDtdsAreNeverFetched) {
    const SecretFile secret(sd_secret);
    const SecretFile declarations("<!ENTITY x SYSTEM \"" + secret.url() + "\">");
    ASSERT_TRUE(secret.watched() && declarations.watched());
    for (const std::string& doctype :
         {"<!DOCTYPE configuration [\n<!ENTITY x SYSTEM \"" + secret.url() + "\">\n]>\n",
          "<!DOCTYPE configuration [\n<!ENTITY % d SYSTEM \"" + declarations.url() +
              "\"> %d;\n]>\n",
          "<!DOCTYPE configuration SYSTEM \"" + declarations.url() + "\">\n"}) {
        SCOPED_TRACE(doctype);
        EXPECT_FALSE(readLeavesNoSecret("<?xml version=\"1.0\"?>\n" + doctype +
                                        "<configuration><setting name=\"s\" type=\"string\">&x;"
                                        "</setting></configuration>"));
        EXPECT_FALSE(declarations.wasOpened());
        EXPECT_FALSE(secret.wasOpened());
    }
}

TEST(XMLHostileDocument, AnEntityExpansionBombFailsQuickly) {
    std::string document =
        "<?xml version=\"1.0\"?>\n<!DOCTYPE configuration [\n"
        "<!ENTITY lol0 \"lollollollollollollollollollol\">\n";
    for (int level = 1; level <= 9; ++level) {
        document += "<!ENTITY lol" + std::to_string(level) + " \"";
        for (int copy = 0; copy < 10; ++copy) {
            document += "&lol" + std::to_string(level - 1) + ";";
        }
        document += "\">\n";
    }
    document +=
        "]>\n<configuration><setting name=\"s\" type=\"string\">&lol9;</setting>"
        "</configuration>";
    EXPECT_FALSE(readLeavesNoSecret(document));
}

TEST(XMLHostileDocument, ManyPredefinedEntitiesAndCharacterReferencesAreNoExpansionBomb) {
    std::string text;
    for (int index = 0; index < 20000; ++index) {
        text += "&amp;&lt;&#65;";
    }
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    unserialize(*set, "<configuration><setting name=\"s\" type=\"string\">" + text +
                          "</setting></configuration>");
    EXPECT_EQ(60000u, stringAt(*set, "/s").size());
}

TEST(XMLHostileDocument, NestingIsReadUpToTheBoundAndAHundredThousandLevelsFailWithoutOverflow) {
    EXPECT_FALSE(
        readLeavesNoSecret(nested(100000, "<setting name=\"s\" type=\"string\">deep</setting>")));

    const size_t bound = XMLConfigurationSet::sd_maxElementDepth;
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    unserialize(*set, nested(bound - 1, "<setting name=\"s\" type=\"int32\">1</setting>"));
    EXPECT_EQ(1u, set->getSettingCount());
    EXPECT_EQ(IConfigurationSet::serializationFailureException,
              failureOf(*set, nested(bound, settingElement("t", "int32", "1"))));
    EXPECT_EQ(1u, set->getSettingCount());
}

TEST(XMLHostileDocument, BytesThatAreNotXmlAtAllFail) {
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes += static_cast<char>(value);
    }
    EXPECT_FALSE(readLeavesNoSecret(bytes));
    EXPECT_FALSE(
        readLeavesNoSecret("<configuration><setting name=\"s\" type=\"string\">\xff\xfe"
                           "</setting></configuration>"));
}

TEST(XMLHostileDocument, EveryTruncationOfAValidDocumentFailsOrReadsWhole) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b", ISetting::int32Type, int32_t(5));
    put(*set, "a/c", ISetting::stringType, std::string("text"));
    put(*set, "d", ISetting::doubleType, 2.5);
    const std::string document = serialized(*set);
    for (size_t length = 0; length < document.size(); ++length) {
        AutoRefCounted<IConfigurationSet> target = newXmlSet();
        try {
            unserialize(*target, document.substr(0, length));
            EXPECT_EQ(3u, target->getSettingCount()) << length;
        } catch (IConfigurationSet::ConfigurationSetException exception) {
            EXPECT_EQ(IConfigurationSet::serializationFailureException, exception);
            EXPECT_EQ(0u, target->getSettingCount()) << length;
        }
    }
}

// A setting element needs two attributes and other elements none; an element with more than the
// bound fails the document wherever it stands, also after a setting that was read.
TEST(XMLHostileDocument, AnElementWithMoreAttributesThanTheBoundFails) {
    const auto attributes = [](size_t count) {
        std::string text;
        for (size_t index = 0; index < count; ++index) {
            text += " a" + std::to_string(index) + "=\"1\"";
        }
        return text;
    };
    const size_t bound = com::orvandel::configuration::XMLDocumentReader::sd_maxAttributes;
    const std::string setting = settingElement("s", "int32", "1");
    EXPECT_TRUE(readLeavesNoSecret("<configuration><setting name=\"s\" type=\"int32\"" +
                                   attributes(bound - 2) + ">1</setting></configuration>"));
    EXPECT_FALSE(readLeavesNoSecret("<configuration><setting name=\"s\" type=\"int32\"" +
                                    attributes(bound - 1) + ">1</setting></configuration>"));
    EXPECT_FALSE(readLeavesNoSecret("<configuration" + attributes(bound + 1) + ">" + setting +
                                    "</configuration>"));
    EXPECT_FALSE(readLeavesNoSecret("<configuration>" + setting + "<x" + attributes(5000) +
                                    "/></configuration>"));
}
