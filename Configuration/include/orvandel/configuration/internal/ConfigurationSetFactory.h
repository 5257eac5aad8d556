// The library's one factory object.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_CONFIGURATIONSETFACTORY_H
#define ORVANDEL_CONFIGURATION_INTERNAL_CONFIGURATIONSETFACTORY_H

#include <memory>
#include <string>

#include <orvandel/configuration/IConfigurationSetFactory.h>

namespace com {
namespace orvandel {
namespace configuration {

// Created while the library is loaded and deleted when it is unloaded; nothing else creates one.
class ConfigurationSetFactory : public IConfigurationSetFactory {
  public:
    // The one instance, valid while the library is loaded.
    static const IConfigurationSetFactory* instance();

    const std::string* getFactoryType() const override;
    AutoRefCounted<IConfigurationSet> createConfigurationSet(
        const std::string& type) const override;
    AutoRefCounted<ISetting> createSetting() const override;

    virtual ~ConfigurationSetFactory() = default;

  protected:
    ConfigurationSetFactory() = default;

  private:
    static const std::unique_ptr<const ConfigurationSetFactory> sd_singleton;
    static const std::string d_factoryType;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
