// The persistence frame every set type inherits: type names and capabilities, the refusals of
// the plain set, and load and save of whole files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>
#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/ConfigurationSet.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::newBinarySet;
using testsupport::newPlainSet;
using testsupport::pathsOf;
using testsupport::ScratchDirectory;
using testsupport::serializedForm;
using testsupport::setsEqual;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios_base::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios_base::binary | std::ios_base::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

AutoRefCounted<IConfigurationSet> sampleBinarySet() {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("group/value", makeSetting(ISetting::uint32Type, uint32_t{7}));
    set->insertSetting("group/name", makeSetting(ISetting::stringType, std::string("seven")));
    set->insertSetting("blob", makeBinarySetting({0, 1, 2, 3}));
    set->insertSetting("wide", makeSetting(ISetting::unicodeString, std::wstring(L"sieben")));
    return set;
}

TEST(SetTypes, EachTypeReportsItsNameAndCapabilities) {
    const AutoRefCounted<IConfigurationSet> plain = newPlainSet();
    EXPECT_EQ("ConfigurationSet", *plain->getType());
    EXPECT_FALSE(plain->capLoadAndSave());
    EXPECT_FALSE(plain->capSerialize());
    const AutoRefCounted<IConfigurationSet> binary = newBinarySet();
    EXPECT_EQ("BinaryConfigurationSet", *binary->getType());
    EXPECT_TRUE(binary->capLoadAndSave());
    EXPECT_TRUE(binary->capSerialize());
    EXPECT_EQ(binary->getType(), binary->getType());
}

TEST(PlainSetPersistence, SerialisingIsRefusedAndTheLengthReportedAsZero) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("p", makeSetting(ISetting::int32Type, int32_t{1}));
    set->checkModified();
    size_t length = 99;
    unsigned char buffer[64];
    EXPECT_EQ(IConfigurationSet::unsupportedException,
              testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                  [&] { set->serialize(buffer, sizeof buffer, &length); }));
    EXPECT_EQ(0u, length);
    const Bytes empty;
    EXPECT_EQ(IConfigurationSet::unsupportedException,
              testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                  [&] { set->unserialize(empty.data(), 0); }));
    EXPECT_EQ(1u, set->getSettingCount());
    EXPECT_FALSE(set->checkModified());
}

TEST(PlainSetPersistence, SaveIsRefusedWithoutCreatingOrTouchingAFile) {
    const ScratchDirectory directory;
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("p", makeSetting(ISetting::int32Type, int32_t{1}));
    const std::string missing = directory.file("missing.bin");
    EXPECT_EQ(IConfigurationSet::unsupportedException,
              testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                  [&] { set->save(missing); }));
    EXPECT_FALSE(std::filesystem::exists(missing));
    const std::string existing = directory.file("existing.bin");
    writeFile(existing, {1, 2, 3});
    EXPECT_THROW(set->save(existing), IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ((Bytes{1, 2, 3}), contentsOf(existing));
    EXPECT_TRUE(set->checkModified());
}

TEST(PlainSetPersistence, LoadIsRefusedAndTheSetUnchanged) {
    const ScratchDirectory directory;
    const std::string file = directory.file("saved.bin");
    sampleBinarySet()->save(file);
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("p", makeSetting(ISetting::int32Type, int32_t{1}));
    set->checkModified();
    EXPECT_EQ(IConfigurationSet::unsupportedException,
              testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                  [&] { set->load(file); }));
    EXPECT_EQ(IConfigurationSet::unsupportedException,
              testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                  [&] { set->load(directory.file("missing.bin")); }));
    EXPECT_EQ((std::vector<std::string>{"p"}), pathsOf(*set));
    EXPECT_FALSE(set->checkModified());
}

TEST(BinaryFiles, ASavedSetLoadsBackEqualAndTheFileHoldsExactlyItsForm) {
    const ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    const AutoRefCounted<IConfigurationSet> saved = sampleBinarySet();
    saved->save(file);
    EXPECT_FALSE(saved->checkModified());
    EXPECT_EQ(serializedForm(*saved), contentsOf(file));
    const AutoRefCounted<IConfigurationSet> loaded = newBinarySet();
    loaded->insertSetting("p", makeSetting(ISetting::int32Type, int32_t{1}));
    loaded->removeSetting("p");
    loaded->load(file);
    EXPECT_TRUE(setsEqual(saved, loaded));
    EXPECT_FALSE(loaded->checkModified());
}

