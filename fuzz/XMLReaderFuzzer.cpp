// Feeds arbitrary bytes to the XML reader of a set that already holds settings.
//
// Invariants: a failed read changes nothing (same paths, objects and values), whatever it failed
// with; a successful read leaves the set unmodified, and reading the same document again changes
// no path or value.
#include <ios>
#include <new>

#include "FuzzSupport.h"

using namespace orvandel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AutoRefCounted<IConfigurationSet> set = createPopulatedSet("XMLConfigurationSet");
    const std::vector<SettingSnapshot> before = snapshot(*set);
    bool read = false;
    try {
        set->unserialize(data, size);
        read = true;
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        FUZZ_CHECK(exception == IConfigurationSet::serializationFailureException);
    } catch (const std::ios_base::failure&) {  // a number or bool text that does not parse
    } catch (const std::bad_alloc&) {
    }
    if (!read) {
        FUZZ_CHECK(snapshot(*set) == before);
        return 0;
    }
    FUZZ_CHECK(!set->checkModified());
    // The paths and values, without object identity: what a second read must reproduce.
    const auto contents = [&] {
        std::vector<SettingSnapshot> settings = snapshot(*set);
        for (SettingSnapshot& setting : settings) {
            setting.object = nullptr;
        }
        return settings;
    };
    const std::vector<SettingSnapshot> afterFirst = contents();
    set->unserialize(data, size);
    FUZZ_CHECK(contents() == afterFirst);
    return 0;
}
