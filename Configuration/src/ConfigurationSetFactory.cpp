#include <orvandel/configuration/internal/ConfigurationSetFactory.h>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/ConfigurationSet.h>
#include <orvandel/configuration/internal/FailureDetail.h>
#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>

namespace com {
namespace orvandel {
namespace configuration {

const std::unique_ptr<const ConfigurationSetFactory> ConfigurationSetFactory::sd_singleton(
    new ConfigurationSetFactory());
const std::string ConfigurationSetFactory::d_factoryType("ConfigurationSetFactory");

const IConfigurationSetFactory* ConfigurationSetFactory::instance() {
    return sd_singleton.get();
}

const std::string* ConfigurationSetFactory::getFactoryType() const {
    return &d_factoryType;
}

AutoRefCounted<IConfigurationSet> ConfigurationSetFactory::createConfigurationSet(
    const std::string& type) const {
    if (type == "ConfigurationSet") {
        return AutoRefCounted<IConfigurationSet>(new ConfigurationSet());
    }
    if (type == "BinaryConfigurationSet") {
        return AutoRefCounted<IConfigurationSet>(new BinaryConfigurationSet());
    }
    if (type == "XMLConfigurationSet") {
        return AutoRefCounted<IConfigurationSet>(new XMLConfigurationSet());
    }
    recordFailure("unknown configuration set type '", Excerpt(type), "'");
    throw unsupportedTypeException;
}

AutoRefCounted<ISetting> ConfigurationSetFactory::createSetting() const {
    return AutoRefCounted<ISetting>(new Setting());
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

extern "C" {

const com::orvandel::configuration::IConfigurationSetFactory* getConfigurationSetFactory() {
    return com::orvandel::configuration::ConfigurationSetFactory::instance();
}

const com::orvandel::IFactory* getFactory() {
    return com::orvandel::configuration::ConfigurationSetFactory::instance();
}
}
