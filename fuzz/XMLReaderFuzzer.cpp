// Feeds arbitrary bytes to the XML reader of a set that already holds settings.
//
// Invariants: a failed read changes nothing (same paths, same objects, same values), whatever it
// failed with; a successful read leaves the set unmodified and consistent (its count agrees with
// enumeration), and reading the same document again changes no path or value.
#include <exception>
#include <ios>
#include <new>

#include "FuzzSupport.h"

using namespace orvandel_fuzz;

namespace {

// The paths and values, without object identity: what a second read must reproduce.
std::vector<SettingSnapshot> contents(const IConfigurationSet& set) {
    std::vector<SettingSnapshot> settings = snapshot(set);
    for (SettingSnapshot& setting : settings) {
        setting.object = nullptr;
    }
    return settings;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AutoRefCounted<IConfigurationSet> set = createPopulatedSet("XMLConfigurationSet");
    const std::vector<SettingSnapshot> before = snapshot(*set);
    try {
        set->unserialize(data, size);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        FUZZ_CHECK(exception == IConfigurationSet::serializationFailureException);
        FUZZ_CHECK(snapshot(*set) == before);
        return 0;
    } catch (const std::ios_base::failure&) {  // a number or bool text that does not parse
        FUZZ_CHECK(snapshot(*set) == before);
        return 0;
    } catch (const std::bad_alloc&) {
        FUZZ_CHECK(snapshot(*set) == before);
        return 0;
    }
    FUZZ_CHECK(!set->checkModified());
    const std::vector<SettingSnapshot> afterFirst = contents(*set);
    set->unserialize(data, size);
    FUZZ_CHECK(contents(*set) == afterFirst);
    return 0;
}
