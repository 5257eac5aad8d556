// Feeds arbitrary bytes to the binary reader of a set that already holds settings.
//
// Invariants: a failed read changes nothing (same paths, same objects, same values); a
// successful read leaves the set unmodified, and its serialised form reads back into a fresh set
// as exactly the same form.
#include <new>

#include "FuzzSupport.h"

using namespace orvandel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AutoRefCounted<IConfigurationSet> set = createPopulatedSet("BinaryConfigurationSet");
    const std::vector<SettingSnapshot> before = snapshot(*set);
    try {
        set->unserialize(data, size);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        FUZZ_CHECK(exception == IConfigurationSet::serializationFailureException);
        FUZZ_CHECK(snapshot(*set) == before);
        return 0;
    } catch (const std::bad_alloc&) {
        FUZZ_CHECK(snapshot(*set) == before);
        return 0;
    }
    FUZZ_CHECK(!set->checkModified());
    const std::vector<unsigned char> form = serializeAll(*set);
    AutoRefCounted<IConfigurationSet> copy = createSet("BinaryConfigurationSet");
    copy->unserialize(form.data(), form.size());
    FUZZ_CHECK(snapshot(*copy).size() == snapshot(*set).size());
    FUZZ_CHECK(serializeAll(*copy) == form);
    return 0;
}
