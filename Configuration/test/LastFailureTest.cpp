// Every failure leaves, for the thread, an account of what happened that names what it must:
// the file and the system's reason, the line and column, the byte offset, the path and types.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/LastFailure.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

AutoRefCounted<IConfigurationSet> newSet(const char* type) {
    return getConfigurationSetFactory()->createConfigurationSet(type);
}

std::function<void()> unserializing(const char* type, const std::string& text) {
    return [=] {
        newSet(type)->unserialize(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    };
}

TEST(LastFailure, NamesTheFileThePositionThePathAndTheTypes) {
    const testsupport::ScratchDirectory directory;
    const std::string bad = directory.file("bad.xml");
    std::ofstream(bad) << "<configuration>\n  <group>\n    <group size=>\n</configuration>\n";
    const std::string missing = directory.file("missing.cfg");
    const std::vector<std::pair<std::function<void()>, std::vector<std::string>>> cases{
        {[&] { newSet("XMLConfigurationSet")->load(bad); }, {bad + ":3:", "attribute value"}},
        {[&] { newSet("BinaryConfigurationSet")->load(missing); },
         {missing, "No such file or directory"}},
        {[&] { newSet("BinaryConfigurationSet")->save(missing + "/x.cfg"); },
         {"cannot write", missing + "/x.cfg", "No such file or directory"}},
        {unserializing("XMLConfigurationSet",
                       "<configuration><a><setting name=\"p\" "
                       "type=\"uint16\">x8</setting></a></configuration>"),
         {"line 1, column ", "'a/p'", "uint16", "'x8'"}},
        {unserializing("BinaryConfigurationSet", std::string("\x01\0\0\0\0\0\0\0p\x04", 10)),
         {"byte 9", "'p'", "truncated"}},
        {[] {  // a branch segment that is no XML name
             const AutoRefCounted<IConfigurationSet> set = newSet("XMLConfigurationSet");
             set->insertSetting("1 bad/v", testsupport::makeSetting(ISetting::int32Type, 1));
             size_t length = 0;
             set->serialize(nullptr, 0, &length);
         },
         {"'1 bad/v'", "'1 bad'"}},
        {[] {
             uint32_t value = 0;
             testsupport::makeSetting(ISetting::stringType, std::string("s"))->getValue(&value);
         },
         {"'uint32'", "'string'"}},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        EXPECT_ANY_THROW(cases[i].first()) << "case " << i;
        for (const std::string& part : cases[i].second) {
            EXPECT_NE(std::string::npos, lastFailure().find(part)) << i << ": " << lastFailure();
        }
    }
}

}  // namespace
