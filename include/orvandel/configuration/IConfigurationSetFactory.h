// The configuration library's factory and its two entry points.
//
// The factory is a singleton that exists while the library is loaded; getConfigurationSetFactory
// and getFactory return the same object every time. It creates configuration sets by type name
// and fresh settings, each handed out in a handle that owns the only reference. The factory is
// not reference counted and is never freed by callers.
#ifndef ORVANDEL_CONFIGURATION_ICONFIGURATIONSETFACTORY_H
#define ORVANDEL_CONFIGURATION_ICONFIGURATIONSETFACTORY_H

#include <string>

#include <orvandel/Export.h>
#include <orvandel/IFactory.h>
#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/ISetting.h>

namespace com {
namespace orvandel {
namespace configuration {

class ORVANDEL_API IConfigurationSetFactory : public IFactory {
  public:
    // Thrown by value by createConfigurationSet.
    enum ConfigurationSetFactoryException {
        unsupportedTypeException = 0  // no set type has that name
    };

    // A new, empty set of the named type: exactly "ConfigurationSet", "BinaryConfigurationSet" or
    // "XMLConfigurationSet" (case-sensitive, nothing around it). The handle owns the only
    // reference. Throws unsupportedTypeException for any other name, std::bad_alloc.
    virtual AutoRefCounted<IConfigurationSet> createConfigurationSet(
        const std::string& type) const = 0;

    // A new setting: a bool holding false, in no set. The handle owns the only reference.
    // Throws std::bad_alloc.
    virtual AutoRefCounted<ISetting> createSetting() const = 0;

    ~IConfigurationSetFactory() = default;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

extern "C" {

// The configuration set factory, valid while the library is loaded. Never null; never freed by
// the caller.
ORVANDEL_API const com::orvandel::configuration::IConfigurationSetFactory*
getConfigurationSetFactory();

// The same object as getConfigurationSetFactory(), as its IFactory base.
ORVANDEL_API const com::orvandel::IFactory* getFactory();
}

#endif
