// The library's XML writer against the DOM oracle it replaced: the same bytes, or the same
// failure, for many generated sets. (The reader is compared with its DOM oracle over the saved
// documents of fuzz/corpus/XMLReaderFuzzer, by the differential fuzz target's replay.)
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "WriterComparison.h"
#include "XMLTestSupport.h"

TEST(XMLWriterDifferential, WritesWhatTheDomSerializerWritesForRandomSets) {
    xmltest::ScopedLocale locale("C.UTF-8");
    ASSERT_TRUE(locale.available());
    std::mt19937 random(20261123);
    for (int round = 0; round < 1500; ++round) {
        std::vector<uint8_t> bytes(random() % 160);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random());
        }
        ASSERT_EQ("", oracle::writerDifference(*oracle::xmlSetFrom(bytes.data(), bytes.size())))
            << "round " << round;
    }
    // A binary value long enough to be encoded in several parts.
    auto set = xmltest::newXmlSet();
    set->insertSetting("a/blob", xmltest::makeBinarySetting(std::vector<unsigned char>(100000, 7)));
    EXPECT_EQ("", oracle::writerDifference(*set));
}
