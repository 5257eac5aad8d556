// The one implementation of IRefCounted's counting, shared by every counted class.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_REFCOUNTED_H
#define ORVANDEL_CONFIGURATION_INTERNAL_REFCOUNTED_H

#include <cstdint>

#include <orvandel/IRefCounted.h>

namespace com {
namespace orvandel {

// Adds the reference count to an interface derived from IRefCounted. An object starts with a
// count of 1, owned by its creator, and deletes itself through its virtual destructor when the
// count reaches 0. The count is first among the members of every counted class.
template <class Interface>
class RefCounted : public Interface {
  public:
    uint32_t addRef() const override { return ++d_refCount; }

    uint32_t release() const override {
        const uint32_t remaining = --d_refCount;
        if (remaining == 0) {
            delete this;
        }
        return remaining;
    }

    RefCounted(const RefCounted&) = delete;
    RefCounted& operator=(const RefCounted&) = delete;

  protected:
    RefCounted() : d_refCount(1) {}
    virtual ~RefCounted() = default;

  private:
    mutable uint32_t d_refCount;
};

}  // namespace orvandel
}  // namespace com

#endif
