// A small C++ layer over ISetting and IConfigurationSet: typed values in one call, range-for over
// a branch, comparison and copies without handle casts, and a set's serialised form in one call.
//
// Everything here is inline and uses only the public interfaces and getConfigurationSetFactory,
// so it adds no symbol to the library. Each C++ type maps to exactly one setting type (see
// SettingTypeOf) and a type that maps to none does not compile: put(set, "x", 1.5L) is refused,
// put(set, "x", "text") stores a string (never a bool) and put(set, "x", uint16_t{8080}) a uint16.
// Values never convert: reading a uint16 setting as uint32_t fails, as it does through ISetting.
// The functions take the objects themselves (`*handle`) and borrow them for the call; handles
// they return own their reference. The objects keep their own rules: a set and its settings are
// used by one thread at a time.
#ifndef ORVANDEL_CONFIGURATION_CONVENIENCE_H
#define ORVANDEL_CONFIGURATION_CONVENIENCE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

namespace com {
namespace orvandel {
namespace configuration {

// The value of a binary setting: its bytes, copied.
using BinaryValue = std::vector<unsigned char>;

namespace detail {

template <class T>
inline constexpr bool noExactSettingType = false;

template <class Stored, ISetting::Type settingType>
struct ExactMapping {
    using StoredType = Stored;  // the C++ type a setting of this type is read as
    static constexpr ISetting::Type type = settingType;
};

}  // namespace detail

// The setting type that the C++ type T maps to (member `type`) and the C++ type such a setting
// is read as (member `StoredType`). Text given as std::string_view, const char* or char* is
// stored as a string, and as std::wstring_view or a wchar_t pointer as a wide string.
template <class T>
struct SettingTypeOf {
    static_assert(detail::noExactSettingType<T>,
                  "no exact setting type for this C++ type: use bool, uint8_t, uint16_t, "
                  "uint32_t, uint64_t, int8_t, int16_t, int32_t, int64_t, float, double, "
                  "std::string (or std::string_view, const char*), std::wstring or BinaryValue");
};
template <>
struct SettingTypeOf<bool> : detail::ExactMapping<bool, ISetting::boolType> {};
template <>
struct SettingTypeOf<uint8_t> : detail::ExactMapping<uint8_t, ISetting::ucharType> {};
template <>
struct SettingTypeOf<uint16_t> : detail::ExactMapping<uint16_t, ISetting::uint16Type> {};
template <>
struct SettingTypeOf<uint32_t> : detail::ExactMapping<uint32_t, ISetting::uint32Type> {};
template <>
struct SettingTypeOf<uint64_t> : detail::ExactMapping<uint64_t, ISetting::uint64Type> {};
template <>
struct SettingTypeOf<int8_t> : detail::ExactMapping<int8_t, ISetting::charType> {};
template <>
struct SettingTypeOf<int16_t> : detail::ExactMapping<int16_t, ISetting::int16Type> {};
template <>
struct SettingTypeOf<int32_t> : detail::ExactMapping<int32_t, ISetting::int32Type> {};
template <>
struct SettingTypeOf<int64_t> : detail::ExactMapping<int64_t, ISetting::int64Type> {};
template <>
struct SettingTypeOf<float> : detail::ExactMapping<float, ISetting::floatType> {};
template <>
struct SettingTypeOf<double> : detail::ExactMapping<double, ISetting::doubleType> {};
template <>
struct SettingTypeOf<std::string> : detail::ExactMapping<std::string, ISetting::stringType> {};
template <>
struct SettingTypeOf<std::string_view> : detail::ExactMapping<std::string, ISetting::stringType> {};
template <>
struct SettingTypeOf<const char*> : detail::ExactMapping<std::string, ISetting::stringType> {};
template <>
struct SettingTypeOf<char*> : detail::ExactMapping<std::string, ISetting::stringType> {};
template <>
struct SettingTypeOf<std::wstring> : detail::ExactMapping<std::wstring, ISetting::unicodeString> {};
template <>
struct SettingTypeOf<std::wstring_view>
    : detail::ExactMapping<std::wstring, ISetting::unicodeString> {};
template <>
struct SettingTypeOf<const wchar_t*> : detail::ExactMapping<std::wstring, ISetting::unicodeString> {
};
template <>
struct SettingTypeOf<wchar_t*> : detail::ExactMapping<std::wstring, ISetting::unicodeString> {};
template <>
struct SettingTypeOf<BinaryValue> : detail::ExactMapping<BinaryValue, ISetting::binaryType> {};

// The keyword of a setting type, as the XML form writes it ("uint32", "string", ...); a number
// outside the fourteen known types gives "type N". Throws only std::bad_alloc.
inline std::string settingTypeName(ISetting::Type type) {
    static const char* const names[] = {"bool",   "uchar",  "uint16", "uint32",       "uint64",
                                        "char",   "int16",  "int32",  "int64",        "float",
                                        "double", "string", "binary", "unicodeString"};
    return type < std::size(names) ? names[type]
                                   : "type " + std::to_string(static_cast<unsigned int>(type));
}

// Thrown by get: what went wrong (reason()), at which path (path()), and a message naming the
// path and, for a wrong type, the setting's type and the type asked for.
class SettingAccessError : public std::runtime_error {
  public:
    enum Reason {
        noSettingAtPathException,  // nothing is stored at the path
        wrongSettingTypeException  // the stored setting has another type than the one asked for
    };

