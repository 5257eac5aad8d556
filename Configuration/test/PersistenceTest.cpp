// The persistence frame every set type inherits: type names and capabilities, the refusals of
// the plain set, and load and save of whole files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <string>
#include <vector>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/LastFailure.h>

#include "FuzzSupport.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using namespace orvandel_fuzz;
using namespace testsupport;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios_base::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios_base::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// The plain set has no form: each persistence call is refused, serialising reports the length as
// zero, and save neither creates nor touches a file; the set and its flag stay as they were.
TEST(PlainSetPersistence, EveryPersistenceCallIsRefusedWithoutTouchingAFileOrTheSet) {
    const AutoRefCounted<IConfigurationSet> binary = newBinarySet();
    EXPECT_EQ("BinaryConfigurationSet", *binary->getType());
    EXPECT_EQ(binary->getType(), binary->getType());
    EXPECT_TRUE(binary->capLoadAndSave() && binary->capSerialize());
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    EXPECT_EQ("ConfigurationSet", *set->getType());
    EXPECT_FALSE(set->capLoadAndSave() || set->capSerialize() || set->checkModified());
    EXPECT_EQ(0u, set->getSettingCount());
    const ScratchDirectory directory;
    const std::string saved = directory.file("saved.bin");
    createPopulatedSet("BinaryConfigurationSet")->save(saved);
    const std::string missing = directory.file("missing.bin");
    const std::string existing = directory.file("existing.bin");
    writeFile(existing, {1, 2, 3});
    put(*set, "p", int32_t{1});
    size_t length = 99;
    unsigned char buffer[64];
    const std::vector<std::pair<const char*, std::function<void()>>> calls{
        {"cannot serialize", [&] { set->serialize(buffer, sizeof buffer, &length); }},
        {"cannot unserialize", [&] { set->unserialize(buffer, 0); }},
        {"cannot save", [&] { set->save(missing); }},
        {"cannot save", [&] { set->save(existing); }},
        {"cannot load", [&] { set->load(saved); }},
        {"cannot load", [&] { set->load(missing); }}};
    for (const bool flagged : {true, false}) {  // the insertion raised the flag
        for (size_t call = 0; call < calls.size(); ++call) {
            EXPECT_EQ(IConfigurationSet::unsupportedException,
                      thrownValue<IConfigurationSet::ConfigurationSetException>(calls[call].second))
                << "call " << call;
            EXPECT_NE(std::string::npos, lastFailure().find(calls[call].first)) << lastFailure();
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
    const AutoRefCounted<IConfigurationSet> saved = createPopulatedSet("BinaryConfigurationSet");
    put(*saved, "wide", std::wstring(L"sieben"));
    saved->save(file);
    EXPECT_FALSE(saved->checkModified());
    EXPECT_EQ(serialize(*saved), contentsOf(file));
    const AutoRefCounted<IConfigurationSet> loaded = newBinarySet();
    put(*loaded, "p", int32_t{1});
    loaded->removeSetting("p");
    loaded->load(file);
    EXPECT_TRUE(equals(*saved, *loaded));
    EXPECT_FALSE(loaded->checkModified());
    newBinarySet()->save(file);
    EXPECT_EQ(0u, std::filesystem::file_size(file));
    put(*loaded, "kept", int32_t{1});
    loaded->load(file);
    EXPECT_EQ(5u, loaded->getSettingCount());
    EXPECT_FALSE(loaded->checkModified());
    EXPECT_THROW(loaded->save(""), std::ios_base::failure);
}

// A failed load leaves the settings and the flag as they were: a missing file or a directory give
// the stream failure, a malformed file the reader's failure. A failed save creates nothing.
TEST(BinaryFiles, AFailedLoadChangesNothing) {
    const ScratchDirectory directory;
    const std::string subdirectory = directory.file("sub");
    std::filesystem::create_directory(subdirectory);
    const std::string malformed = directory.file("bad.bin");
    Bytes form = serialize(*createPopulatedSet("BinaryConfigurationSet"));
    form.pop_back();
    writeFile(malformed, form);
    for (const std::string& file : {directory.file("missing.bin"), subdirectory, malformed}) {
        for (const bool flaggedBefore : {false, true}) {
            SCOPED_TRACE(file + (flaggedBefore ? " flagged" : ""));
            const AutoRefCounted<IConfigurationSet> set =
                createPopulatedSet("BinaryConfigurationSet");
            const auto before = snapshot(*set);
            if (flaggedBefore) {
                set->retrieveSetting("a/number")->setValue(int32_t{-7});
            }
            if (file != malformed) {
                EXPECT_THROW(set->load(file), std::ios_base::failure);
            } else {
                EXPECT_THROW(set->load(file), IConfigurationSet::ConfigurationSetException);
            }
            EXPECT_EQ(flaggedBefore, set->checkModified());
            EXPECT_TRUE(before == snapshot(*set));
        }
    }
    // Opening fails after the form was taken, which has cleared the flag.
    const AutoRefCounted<IConfigurationSet> set = createPopulatedSet("BinaryConfigurationSet");
    put(*set, "p", int32_t{1});
    EXPECT_THROW(set->save(directory.file("no/such/dir/set.bin")), std::ios_base::failure);
    EXPECT_FALSE(std::filesystem::exists(directory.file("no")));
    EXPECT_FALSE(set->checkModified());
}

}  // namespace
