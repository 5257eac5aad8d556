// A length query keeps the form it built for the call that follows. These tests change the set
// in every way a caller can between the two calls and check that the second call still writes
// exactly what a fresh walk writes.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

AutoRefCounted<ISetting> uint32Setting(uint32_t value) {
    AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(ISetting::uint32Type);
    setting->setValue(value);
    return setting;
}

AutoRefCounted<ISetting> binarySetting(size_t length, unsigned char fill) {
    AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(ISetting::binaryType);
    setting->resizeBinaryBuffer(&length);
    unsigned char* bytes = nullptr;
    setting->getBinaryBuffer(&bytes, &length);
    std::memset(bytes, fill, length);
    return setting;
}

class BinaryKeptFormTest : public ::testing::Test {
  protected:
    void SetUp() override {
        d_set = AutoRefCounted<IConfigurationSet>(new BinaryConfigurationSet());
        d_number = uint32Setting(7);
        d_blob = binarySetting(4, 0xAA);
        d_set->insertSetting("a/number", d_number);
        d_set->insertSetting("b/blob", d_blob);
    }

    // The length query, as save() and the C interface make it.
    size_t queryLength() {
        size_t length = 0;
        try {
            d_set->serialize(nullptr, 0, &length);
        } catch (IConfigurationSet::ConfigurationSetException exception) {
            EXPECT_EQ(IConfigurationSet::outBufferTooSmallException, exception);
        }
        return length;
    }

    // The call that follows the query, with a buffer of the given length.
    std::vector<unsigned char> fill(size_t length) {
        std::vector<unsigned char> form(length);
        size_t written = 0;
        d_set->serialize(form.data(), form.size(), &written);
        form.resize(written);
        return form;
    }

    // What a walk over the set as it is now writes (a generous buffer never uses a kept form).
    std::vector<unsigned char> freshForm() {
        std::vector<unsigned char> form(4096);
        size_t written = 0;
        d_set->serialize(form.data(), form.size(), &written);
        form.resize(written);
        return form;
    }

    std::vector<unsigned char> queryThenFill() { return fill(queryLength()); }

    AutoRefCounted<IConfigurationSet> d_set;
    AutoRefCounted<ISetting> d_number;
    AutoRefCounted<ISetting> d_blob;
};

TEST_F(BinaryKeptFormTest, QueryThenFillWritesWhatAWalkWrites) {
    const std::vector<unsigned char> viaQuery = queryThenFill();
    EXPECT_EQ(freshForm(), viaQuery);
    EXPECT_FALSE(d_set->checkModified());
}

TEST_F(BinaryKeptFormTest, AValueSetBetweenTheCallsIsWritten) {
    const size_t length = queryLength();
    d_number->setValue(static_cast<uint32_t>(99));
    d_set->checkModified();  // whoever clears the flag, the change is not forgotten
    const std::vector<unsigned char> written = fill(length);
    EXPECT_EQ(freshForm(), written);
}

TEST_F(BinaryKeptFormTest, ATypeChangedBetweenTheCallsIsWritten) {
    const size_t length = queryLength();
    d_number->initialize(ISetting::int32Type);
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, BytesWrittenThroughAnEarlierWritableBufferAreWritten) {
    unsigned char* bytes = nullptr;
    size_t binaryLength = 0;
    d_blob->getBinaryBuffer(&bytes, &binaryLength);
    const size_t length = queryLength();
    bytes[2] = 0x55;  // no call tells the set of this
    const std::vector<unsigned char> written = fill(length);
    EXPECT_EQ(freshForm(), written);
    EXPECT_EQ(0x55, written[written.size() - 2]);
}

TEST_F(BinaryKeptFormTest, ASettingTakenOverByAnotherSetStillCounts) {
    const size_t length = queryLength();
    AutoRefCounted<IConfigurationSet> other(new BinaryConfigurationSet());
    other->insertSetting("elsewhere", d_number);
    d_number->setValue(static_cast<uint32_t>(1234));  // raises the other set's flag only
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, ASettingThatReportsToAnotherSetIsNeverTrustedToStayPut) {
    AutoRefCounted<IConfigurationSet> other(new BinaryConfigurationSet());
    other->insertSetting("elsewhere", d_number);
    const size_t length = queryLength();
    d_number->setValue(static_cast<uint32_t>(4321));
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, InsertionsRemovalsAndReadsBetweenTheCallsAreWritten) {
    size_t length = queryLength();
    d_set->insertSetting("c", uint32Setting(3));
    std::vector<unsigned char> written(length + 64);
    d_set->serialize(written.data(), written.size(), &length);
    written.resize(length);
    EXPECT_EQ(freshForm(), written);

    length = queryLength();
    d_set->removeSetting("c");
    EXPECT_EQ(freshForm(), fill(length));

    length = queryLength();
    const std::vector<unsigned char> other = [] {
        AutoRefCounted<IConfigurationSet> source(new BinaryConfigurationSet());
        source->insertSetting("a/number", uint32Setting(5));
        std::vector<unsigned char> form(64);
        size_t written = 0;
        source->serialize(form.data(), form.size(), &written);
        form.resize(written);
        return form;
    }();
    d_set->unserialize(other.data(), other.size());
    EXPECT_EQ(freshForm(), fill(length));
}

TEST_F(BinaryKeptFormTest, ABufferTooSmallAfterTheQueryIsZeroedAndReportsTheLength) {
    const size_t length = queryLength();
    d_set->checkModified();
    std::vector<unsigned char> small(length - 1, 0xEE);
    size_t reported = 0;
    EXPECT_THROW(d_set->serialize(small.data(), small.size(), &reported),
                 IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ(length, reported);
    EXPECT_EQ(std::vector<unsigned char>(length - 1, 0), small);
    EXPECT_TRUE(d_set->checkModified());  // the binary value was taken writable, as by a walk
}

}  // namespace