    SettingAccessError(Reason reason, const std::string& path, const std::string& message)
        : std::runtime_error(message), d_reason(reason), d_path(path) {}

    Reason reason() const { return d_reason; }
    const std::string& path() const { return d_path; }

  private:
    Reason d_reason;
    std::string d_path;
};

namespace detail {

template <class T>
struct TypeTag {
    using type = T;
};

// Calls visit(TypeTag<S>{}) with S the C++ type a setting of `type` is read as, or with
// TypeTag<void> for a type number the library does not know.
template <class Visit>
void withStoredType(ISetting::Type type, Visit&& visit) {
    switch (type) {
        case ISetting::boolType:
            return visit(TypeTag<bool>{});
        case ISetting::ucharType:
            return visit(TypeTag<uint8_t>{});
        case ISetting::uint16Type:
            return visit(TypeTag<uint16_t>{});
        case ISetting::uint32Type:
            return visit(TypeTag<uint32_t>{});
        case ISetting::uint64Type:
            return visit(TypeTag<uint64_t>{});
        case ISetting::charType:
            return visit(TypeTag<int8_t>{});
        case ISetting::int16Type:
            return visit(TypeTag<int16_t>{});
        case ISetting::int32Type:
            return visit(TypeTag<int32_t>{});
        case ISetting::int64Type:
            return visit(TypeTag<int64_t>{});
        case ISetting::floatType:
            return visit(TypeTag<float>{});
        case ISetting::doubleType:
            return visit(TypeTag<double>{});
        case ISetting::stringType:
            return visit(TypeTag<std::string>{});
        case ISetting::binaryType:
            return visit(TypeTag<BinaryValue>{});
        case ISetting::unicodeString:
            return visit(TypeTag<std::wstring>{});
    }
    return visit(TypeTag<void>{});
}

// The value of a setting whose type is SettingTypeOf<T>::type, copied out.
template <class T>
T readValue(const ISetting& setting) {
    if constexpr (std::is_same_v<T, BinaryValue>) {
        const unsigned char* bytes = nullptr;
        size_t length = 0;
        setting.getLockedBinaryBuffer(&bytes, &length);
        return BinaryValue(bytes, bytes + length);
    } else if constexpr (std::is_class_v<T>) {
        const T* text = nullptr;
        setting.getValue(&text);
        return *text;
    } else {
        T value{};
        setting.getValue(&value);
        return value;
    }
}

// Stores value (of a mapped type T) into a setting whose type is SettingTypeOf<T>::type.
template <class T>
void writeValue(ISetting& setting, const T& value) {
    using Stored = typename SettingTypeOf<T>::StoredType;
    if constexpr (std::is_same_v<Stored, BinaryValue>) {
        size_t length = value.size();
        setting.resizeBinaryBuffer(&length);
        unsigned char* bytes = nullptr;
        setting.getBinaryBuffer(&bytes, &length);
        std::copy(value.begin(), value.end(), bytes);
    } else if constexpr (std::is_pointer_v<T>) {
        if (value == nullptr) {
            throw std::invalid_argument("put: the text pointer is null");
        }
        setting.setValue(Stored(value));
    } else if constexpr (std::is_same_v<T, Stored>) {
        setting.setValue(value);
    } else {
        setting.setValue(Stored(value));
    }
}

// The value of setting (found at path) as T, or SettingAccessError when its type is another.
template <class T>
T checkedValue(const ISetting& setting, const std::string& path) {
    static_assert(std::is_same_v<T, typename SettingTypeOf<T>::StoredType>,
                  "get<T>: read text as std::string or std::wstring, which own their characters");
    if (setting.getType() != SettingTypeOf<T>::type) {
        throw SettingAccessError(SettingAccessError::wrongSettingTypeException, path,
                                 "setting at path '" + path + "' is " +
                                     settingTypeName(setting.getType()) + ", not " +
                                     settingTypeName(SettingTypeOf<T>::type));
    }
    return readValue<T>(setting);
}

// The setting at path, or an empty handle when there is none.
inline AutoRefCounted<const ISetting> findLockedSetting(const IConfigurationSet& set,
                                                        const std::string& path) {
    try {
        return set.retrieveLockedSetting(path);
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        if (exception != IConfigurationSet::noSettingAtPathException) {
            throw;
        }
    }
    return AutoRefCounted<const ISetting>();
}

inline AutoRefCounted<ISetting> settingAt(IConfigurationSet& set, const char* branch,
                                          uint32_t index, const std::string** path) {
    return set.retrieveSettingByIndex(branch, index, path);
}

inline AutoRefCounted<const ISetting> settingAt(const IConfigurationSet& set, const char* branch,
                                                uint32_t index, const std::string** path) {
    return set.retrieveLockedSettingByIndex(branch, index, path);
}

}  // namespace detail

// The value stored at path, copied out as T (a stored type: a scalar of SettingTypeOf,
// std::string, std::wstring or BinaryValue). Throws SettingAccessError with reason
// noSettingAtPathException when nothing is stored there, wrongSettingTypeException when the
// setting's type is not T's. Changes nothing and raises no flag.
template <class T>
T get(const IConfigurationSet& set, const std::string& path) {
    const AutoRefCounted<const ISetting> setting = detail::findLockedSetting(set, path);
    if (setting == nullptr) {
        throw SettingAccessError(SettingAccessError::noSettingAtPathException, path,
                                 "no setting at path '" + path + "'");
    }
    return detail::checkedValue<T>(*setting, path);
}

// As above, but returns fallback when nothing is stored at path. A setting of another type is
// still an error (SettingAccessError, wrongSettingTypeException): a fallback stands in for a
// missing value, not for a wrong one.
template <class T>
T get(const IConfigurationSet& set, const std::string& path, const T& fallback) {
    const AutoRefCounted<const ISetting> setting = detail::findLockedSetting(set, path);
    return setting == nullptr ? fallback : detail::checkedValue<T>(*setting, path);
}

// A pointer would silently convert to a bool fallback: get<bool>(set, path, "no") refuses to
// compile instead of returning true for a missing setting.
template <
    class T, class Fallback,
    std::enable_if_t<std::is_same_v<T, bool> && std::is_pointer_v<std::decay_t<Fallback>>, int> = 0>
T get(const IConfigurationSet&, const std::string&, const Fallback&) {
    static_assert(!std::is_pointer_v<std::decay_t<Fallback>>,
                  "get<bool>: the fallback must be a bool, not a pointer or text");
    return false;
}

// Stores value at path as a setting of the type its C++ type maps to, in one call:
// - nothing at path: a new setting from the factory is inserted;
// - a setting of the same type: its value is set in place, so every handle to it sees the new
//   value;
// - a setting of another type: it is removed and a new setting inserted in its place; handles to
//   the old one keep the old object and value.
// Each way raises the set's modified flag, as insertSetting, setValue and removeSetting do. The set
// holds the only reference to a new setting; the caller has nothing to release. Throws
// std::invalid_argument for a null text pointer (nothing changes) and std::bad_alloc; when memory
// runs out while a setting of another type is replaced, the old one may already be removed.
template <class T>
void put(IConfigurationSet& set, const std::string& path, const T& value) {
    using Value = std::decay_t<const T&>;  // text arrays become const char*
    using Mapping = SettingTypeOf<Value>;
    AutoRefCounted<ISetting> fresh = getConfigurationSetFactory()->createSetting();
    fresh->initialize(Mapping::type);
    detail::writeValue<Value>(*fresh, value);
    try {
        set.insertSetting(path, fresh);
        return;
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        if (exception != IConfigurationSet::settingExistsAtPathException) {
            throw;
        }
    }
    const AutoRefCounted<ISetting> existing = set.retrieveSetting(path);
    if (existing->getType() == Mapping::type) {
        detail::writeValue<Value>(*existing, value);
    } else {
        set.removeSetting(path);
        set.insertSetting(path, fresh);
    }
}

// The settings under a branch, in path order, for range-for:
//     for (auto& [path, setting] : entries(*set, "network/")) ...
// `path` is the path stored inside the set (borrowed, valid until that setting is removed or the
// set is destroyed); `setting` a handle that owns a reference (to a const ISetting when the set is
// const). The branch is a plain prefix, as for retrieveSettingByIndex. Each step is one by-index
// lookup that continues where the previous one ended, so a whole branch costs time linear in its
// size, as long as no other by-index enumeration of the same set is interleaved. Inserting or
// removing settings during the loop is safe, but shifts the indices (entries may be skipped or
// repeated) and makes the next step walk from the branch's first path again. The end of the branch
// is found inside the iterator; nothing is thrown at the caller except std::bad_alloc.
template <class Set>
class BranchEntries {
  public:
    using SettingHandle =
        AutoRefCounted<std::conditional_t<std::is_const_v<Set>, const ISetting, ISetting>>;

