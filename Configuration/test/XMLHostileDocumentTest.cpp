// Documents made to harm the reader: they fail fast, fetch nothing and bring nothing in.
#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "XMLTestSupport.h"

#include <orvandel/configuration/internal/XMLDocumentReader.h>

using namespace xmltest;

namespace {

const char sd_secret[] = "TOP-SECRET-7c1e";

// Reads the document into a set holding "p"; returns whether the read succeeded, and checks that
// a failure is serializationFailureException that changed nothing and that no setting got the
// secret.
bool readLeavesNoSecret(const std::string& document) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    putInt(*set, "p", 1);
    const auto failure = testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
        [&] { unserialize(*set, document); });
    EXPECT_EQ(IConfigurationSet::serializationFailureException,
              failure.value_or(IConfigurationSet::serializationFailureException));
    EXPECT_TRUE(!failure || pathsOf(*set) == std::vector<std::string>{"p"});
    for (const std::string& path : pathsOf(*set)) {
        if (set->retrieveSetting(path)->getType() == ISetting::stringType) {
            EXPECT_EQ(std::string::npos, valueAt<const std::string*>(*set, path)->find(sd_secret));
        }
    }
    return !failure;
}

std::string repeated(const std::string& text, size_t count) {
    std::string result;
    for (size_t index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

std::string nested(size_t depth, const std::string& innermost) {
    return repeated("<a>", depth) + innermost + repeated("</a>", depth);
}

}  // namespace

// An external entity, an external parameter entity and an external DTD, each of which would
// bring the secret into a setting if fetched; inotify tells whether either file was opened.
TEST(XMLHostileDocument, ExternalEntitiesAndDtdsAreNeverFetched) {
    testsupport::ScratchDirectory directory;
    const std::string secret = directory.file("secret");
    const std::string declarations = directory.file("declarations");
    std::ofstream(secret) << sd_secret;
    std::ofstream(declarations) << "<!ENTITY x SYSTEM \"file://" + secret + "\">";
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, secret.c_str(), IN_OPEN | IN_ACCESS), 0);
    ASSERT_GE(inotify_add_watch(watch, declarations.c_str(), IN_OPEN | IN_ACCESS), 0);
    for (const std::string& doctype :
         {"<!DOCTYPE configuration [<!ENTITY x SYSTEM \"file://" + secret + "\">]>",
          "<!DOCTYPE configuration [<!ENTITY % d SYSTEM \"file://" + declarations + "\"> %d;]>",
          "<!DOCTYPE configuration SYSTEM \"file://" + declarations + "\">"}) {
        SCOPED_TRACE(doctype);
        EXPECT_FALSE(readLeavesNoSecret("<?xml version=\"1.0\"?>\n" + doctype + "<configuration>" +
                                        settingElement("s", "string", "&x;") + "</configuration>"));
        alignas(inotify_event) char events[4096];
        EXPECT_LE(read(watch, events, sizeof events), 0) << "a file was opened";
    }
    close(watch);
}

// An entity expansion bomb, bytes that are not XML, more nesting or attributes than the bounds
// (anywhere, also after a setting that was read) all fail; many predefined entities and
// character references are no bomb, and the bounds themselves are read.
TEST(XMLHostileDocument, BombsBytesAndDocumentsBeyondTheBoundsFailQuickly) {
    std::string bomb = "<!DOCTYPE configuration [<!ENTITY lol0 \"lollollollollollollol\">";
    for (int level = 1; level <= 9; ++level) {
        bomb += "<!ENTITY lol" + std::to_string(level) + " \"" +
                repeated("&lol" + std::to_string(level - 1) + ";", 10) + "\">";
    }
    EXPECT_FALSE(readLeavesNoSecret(bomb + "]><configuration>" +
                                    settingElement("s", "string", "&lol9;") + "</configuration>"));
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes += static_cast<char>(value);
    }
    EXPECT_FALSE(readLeavesNoSecret(bytes));
    EXPECT_FALSE(readLeavesNoSecret(settingElement("s", "string", "\xff\xfe")));
    EXPECT_FALSE(readLeavesNoSecret(nested(100000, settingElement("s", "string", "deep"))));

    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    unserialize(*set, settingElement("s", "string", repeated("&amp;&lt;&#65;", 20000)));
    EXPECT_EQ(60000u, valueAt<const std::string*>(*set, "/s")->size());

    const size_t depth = XMLConfigurationSet::sd_maxElementDepth;
    unserialize(*set, nested(depth - 1, settingElement("s", "int32", "1")));
    EXPECT_EQ(2u, set->getSettingCount());
    EXPECT_EQ(IConfigurationSet::serializationFailureException,
              failureOf(*set, nested(depth, settingElement("t", "int32", "1"))));
    EXPECT_EQ(2u, set->getSettingCount());

    // A setting element needs two attributes and other elements none.
    const auto attributes = [](size_t count) {
        std::string text;
        for (size_t index = 0; index < count; ++index) {
            text += " a" + std::to_string(index) + "=\"1\"";
        }
        return text;
    };
    const size_t bound = com::orvandel::configuration::XMLDocumentReader::sd_maxAttributes;
    const std::string setting = settingElement("s", "int32", "1");
    const std::string opened = "<configuration><setting name=\"s\" type=\"int32\"";
    EXPECT_TRUE(
        readLeavesNoSecret(opened + attributes(bound - 2) + ">1</setting></configuration>"));
    EXPECT_FALSE(
        readLeavesNoSecret(opened + attributes(bound - 1) + ">1</setting></configuration>"));
    EXPECT_FALSE(readLeavesNoSecret("<configuration" + attributes(bound + 1) + ">" + setting +
                                    "</configuration>"));
    EXPECT_FALSE(readLeavesNoSecret("<configuration>" + setting + "<x" + attributes(5000) +
                                    "/></configuration>"));
}

TEST(XMLHostileDocument, EveryTruncationOfAValidDocumentFailsOrReadsWhole) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    putInt(*set, "a/b", 5);
    set->insertSetting("a/c", makeSetting(ISetting::stringType, std::string("text")));
    set->insertSetting("d", makeSetting(ISetting::doubleType, 2.5));
    const std::string document = serialized(*set);
    for (size_t length = 0; length < document.size(); ++length) {
        AutoRefCounted<IConfigurationSet> target = newXmlSet();
        if (readLeavesNoSecret(document.substr(0, length))) {
            unserialize(*target, document.substr(0, length));
            EXPECT_EQ(3u, target->getSettingCount()) << length;
        }
    }
}
