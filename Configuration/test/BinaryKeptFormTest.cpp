// A length query keeps the form it built for the call that follows. These tests change the set
// in every way a caller can between the two calls and check that the second call still writes
// exactly what a fresh walk writes.
#include <gtest/gtest.h>

#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::newBinarySet;

namespace {

using Bytes = std::vector<unsigned char>;

class BinaryKeptFormTest : public ::testing::Test {
  protected:
    void SetUp() override {
        d_set->insertSetting("a/number", d_number);
        d_set->insertSetting("b/blob", d_blob);
    }

    // The length query, as save() and the C interface make it.
    size_t queryLength() {
        size_t length = 0;
        EXPECT_EQ(IConfigurationSet::outBufferTooSmallException,
                  testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                      [&] { d_set->serialize(nullptr, 0, &length); }));
        return length;
    }

    // The call that follows the query, with a buffer of the given capacity.
    Bytes fill(size_t capacity) {
        Bytes form(capacity);
        size_t written = 0;
        d_set->serialize(form.data(), form.size(), &written);
        form.resize(written);
        return form;
    }

    // What a walk over the set as it is now writes (a generous buffer never uses a kept form).
    Bytes freshForm() { return fill(4096); }

    AutoRefCounted<IConfigurationSet> d_set = newBinarySet();
    AutoRefCounted<ISetting> d_number = makeSetting(ISetting::uint32Type, uint32_t{7});
    AutoRefCounted<ISetting> d_blob = makeBinarySetting({0xAA, 0xAA, 0xAA, 0xAA});
};

TEST_F(BinaryKeptFormTest, QueryThenFillWritesWhatAWalkWrites) {
    const Bytes viaQuery = fill(queryLength());
    EXPECT_EQ(freshForm(), viaQuery);
    EXPECT_FALSE(d_set->checkModified());
}

TEST_F(BinaryKeptFormTest, AValueOrTypeChangedBetweenTheCallsIsWritten) {
    size_t length = queryLength();
    d_number->setValue(uint32_t{99});
    d_set->checkModified();  // whoever clears the flag, the change is not forgotten
    EXPECT_EQ(freshForm(), fill(length));
    length = queryLength();
    d_number->initialize(ISetting::int32Type);
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, BytesWrittenThroughAnEarlierWritableBufferAreWritten) {
    unsigned char* bytes = nullptr;
    size_t binaryLength = 0;
    d_blob->getBinaryBuffer(&bytes, &binaryLength);
    const size_t length = queryLength();
    bytes[2] = 0x55;  // no call tells the set of this
    const Bytes written = fill(length);
    EXPECT_EQ(freshForm(), written);
    EXPECT_EQ(0x55, written[written.size() - 2]);
}

TEST_F(BinaryKeptFormTest, ASettingThatReportsToAnotherSetIsNeverTrustedToStayPut) {
    size_t length = queryLength();
    const AutoRefCounted<IConfigurationSet> other = newBinarySet();
    other->insertSetting("elsewhere", d_number);  // taken over after the query
    d_number->setValue(uint32_t{1234});           // raises the other set's flag only
    EXPECT_EQ(freshForm(), fill(length));
    length = queryLength();  // already reporting elsewhere when the query is made
    d_number->setValue(uint32_t{4321});
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, InsertionsRemovalsAndReadsBetweenTheCallsAreWritten) {
    size_t length = queryLength();
    d_set->insertSetting("c", makeSetting(ISetting::uint32Type, uint32_t{3}));
    EXPECT_EQ(freshForm(), fill(length + 64));

    length = queryLength();
    d_set->removeSetting("c");
    EXPECT_EQ(freshForm(), fill(length));

    length = queryLength();
    const AutoRefCounted<IConfigurationSet> source = newBinarySet();
    source->insertSetting("a/number", makeSetting(ISetting::uint32Type, uint32_t{5}));
    const Bytes other = testsupport::serializedForm(*source);
    d_set->unserialize(other.data(), other.size());
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, ABufferTooSmallAfterTheQueryIsZeroedAndReportsTheLength) {
    const size_t length = queryLength();
    d_set->checkModified();
    Bytes small(length - 1, 0xEE);
    size_t reported = 0;
    EXPECT_THROW(d_set->serialize(small.data(), small.size(), &reported),
                 IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ(length, reported);
    EXPECT_EQ(Bytes(length - 1, 0), small);
    EXPECT_TRUE(d_set->checkModified());  // the binary value was taken writable, as by a walk
}

}  // namespace