    // One setting of the branch, as the loop variable binds it: auto& [path, setting].
    struct Entry {
        const std::string& path;
        SettingHandle setting;
    };

    // An input iterator; the default-constructed one is the end.
    class Iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = const Entry&;

        Iterator() = default;

        // The current entry, valid until the iterator moves; not at the end.
        const Entry& operator*() const { return *d_entry; }
        const Entry* operator->() const { return &*d_entry; }

        // Looks up the next entry, or becomes the end.
        Iterator& operator++() {
            ++d_index;
            fetch();
            return *this;
        }

        bool operator==(const Iterator& other) const {
            return d_range == other.d_range && d_index == other.d_index;
        }
        bool operator!=(const Iterator& other) const { return !(*this == other); }

      private:
        friend class BranchEntries;

        explicit Iterator(const BranchEntries* range) : d_range(range) { fetch(); }

        // Moves to the entry at d_index, or becomes the end when the branch has no more.
        void fetch() {
            const std::string* path = nullptr;
            SettingHandle setting;
            try {
                setting =
                    detail::settingAt(*d_range->d_set, d_range->d_branch.c_str(), d_index, &path);
            } catch (IConfigurationSet::ConfigurationSetException exception) {
                if (exception != IConfigurationSet::noSettingAtPathException) {
                    throw;
                }
                d_range = nullptr;
                d_index = 0;
                d_entry.reset();
                return;
            }
            d_entry.emplace(Entry{*path, std::move(setting)});
        }

