// The persistence frame every set type inherits: type names and capabilities, the refusals of
// the plain set, and load and save of whole files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/ConfigurationSet.h>

#include "FuzzSupport.h"
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
    const AutoRefCounted<IConfigurationSet> binary = newBinarySet();
    EXPECT_EQ(0u, plain->getSettingCount());
    EXPECT_FALSE(plain->checkModified());
    EXPECT_EQ("ConfigurationSet", *plain->getType());
    EXPECT_EQ("BinaryConfigurationSet", *binary->getType());
    EXPECT_EQ(binary->getType(), binary->getType());
    EXPECT_EQ(std::make_pair(false, false),
              std::make_pair(plain->capLoadAndSave(), plain->capSerialize()));
    EXPECT_EQ(std::make_pair(true, true),
              std::make_pair(binary->capLoadAndSave(), binary->capSerialize()));
}

// Serialising reports the length as zero; save neither creates nor touches a file.
TEST(PlainSetPersistence, EveryPersistenceCallIsRefusedWithoutTouchingAFileOrTheSet) {
    const ScratchDirectory directory;
    const std::string saved = directory.file("saved.bin");
    sampleBinarySet()->save(saved);
    const std::string missing = directory.file("missing.bin");
    const std::string existing = directory.file("existing.bin");
    writeFile(existing, {1, 2, 3});
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("p", makeSetting(ISetting::int32Type, int32_t{1}));
    size_t length = 99;
    unsigned char buffer[64];
    const std::vector<std::function<void()>> calls{
        [&] { set->serialize(buffer, sizeof buffer, &length); },
        [&] { set->unserialize(buffer, 0); },
        [&] { set->save(missing); },
        [&] { set->save(existing); },
        [&] { set->load(saved); },
        [&] { set->load(missing); }};
    for (const bool flagged : {true, false}) {  // the insertion raised the flag
        for (size_t call = 0; call < calls.size(); ++call) {
            EXPECT_EQ(
                IConfigurationSet::unsupportedException,
                testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(calls[call]))
                << "call " << call;
        }
        EXPECT_EQ(flagged, set->checkModified());
    }
    EXPECT_EQ(0u, length);
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_EQ((Bytes{1, 2, 3}), contentsOf(existing));
    EXPECT_EQ((std::vector<std::string>{"p"}), pathsOf(*set));
}

// Saving replaces a longer file with exactly the set's form; loading it (or an empty file) merges
// and clears the flag. A set remembers no file to save to.
TEST(BinaryFiles, ASavedSetLoadsBackEqualAndTheFileHoldsExactlyItsForm) {
    const ScratchDirectory directory;
    const std::string file = directory.file("set.bin");
    writeFile(file, Bytes(1000, 0x5A));
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
    newBinarySet()->save(file);
    EXPECT_EQ(0u, std::filesystem::file_size(file));
    loaded->insertSetting("kept", makeSetting(ISetting::int32Type, int32_t{1}));
    loaded->load(file);
    EXPECT_EQ(5u, loaded->getSettingCount());
    EXPECT_FALSE(loaded->checkModified());
    EXPECT_THROW(loaded->save(""), std::ios_base::failure);
}

// A failed load leaves the settings and the flag as they were: a missing file or a directory give
// the stream failure, a malformed file the reader's failure.
TEST(BinaryFiles, AFailedLoadChangesNothing) {
    const ScratchDirectory directory;
    const std::string subdirectory = directory.file("sub");
    std::filesystem::create_directory(subdirectory);
    const std::string malformed = directory.file("bad.bin");
    Bytes form = serializedForm(*sampleBinarySet());
    form.pop_back();
    writeFile(malformed, form);
    for (const auto& [file, streamFailure] : std::vector<std::pair<std::string, bool>>{
             {directory.file("missing.bin"), true}, {subdirectory, true}, {malformed, false}}) {
        for (const bool flaggedBefore : {false, true}) {
            SCOPED_TRACE(file + (flaggedBefore ? " flagged" : ""));
            const AutoRefCounted<IConfigurationSet> set = sampleBinarySet();
            const auto before = orvandel_fuzz::snapshot(*set);
            set->checkModified();
            if (flaggedBefore) {
                set->retrieveSetting("group/value")->setValue(uint32_t{7});
            }
            if (streamFailure) {
                EXPECT_THROW(set->load(file), std::ios_base::failure);
            } else {
                EXPECT_THROW(set->load(file), IConfigurationSet::ConfigurationSetException);
            }
            EXPECT_EQ(flaggedBefore, set->checkModified());
            EXPECT_TRUE(before == orvandel_fuzz::snapshot(*set));
        }
    }
}

TEST(BinaryFiles, SavingIntoAMissingDirectoryThrowsAndCreatesNothing) {
    const ScratchDirectory directory;
    const std::string file = directory.file("no/such/dir/set.bin");
    const AutoRefCounted<IConfigurationSet> set = sampleBinarySet();
    EXPECT_THROW(set->save(file), std::ios_base::failure);
    EXPECT_FALSE(std::filesystem::exists(directory.file("no")));
    EXPECT_FALSE(set->checkModified());
}

}  // namespace
