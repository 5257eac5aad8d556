// The base of the Orvandel libraries' factories.
//
// A factory is a singleton that lives while its library is loaded. It is not reference counted:
// callers receive a plain pointer and never free it. Reading the pointer needs no
// synchronisation; it is set before any caller can reach it and never changes.
#ifndef ORVANDEL_IFACTORY_H
#define ORVANDEL_IFACTORY_H

#include <string>

#include <orvandel/Export.h>

namespace com {
namespace orvandel {

class ORVANDEL_API IFactory {
  public:
    // The factory's type name, borrowed for the life of the factory
    // ("ConfigurationSetFactory" for the configuration library). Never null; throws nothing.
    virtual const std::string* getFactoryType() const = 0;

    ~IFactory() = default;
};

}  // namespace orvandel
}  // namespace com

#endif