        const BranchEntries* d_range = nullptr;  // null at the end
        uint32_t d_index = 0;
        std::optional<Entry> d_entry;
    };

    // Borrows set, which must outlive the range and its iterators; copies branch.
    BranchEntries(Set& set, const std::string& branch) : d_set(&set), d_branch(branch) {}

    // The first entry of the branch (looked up now), or the end when the branch is empty.
    Iterator begin() const { return Iterator(this); }
    Iterator end() const { return Iterator(); }

  private:
    Set* d_set;
    std::string d_branch;
};

// The settings of set under branch (see BranchEntries); the set must outlive the loop.
inline BranchEntries<IConfigurationSet> entries(IConfigurationSet& set, const std::string& branch) {
    return BranchEntries<IConfigurationSet>(set, branch);
}

// As above, through const handles: nothing can be changed and no flag raised.
inline BranchEntries<const IConfigurationSet> entries(const IConfigurationSet& set,
                                                      const std::string& branch) {
    return BranchEntries<const IConfigurationSet>(set, branch);
}

// True when both settings have the same type and an equal value (ISetting::equals). Throws
// nothing; changes nothing.
inline bool equals(const ISetting& left, const ISetting& right) {
    return left.equals(make_autorefcounted_this(&right));
}

// True when both sets hold the same paths with equal settings, whatever their types
// (IConfigurationSet::equals). Changes nothing.
inline bool equals(const IConfigurationSet& left, const IConfigurationSet& right) {
    return left.equals(make_autorefcounted_this(&right));
}

// A new setting, from the factory, of the same type with a copy of the value; it is in no set.
// The handle owns the only reference. Throws std::bad_alloc.
inline AutoRefCounted<ISetting> clone(const ISetting& setting) {
    AutoRefCounted<ISetting> copy = getConfigurationSetFactory()->createSetting();
    copy->initialize(setting.getType());
    detail::withStoredType(setting.getType(), [&setting, &copy](auto tag) {
        using Stored = typename decltype(tag)::type;
        if constexpr (!std::is_void_v<Stored>) {
            detail::writeValue(*copy, detail::readValue<Stored>(setting));
        }
    });
    return copy;
}

// A new set of the named type ("ConfigurationSet", "BinaryConfigurationSet" or
// "XMLConfigurationSet") holding a clone of every setting of set under the same path, for
// example to turn an XML set into a binary one. The copy shares no setting with set, and its
// modified flag is raised. The handle owns the only reference. Throws
// IConfigurationSetFactory::unsupportedTypeException for another type name, std::bad_alloc.
inline AutoRefCounted<IConfigurationSet> clone(const IConfigurationSet& set,
                                               const std::string& type) {
    AutoRefCounted<IConfigurationSet> copy =
        getConfigurationSetFactory()->createConfigurationSet(type);
    for (const auto& [path, setting] : entries(set, std::string())) {
        copy->insertSetting(path, clone(*setting));
    }
    return copy;
}

// The set's whole serialised form (the length query and the write in one call); clears the
// modified flag. Throws what IConfigurationSet::serialize throws, except the
// outBufferTooSmallException of the length query: unsupportedException for a set that cannot
// serialise, serializationFailureException, std::bad_alloc.
inline std::vector<unsigned char> serialize(IConfigurationSet& set) {
    size_t length = 0;
    try {
        set.serialize(nullptr, 0, &length);
        return std::vector<unsigned char>();
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        if (exception != IConfigurationSet::outBufferTooSmallException) {
            throw;
        }
    }
    std::vector<unsigned char> form(length);
    set.serialize(form.data(), form.size(), &length);
    return form;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
