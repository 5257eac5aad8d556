// Reference counting for every object that crosses an interface of the Orvandel libraries.
//
// An object starts with a count of 1 that belongs to its creator and is destroyed by the
// release() that brings the count to 0. AutoRefCounted<T> is a handle that owns exactly one
// reference. Counts are plain, non-atomic fields: an object, and every object that shares
// references with it, must be used by one thread at a time.
#ifndef ORVANDEL_IREFCOUNTED_H
#define ORVANDEL_IREFCOUNTED_H

#include <cstdint>

#include <orvandel/Export.h>

namespace com {
namespace orvandel {

// The counting interface. There is deliberately no virtual destructor: nobody deletes an object
// through an interface pointer; an object is destroyed only by its own release().
class ORVANDEL_API IRefCounted {
  public:
    // Takes one more reference. Returns the count after the increment.
    virtual uint32_t addRef() const = 0;

    // Drops one reference. Returns the count after the decrement; 0 means the object has been
    // destroyed and must not be touched again. Releasing more often than references were taken
    // is undefined.
    virtual uint32_t release() const = 0;

  protected:
    ~IRefCounted() = default;
};

// A handle owning one reference to a T (an IRefCounted type, const or not), or nothing.
template <class T>
class AutoRefCounted {
  public:
    // An empty handle; nothing is counted.
    AutoRefCounted() : d_refCounted(nullptr) {}

    // Adopts a reference the caller already owns (a freshly created object, whose initial count
    // of 1 becomes the handle's, or a pointer returned by get()). Does not call addRef. A null
    // pointer gives an empty handle.
    explicit AutoRefCounted(T* refCounted) : d_refCounted(refCounted) {}

    // Refers to the same object as other and takes a reference of its own.
    AutoRefCounted(const AutoRefCounted& other) : d_refCounted(other.d_refCounted) {
        if (d_refCounted != nullptr) {
            d_refCounted->addRef();
        }
    }

    // Takes over other's reference; other is left empty. Nothing is counted.
    AutoRefCounted(AutoRefCounted&& other) noexcept : d_refCounted(other.d_refCounted) {
        other.d_refCounted = nullptr;
    }

    // Releases the handle's reference, if any.
    ~AutoRefCounted() {
        if (d_refCounted != nullptr) {
            d_refCounted->release();
        }
    }

    // Refers to rvalue's object: takes a reference on it first, then drops the one on the
    // previous object, so self-assignment and assignment between handles to the same object keep
    // the object alive with an unchanged count.
    AutoRefCounted& operator=(const AutoRefCounted& rvalue) {
        T* previous = d_refCounted;
        d_refCounted = rvalue.d_refCounted;
        if (d_refCounted != nullptr) {
            d_refCounted->addRef();
        }
        if (previous != nullptr) {
            previous->release();
        }
        return *this;
    }

    // Takes over rvalue's reference and drops the previous one.
    AutoRefCounted& operator=(AutoRefCounted&& rvalue) noexcept {
        if (this != &rvalue) {
            T* previous = d_refCounted;
            d_refCounted = rvalue.d_refCounted;
            rvalue.d_refCounted = nullptr;
            if (previous != nullptr) {
                previous->release();
            }
        }
        return *this;
    }

    // The raw pointer, borrowed for as long as the handle lives; nothing is counted.
    T* operator->() const { return d_refCounted; }

    // The object; the handle must not be empty. Nothing is counted.
    T& operator*() const { return *d_refCounted; }

    // True for an empty handle.
    bool operator!() const { return d_refCounted == nullptr; }

    // The raw pointer with one more reference, which the caller owns and must release (or adopt
    // into another handle). An empty handle returns null and counts nothing.
    T* get() const {
        if (d_refCounted != nullptr) {
            d_refCounted->addRef();
        }
        return d_refCounted;
    }

  private:
    T* d_refCounted;
};

namespace detail {
template <class T>
struct NonDeduced {
    using type = T;
};
}  // namespace detail

// A handle of type U to p's object, holding a reference of its own. The conversion is a
// static_cast: a downcast is unchecked, and the caller guarantees the object's dynamic type.
template <class U, class T>
AutoRefCounted<U> static_pointer_cast(const AutoRefCounted<T>& p) {
    return AutoRefCounted<U>(static_cast<U*>(p.get()));
}

// A handle of type U (T with const added) to p's object, holding a reference of its own.
template <class U, class T>
AutoRefCounted<U> const_pointer_cast(const AutoRefCounted<T>& p) {
    return AutoRefCounted<U>(const_cast<U*>(p.get()));
}

// A handle to an object that is already held elsewhere: calls p->addRef() and adopts p.
// p must not be null.
template <class T>
AutoRefCounted<T> make_autorefcounted_this(T* p) {
    p->addRef();
    return AutoRefCounted<T>(p);
}

// True when a's object is not bPtr; `handle != 0` asks whether the handle holds an object.
// Counts nothing.
template <class T>
bool operator!=(const AutoRefCounted<T>& a, typename detail::NonDeduced<T>::type* bPtr) {
    return a.operator->() != bPtr;
}

// True when a's object is bPtr; the counterpart of operator!=.
template <class T>
bool operator==(const AutoRefCounted<T>& a, typename detail::NonDeduced<T>::type* bPtr) {
    return a.operator->() == bPtr;
}

}  // namespace orvandel
}  // namespace com

#endif