TEST(BinaryFiles, SavingTruncatesALongerFile) {
    const ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    writeFile(file, Bytes(1000, 0x5A));
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("a", makeSetting(ISetting::uint16Type, uint16_t{0x1234}));
    set->save(file);
    EXPECT_EQ(15u, contentsOf(file).size());
    newBinarySet()->save(file);
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(0u, std::filesystem::file_size(file));
}

TEST(BinaryFiles, AnEmptyFileLoadsAsNoSettingsAndClearsTheFlag) {
    const ScratchDirectory directory;
    const std::string file = directory.file("empty.bin");
    writeFile(file, {});
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("kept", makeSetting(ISetting::int32Type, int32_t{1}));
    set->load(file);
    EXPECT_EQ((std::vector<std::string>{"kept"}), pathsOf(*set));
    EXPECT_FALSE(set->checkModified());
}

TEST(BinaryFiles, LoadingMergesIntoTheSettingsAlreadyThere) {
    const ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    sampleBinarySet()->save(file);
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("kept", makeSetting(ISetting::int32Type, int32_t{1}));
    set->insertSetting("group/value", makeSetting(ISetting::doubleType, 1.5));
    set->load(file);
    EXPECT_EQ((std::vector<std::string>{"blob", "group/name", "group/value", "kept", "wide"}),
              pathsOf(*set));
    EXPECT_EQ(ISetting::uint32Type, set->retrieveLockedSetting("group/value")->getType());
}

// A failed load leaves the settings and the flag as they were, whichever state the flag had.
void expectLoadLeavesSetAlone(const std::string& file, bool streamFailure) {
    for (const bool flaggedBefore : {false, true}) {
        const AutoRefCounted<IConfigurationSet> set = sampleBinarySet();
        const Bytes before = serializedForm(*set);
        const AutoRefCounted<ISetting> held = set->retrieveSetting("group/value");
        set->checkModified();
        if (flaggedBefore) {
            held->setValue(uint32_t{7});
        }
        if (streamFailure) {
            EXPECT_THROW(set->load(file), std::ios_base::failure);
        } else {
            EXPECT_THROW(set->load(file), IConfigurationSet::ConfigurationSetException);
        }
        EXPECT_EQ(flaggedBefore, set->checkModified());
        EXPECT_EQ(held.operator->(), set->retrieveSetting("group/value").operator->());
        EXPECT_EQ(before, serializedForm(*set));
    }
}

TEST(BinaryFiles, LoadingAMissingFileThrowsTheStreamFailureAndChangesNothing) {
    const ScratchDirectory directory;
    expectLoadLeavesSetAlone(directory.file("missing.bin"), true);
}

TEST(BinaryFiles, LoadingADirectoryThrowsTheStreamFailureAndChangesNothing) {
    const ScratchDirectory directory;
    const std::string subdirectory = directory.file("sub");
    std::filesystem::create_directory(subdirectory);
    expectLoadLeavesSetAlone(subdirectory, true);
}

TEST(BinaryFiles, LoadingAMalformedFileThrowsTheReadersFailureAndChangesNothing) {
    const ScratchDirectory directory;
    const std::string file = directory.file("bad.bin");
    Bytes form = serializedForm(*sampleBinarySet());
    form.pop_back();
    writeFile(file, form);
    expectLoadLeavesSetAlone(file, false);
}

TEST(BinaryFiles, SavingIntoAMissingDirectoryThrowsAndCreatesNothing) {
    const ScratchDirectory directory;
    const std::string file = directory.file("no/such/dir/set.bin");
    const AutoRefCounted<IConfigurationSet> set = sampleBinarySet();
    EXPECT_THROW(set->save(file), std::ios_base::failure);
    EXPECT_FALSE(std::filesystem::exists(directory.file("no")));
    EXPECT_FALSE(set->checkModified());
}

TEST(BinaryFiles, ASetRemembersNoFile) {
    const ScratchDirectory directory;
    const AutoRefCounted<IConfigurationSet> set = sampleBinarySet();
    set->save(directory.file("first.bin"));
    set->load(directory.file("first.bin"));
    EXPECT_THROW(set->save(""), std::ios_base::failure);
}

}  // namespace
