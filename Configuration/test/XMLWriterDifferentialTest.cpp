// The XML writer against the DOM oracle: the same bytes, or the same failure, for many sets.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "XMLTestSupport.h"
#include "oracle/WriterComparison.h"

using namespace xmltest;

TEST(XMLWriterDifferential, WritesWhatTheDomSerializerWritesForRandomSets) {
    ScopedLocale locale("C.UTF-8");
    ASSERT_TRUE(locale.available());
    std::mt19937 random(20261123);
    for (int round = 0; round < 1500; ++round) {
        std::vector<uint8_t> bytes(random() % 160);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random());
        }
        const AutoRefCounted<IConfigurationSet> set =
            oracle::xmlSetFrom(bytes.data(), bytes.size());
        ASSERT_EQ("", oracle::writerDifference(*set)) << "round " << round;
    }
    // A binary value long enough to be encoded in several parts.
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    set->insertSetting("a/blob", makeBinarySetting(std::vector<unsigned char>(100000, 0x5a)));
    EXPECT_EQ("", oracle::writerDifference(*set));
}
