// A client that has only the installed headers and library: it must be able to reach the
// library's objects and catch its exception values by type.
#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

#include <cstdio>

using namespace com::orvandel;
using namespace com::orvandel::configuration;

int main() {
    const IConfigurationSetFactory* factory = getConfigurationSetFactory();
    if (factory == nullptr || static_cast<const IFactory*>(factory) != getFactory()) {
        return 1;
    }
    AutoRefCounted<IConfigurationSet> set = factory->createConfigurationSet("ConfigurationSet");
    AutoRefCounted<ISetting> setting = factory->createSetting();
    setting->initialize(ISetting::uint32Type);
    setting->setValue(static_cast<uint32_t>(7));
    set->insertSetting("group/value", setting);
    try {
        set->insertSetting("group/value", setting);
        return 2;
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        if (exception != IConfigurationSet::settingExistsAtPathException) {
            return 3;
        }
    }
    try {
        int32_t wrong = 0;
        set->retrieveLockedSetting("group/value")->getValue(&wrong);
        return 4;
    } catch (ISetting::SettingException exception) {
        if (exception != ISetting::wrongSettingTypeException) {
            return 5;
        }
    }
    uint32_t value = 0;
    set->retrieveLockedSetting("group/value")->getValue(&value);
    std::printf("group/value = %u\n", static_cast<unsigned>(value));
    return value == 7 ? 0 : 6;
}
