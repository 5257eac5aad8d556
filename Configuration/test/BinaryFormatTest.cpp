// The binary configuration stream: exact bytes of the writer, the length protocol, the reader's
// handling of hostile input (it never crashes and never half-changes a set), merging, and a
// seeded round trip over random sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::newBinarySet;
using testsupport::pathsOf;
using testsupport::serializedForm;
using testsupport::setsEqual;

namespace {

using Bytes = std::vector<unsigned char>;

// Builds a stream by hand, field by field, in host byte order.
class StreamBuilder {
  public:
    StreamBuilder& u64(uint64_t value) { return raw(&value, sizeof value); }
    StreamBuilder& u32(uint32_t value) { return raw(&value, sizeof value); }
    StreamBuilder& byte(unsigned char value) { return raw(&value, 1); }
    StreamBuilder& text(const std::string& value) { return raw(value.data(), value.size()); }
    StreamBuilder& raw(const void* bytes, size_t length) {
        const unsigned char* first = static_cast<const unsigned char*>(bytes);
        d_bytes.insert(d_bytes.end(), first, first + length);
        return *this;
    }
    // The start of a record: path length, path and type code.
    StreamBuilder& record(const std::string& path, uint32_t type) {
        return u64(path.size()).text(path).u32(type);
    }
    StreamBuilder& stringRecord(const std::string& path, const std::string& value) {
        return record(path, ISetting::stringType).u64(value.size()).text(value);
    }

    const Bytes& bytes() const { return d_bytes; }

  private:
    Bytes d_bytes;
};

Bytes hex(std::initializer_list<int> values) {
    Bytes bytes;
    for (int value : values) {
        bytes.push_back(static_cast<unsigned char>(value));
    }
    return bytes;
}

void read(IConfigurationSet& set, const Bytes& bytes) {
    set.unserialize(bytes.data(), bytes.size());
}

template <class T>
T valueAt(IConfigurationSet& set, const std::string& path) {
    T value{};
    set.retrieveLockedSetting(path)->getValue(&value);
    return value;
}

std::string stringAt(IConfigurationSet& set, const std::string& path) {
    return *valueAt<const std::string*>(set, path);
}

// What a failed read must leave exactly as it was: the paths, the very setting objects under
// them and their values (through the serialised form).
struct Snapshot {
    std::vector<std::pair<std::string, const ISetting*>> entries;
    Bytes form;

    static Snapshot of(IConfigurationSet& set) {
        Snapshot snapshot;
        for (const std::string& path : pathsOf(set)) {
            snapshot.entries.emplace_back(path, set.retrieveLockedSetting(path).operator->());
        }
        snapshot.form = serializedForm(set);
        return snapshot;
    }
    bool operator==(const Snapshot& other) const {
        return entries == other.entries && form == other.form;
    }
};

TEST(BinaryWriter, TheWorkedRecordsAreWrittenByteForByteAndReadBackEqual) {
    // "a", uint16Type, 0x1234; "bc", stringType, "hi"; "w", unicodeString, L"A".
    const Bytes a = hex({1, 0, 0, 0, 0, 0, 0, 0, 0x61, 2, 0, 0, 0, 0x34, 0x12});
    const Bytes bc = hex(
        {2, 0, 0, 0, 0, 0, 0, 0, 0x62, 0x63, 0x0B, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0x68, 0x69});
    const Bytes w =
        hex({1, 0, 0, 0, 0, 0, 0, 0, 0x77, 0x0D, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0x41, 0, 0, 0});
    Bytes abc = a;
    abc.insert(abc.end(), bc.begin(), bc.end());
    const auto u16 = std::make_pair("a", makeSetting(ISetting::uint16Type, uint16_t{0x1234}));
    const auto hi = std::make_pair("bc", makeSetting(ISetting::stringType, std::string("hi")));
    const auto wide = std::make_pair("w", makeSetting(ISetting::unicodeString, std::wstring(L"A")));
    struct Case {
        std::vector<std::pair<const char*, AutoRefCounted<ISetting>>> settings;
        Bytes form;
        size_t size;
    };
    for (const Case& worked :
         std::vector<Case>{{{u16}, a, 15}, {{hi}, bc, 24}, {{hi, u16}, abc, 39}, {{wide}, w, 25}}) {
        SCOPED_TRACE(worked.size);
        const AutoRefCounted<IConfigurationSet> set = newBinarySet();
        for (const auto& [path, setting] : worked.settings) {
            set->insertSetting(path, setting);
        }
        EXPECT_EQ(worked.size, worked.form.size());
        EXPECT_EQ(worked.form, serializedForm(*set));
        const AutoRefCounted<IConfigurationSet> copy = newBinarySet();
        read(*copy, worked.form);
        EXPECT_TRUE(setsEqual(copy, set));
    }
}

TEST(BinaryWriter, EveryFixedWidthValueIsWrittenInHostOrderAtItsWidth) {
    const std::vector<std::pair<AutoRefCounted<ISetting>, Bytes>> cases{
        {makeSetting(ISetting::boolType, true), hex({1})},
        {makeSetting(ISetting::ucharType, static_cast<unsigned char>(200)), hex({0xC8})},
        {makeSetting(ISetting::uint16Type, uint16_t{0x1234}), hex({0x34, 0x12})},
        {makeSetting(ISetting::uint32Type, uint32_t{0x12345678}), hex({0x78, 0x56, 0x34, 0x12})},
        {makeSetting(ISetting::uint64Type, uint64_t{0x0102030405060708}),
         hex({8, 7, 6, 5, 4, 3, 2, 1})},
        {makeSetting(ISetting::charType, static_cast<signed char>(-2)), hex({0xFE})},
        {makeSetting(ISetting::int16Type, int16_t{-2}), hex({0xFE, 0xFF})},
        {makeSetting(ISetting::int32Type, int32_t{-2}), hex({0xFE, 0xFF, 0xFF, 0xFF})},
        {makeSetting(ISetting::int64Type, int64_t{-2}),
         hex({0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})},
        {makeSetting(ISetting::floatType, 1.0f), hex({0, 0, 0x80, 0x3F})},
        {makeSetting(ISetting::doubleType, 1.0), hex({0, 0, 0, 0, 0, 0, 0xF0, 0x3F})},
    };
    for (const auto& [setting, value] : cases) {
        const AutoRefCounted<IConfigurationSet> set = newBinarySet();
        set->insertSetting("p", setting);
        Bytes expected = StreamBuilder().record("p", setting->getType()).bytes();
        expected.insert(expected.end(), value.begin(), value.end());
        EXPECT_EQ(expected, serializedForm(*set)) << "type " << setting->getType();
        const AutoRefCounted<IConfigurationSet> copy = newBinarySet();
        read(*copy, expected);
        EXPECT_TRUE(setsEqual(copy, set)) << "type " << setting->getType();
    }
}

TEST(BinaryWriter, EmptyValuesAndAnEmptyPathAreWrittenAsZeroLengths) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("", makeSetting(ISetting::stringType, std::string()));
    set->insertSetting("b", makeBinarySetting({}));
    set->insertSetting("w", makeSetting(ISetting::unicodeString, std::wstring()));
    EXPECT_EQ(StreamBuilder()
                  .record("", ISetting::stringType)
                  .u64(0)
                  .record("b", ISetting::binaryType)
                  .u64(0)
                  .record("w", ISetting::unicodeString)
                  .u64(0)
                  .bytes(),
              serializedForm(*set));
    const AutoRefCounted<IConfigurationSet> copy = newBinarySet();
    read(*copy, serializedForm(*set));
    EXPECT_TRUE(setsEqual(copy, set));
    const unsigned char* buffer = reinterpret_cast<const unsigned char*>(1);
    size_t length = 1;
    copy->retrieveLockedSetting("b")->getLockedBinaryBuffer(&buffer, &length);
    EXPECT_EQ(nullptr, buffer);
    EXPECT_EQ(0u, length);
}

TEST(BinaryWriter, AnUnknownTypeIsWrittenAsPathAndTypeCodeOnly) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    const AutoRefCounted<ISetting> odd(new Setting());
    odd->initialize(static_cast<ISetting::Type>(20));
    set->insertSetting("x", odd);
    const Bytes form = serializedForm(*set);
    EXPECT_EQ(StreamBuilder().record("x", 20).bytes(), form);
    const AutoRefCounted<IConfigurationSet> other = newBinarySet();
    EXPECT_THROW(read(*other, form), IConfigurationSet::ConfigurationSetException);
}

TEST(BinaryWriter, APathOrStringWithANulByteIsWrittenWhole) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    const std::string withNul("a\0b", 3);
    set->insertSetting(withNul, makeSetting(ISetting::stringType, withNul));
    EXPECT_EQ(StreamBuilder().stringRecord(withNul, withNul).bytes(), serializedForm(*set));
}

TEST(BinaryLengthProtocol, AnEmptySetHasLengthZeroAndNeedsNoBuffer) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->removeAllSettings();
    size_t length = 99;
    set->serialize(nullptr, 0, &length);
    EXPECT_EQ(0u, length);
    EXPECT_FALSE(set->checkModified());
}

AutoRefCounted<IConfigurationSet> protocolSet() {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("a", makeSetting(ISetting::uint16Type, uint16_t{0x1234}));
    set->insertSetting("bc", makeSetting(ISetting::stringType, std::string("hi")));
    set->insertSetting("d", makeSetting(ISetting::doubleType, 2.5));
    set->insertSetting("w", makeSetting(ISetting::unicodeString, std::wstring(L"xyz")));
    return set;
}

// A shorter buffer is zero-filled, told the full length and leaves the flag raised; a buffer of
// exactly the length receives the form and clears the flag.
TEST(BinaryLengthProtocol, EveryBufferUpToTheLengthGetsTheFullLengthReported) {
    const AutoRefCounted<IConfigurationSet> set = protocolSet();
    const Bytes form = serializedForm(*set);
    for (size_t capacity = 0; capacity <= form.size(); ++capacity) {
        SCOPED_TRACE(capacity);
        set->retrieveSetting("a")->setValue(uint16_t{0x1234});
        Bytes out(capacity + 4, 0xAA);
        size_t length = 0;
        const auto thrown = testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
            [&] { set->serialize(out.data(), capacity, &length); });
        EXPECT_EQ(form.size(), length);
        EXPECT_EQ(Bytes(4, 0xAA), Bytes(out.begin() + capacity, out.end()));
        out.resize(capacity);
        if (capacity == form.size()) {
            EXPECT_FALSE(thrown.has_value());
            EXPECT_EQ(form, out);
            EXPECT_FALSE(set->checkModified());
        } else {
            EXPECT_EQ(IConfigurationSet::outBufferTooSmallException, thrown);
            EXPECT_EQ(Bytes(capacity, 0), out);
            EXPECT_TRUE(set->checkModified());
        }
    }
}

// A length query takes binary values writable, as the walk does, and so raises the flag only
// when the set holds one.
TEST(BinaryLengthProtocol, ALengthQueryRaisesTheFlagOnlyThroughABinarySetting) {
    const AutoRefCounted<IConfigurationSet> set = protocolSet();
    const size_t withoutBinary = serializedForm(*set).size();
    size_t length = 0;
    set->checkModified();
    EXPECT_THROW(set->serialize(nullptr, 0, &length), IConfigurationSet::ConfigurationSetException);
    EXPECT_FALSE(set->checkModified());
    set->insertSetting("z", makeBinarySetting({1, 2, 3}));
    set->checkModified();
    EXPECT_THROW(set->serialize(nullptr, 0, &length), IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ(withoutBinary + 8 + 1 + 4 + 8 + 3, length);
    EXPECT_TRUE(set->checkModified());
    Bytes out(length);
    set->serialize(out.data(), out.size(), &length);
    EXPECT_FALSE(set->checkModified());
}

// A stream of one record of every type, and the offsets at which its records end.
struct EveryTypeStream {
    AutoRefCounted<IConfigurationSet> source = newBinarySet();
    std::vector<std::string> paths;
    std::vector<size_t> recordEnds;
    Bytes bytes;

    EveryTypeStream() {
        source->insertSetting("00bool", makeSetting(ISetting::boolType, true));
        source->insertSetting("01uchar",
                              makeSetting(ISetting::ucharType, static_cast<unsigned char>(200)));
        source->insertSetting("02uint16", makeSetting(ISetting::uint16Type, uint16_t{60000}));
        source->insertSetting("03uint32", makeSetting(ISetting::uint32Type, uint32_t{4000000000u}));
        source->insertSetting("04uint64", makeSetting(ISetting::uint64Type, uint64_t{1} << 63));
        source->insertSetting("05char",
                              makeSetting(ISetting::charType, static_cast<signed char>(-5)));
        source->insertSetting("06int16", makeSetting(ISetting::int16Type, int16_t{-300}));
        source->insertSetting("07int32", makeSetting(ISetting::int32Type, int32_t{-70000}));
        source->insertSetting("08int64", makeSetting(ISetting::int64Type, -(int64_t{1} << 40)));
        source->insertSetting("09float", makeSetting(ISetting::floatType, 0.25f));
        source->insertSetting("10double", makeSetting(ISetting::doubleType, -1e300));
        source->insertSetting("11string", makeSetting(ISetting::stringType, std::string("text")));
        source->insertSetting("12binary", makeBinarySetting({0, 1, 2, 0xFF}));
        source->insertSetting("13wide", makeSetting(ISetting::unicodeString, std::wstring(L"wö")));
        source->insertSetting("shared", makeSetting(ISetting::stringType, std::string("new")));
        paths = pathsOf(*source);
        // Each record alone, to learn where it ends. The one-record sets borrow the settings
        // (taking over their flag), which is harmless: the source is only read afterwards.
        for (const std::string& path : paths) {
            const AutoRefCounted<IConfigurationSet> single = newBinarySet();
            single->insertSetting(path, source->retrieveSetting(path));
            const Bytes record = serializedForm(*single);
            bytes.insert(bytes.end(), record.begin(), record.end());
            recordEnds.push_back(bytes.size());
        }
        EXPECT_EQ(serializedForm(*source), bytes);
    }
};

// A set that already holds settings, one of them at a path that the stream also names.
AutoRefCounted<IConfigurationSet> populatedTarget() {
    const AutoRefCounted<IConfigurationSet> target = newBinarySet();
    target->insertSetting("keep", makeSetting(ISetting::int32Type, int32_t{1}));
    target->insertSetting("shared", makeSetting(ISetting::doubleType, 3.0));
    target->insertSetting("zz", makeBinarySetting({7}));
    return target;
}

TEST(BinaryReader, AStreamCutAnywhereInsideARecordChangesNothing) {
    const EveryTypeStream stream;
    for (const bool flaggedBefore : {false, true}) {
        for (size_t cut = 1; cut < stream.bytes.size(); ++cut) {
            if (std::find(stream.recordEnds.begin(), stream.recordEnds.end(), cut) !=
                stream.recordEnds.end()) {
                continue;
            }
            const AutoRefCounted<IConfigurationSet> target = populatedTarget();
            const Snapshot before = Snapshot::of(*target);
            target->checkModified();
            if (flaggedBefore) {
                target->retrieveSetting("keep")->setValue(int32_t{1});
            }
            try {
                target->unserialize(stream.bytes.data(), cut);
                ADD_FAILURE() << "cut at " << cut << " was accepted";
            } catch (IConfigurationSet::ConfigurationSetException exception) {
                EXPECT_EQ(IConfigurationSet::serializationFailureException, exception)
                    << "cut at " << cut;
            }
            EXPECT_EQ(flaggedBefore, target->checkModified()) << "cut at " << cut;
            EXPECT_TRUE(before == Snapshot::of(*target)) << "cut at " << cut;
        }
    }
}

TEST(BinaryReader, AStreamCutBetweenRecordsReadsTheRecordsBeforeTheCut) {
    const EveryTypeStream stream;
    for (size_t kept = 0; kept <= stream.recordEnds.size(); ++kept) {
        const size_t cut = kept == 0 ? 0 : stream.recordEnds[kept - 1];
        const AutoRefCounted<IConfigurationSet> target = populatedTarget();
        target->unserialize(stream.bytes.data(), cut);
        EXPECT_FALSE(target->checkModified());
        for (size_t record = 0; record < stream.paths.size(); ++record) {
            const std::string& path = stream.paths[record];
            if (record < kept) {
                EXPECT_TRUE(target->retrieveLockedSetting(path)->equals(
                    stream.source->retrieveLockedSetting(path)))
                    << path << " with " << kept << " records";
            } else if (path != "shared") {
                EXPECT_THROW(target->retrieveLockedSetting(path),
                             IConfigurationSet::ConfigurationSetException);
            }
        }
        EXPECT_EQ(1, valueAt<int32_t>(*target, "keep"));
        EXPECT_EQ(kept == stream.paths.size() ? ISetting::stringType : ISetting::doubleType,
                  target->retrieveLockedSetting("shared")->getType());
    }
}

// Reads a hostile stream into a populated set and expects the failure and no change at all.
void expectRefused(const Bytes& bytes, bool allocationFailure = false) {
    const AutoRefCounted<IConfigurationSet> target = populatedTarget();
    const Snapshot before = Snapshot::of(*target);
    target->checkModified();
    if (allocationFailure) {
        EXPECT_THROW(read(*target, bytes), std::bad_alloc);
    } else {
        EXPECT_EQ(IConfigurationSet::serializationFailureException,
                  testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                      [&] { read(*target, bytes); }));
    }
    EXPECT_FALSE(target->checkModified());
    EXPECT_TRUE(before == Snapshot::of(*target));
}

TEST(BinaryReader, TypeCodesFromFourteenUpAreRefused) {
    for (uint32_t type : {14u, 15u, 255u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(type);
        expectRefused(StreamBuilder().stringRecord("first", "ok").record("a", type).u64(0).bytes());
    }
}

// Lengths near 2^64 must not wrap around when added to the read position.
TEST(BinaryReader, LengthsBeyondTheStreamAreRefusedWithoutWrappingAround) {
    const uint64_t max = std::numeric_limits<uint64_t>::max();
    for (uint64_t length : {max, max - 7, max - 11, max - 30, uint64_t{1} << 63}) {
        SCOPED_TRACE(length);
        expectRefused(StreamBuilder()
                          .stringRecord("first", "ok")
                          .u64(length)
                          .text("p")
                          .u32(3)
                          .u32(1)
                          .bytes());
        expectRefused(
            StreamBuilder().record("s", ISetting::stringType).u64(length).text("abc").bytes());
        expectRefused(
            StreamBuilder().record("w", ISetting::unicodeString).u64(length).text("abcd").bytes());
    }
    expectRefused(StreamBuilder().record("b", ISetting::binaryType).u64(1000).text("abc").bytes());
    // A binary length no buffer can hold fails with the allocation failure, still changing nothing.
    expectRefused(StreamBuilder()
                      .stringRecord("first", "ok")
                      .record("b", ISetting::binaryType)
                      .u64(max - 15)
                      .text("abc")
                      .bytes(),
                  true);
}

TEST(BinaryReader, ANulCutsAPathOrStringAndTheNextRecordsAreStillRead) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    const wchar_t units[] = {L'x', 0, L'y'};
    read(*set, StreamBuilder()
                   .stringRecord(std::string("a\0ignored", 9), std::string("v\0w", 3))
                   .stringRecord("b", std::string("\0x", 2))
                   .record("w", ISetting::unicodeString)
                   .u64(sizeof units)
                   .raw(units, sizeof units)
                   .stringRecord("z", "after")
                   .bytes());
    EXPECT_EQ((std::vector<std::string>{"a", "b", "w", "z"}), pathsOf(*set));
    EXPECT_EQ("v", stringAt(*set, "a"));
    EXPECT_EQ("", stringAt(*set, "b"));
    EXPECT_EQ(L"x", *valueAt<const std::wstring*>(*set, "w"));
    EXPECT_EQ("after", stringAt(*set, "z"));
}

TEST(BinaryReader, AWideByteCountThatIsNoMultipleOfFourReadsTheCompleteUnitsOnly) {
    for (size_t extra = 1; extra <= 3; ++extra) {
        SCOPED_TRACE(extra);
        const AutoRefCounted<IConfigurationSet> set = newBinarySet();
        const wchar_t units[] = {L'p', L'q'};
        read(*set, StreamBuilder()
                       .record("w", ISetting::unicodeString)
                       .u64(sizeof units + extra)
                       .raw(units, sizeof units)
                       .text(std::string(extra, 'r'))
                       .stringRecord("z", "after")
                       .bytes());
        EXPECT_EQ(L"pq", *valueAt<const std::wstring*>(*set, "w"));
        EXPECT_EQ("after", stringAt(*set, "z"));
    }
}

TEST(BinaryReader, TheLaterOfTwoRecordsForOnePathWins) {
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    read(*set, StreamBuilder()
                   .stringRecord("b", "first")
                   .stringRecord("a", "other")
                   .record("b", ISetting::int16Type)
                   .raw("\xff\xff", 2)
                   .stringRecord("c", "x")
                   .stringRecord("c", "y")
                   .bytes());
    EXPECT_EQ(3u, set->getSettingCount());
    EXPECT_EQ(-1, valueAt<int16_t>(*set, "b"));
    EXPECT_EQ("y", stringAt(*set, "c"));
}

TEST(BinaryReader, AnyNonZeroBoolByteIsTrueAndWrittenBackAsOne) {
    for (const unsigned char byte : {0, 1, 2, 0xFF}) {
        SCOPED_TRACE(int{byte});
        const AutoRefCounted<IConfigurationSet> set = newBinarySet();
        read(*set, StreamBuilder().record("b", ISetting::boolType).byte(byte).bytes());
        EXPECT_EQ(byte != 0, valueAt<bool>(*set, "b"));
        EXPECT_EQ(StreamBuilder().record("b", ISetting::boolType).byte(byte != 0).bytes(),
                  serializedForm(*set));
    }
}

TEST(BinaryReader, ReadingNothingChangesNoSettingAndClearsTheFlag) {
    const AutoRefCounted<IConfigurationSet> set = populatedTarget();
    const Snapshot before = Snapshot::of(*set);
    set->retrieveSetting("keep")->setValue(int32_t{1});
    set->unserialize(nullptr, 0);
    EXPECT_FALSE(set->checkModified());
    EXPECT_TRUE(before == Snapshot::of(*set));
}

TEST(BinaryMerge, OtherPathsAreKeptAndNamedPathsReplacedWhateverTheirType) {
    const AutoRefCounted<IConfigurationSet> set = populatedTarget();
    const AutoRefCounted<ISetting> kept = set->retrieveSetting("keep");
    const AutoRefCounted<ISetting> replaced = set->retrieveSetting("shared");
    read(*set, StreamBuilder().stringRecord("new", "n").stringRecord("shared", "s").bytes());
    EXPECT_EQ((std::vector<std::string>{"keep", "new", "shared", "zz"}), pathsOf(*set));
    EXPECT_EQ(kept.operator->(), set->retrieveSetting("keep").operator->());
    EXPECT_EQ("s", stringAt(*set, "shared"));
    EXPECT_NE(replaced.operator->(), set->retrieveSetting("shared").operator->());
    double value = 0;
    replaced->getValue(&value);
    EXPECT_EQ(3.0, value);
    EXPECT_EQ(1u, testsupport::referenceCount(*replaced));
    // The settings read share the set's flag.
    EXPECT_FALSE(set->checkModified());
    set->retrieveSetting("new")->setValue(std::string("changed"));
    EXPECT_TRUE(set->checkModified());
}

// A value of type T made from random bits; floating-point values are any bit pattern but NaN.
template <class T>
void setFromBits(ISetting& setting, uint64_t bits) {
    if constexpr (std::is_same_v<T, bool>) {
        setting.setValue((bits & 1) != 0);
    } else if constexpr (std::is_floating_point_v<T>) {
        T value;
        std::memcpy(&value, &bits, sizeof value);
        setting.setValue(std::isnan(value) ? T(0) : value);
    } else {
        setting.setValue(static_cast<T>(bits));
    }
}

// A random setting of any type.
class RandomSettings {
  public:
    explicit RandomSettings(uint32_t seed) : d_random(seed) {}

    AutoRefCounted<ISetting> next() {
        using Setter = void (*)(ISetting&, uint64_t);
        static const Setter fixedWidth[] = {
            setFromBits<bool>,     setFromBits<unsigned char>, setFromBits<uint16_t>,
            setFromBits<uint32_t>, setFromBits<uint64_t>,      setFromBits<signed char>,
            setFromBits<int16_t>,  setFromBits<int32_t>,       setFromBits<int64_t>,
            setFromBits<float>,    setFromBits<double>};
        const auto type = static_cast<ISetting::Type>(below(14));
        if (type == ISetting::binaryType) {
            const std::string bytes = text(0, 255);
            return makeBinarySetting(Bytes(bytes.begin(), bytes.end()));
        }
        AutoRefCounted<ISetting> setting(new Setting());
        setting->initialize(type);
        if (type == ISetting::stringType) {
            setting->setValue(text(1, 255));
        } else if (type == ISetting::unicodeString) {
            std::wstring wide(below(12), L' ');
            for (wchar_t& unit : wide) {
                unit = static_cast<wchar_t>(1 + below(0x10FFFF));
            }
            setting->setValue(wide);
        } else {
            fixedWidth[type](*setting, d_random());
        }
        return setting;
    }

    // Text of up to 24 bytes drawn from [low, high].
    std::string text(int low, int high) {
        std::string result(below(25), ' ');
        for (char& byte : result) {
            byte = static_cast<char>(low + below(high - low + 1));
        }
        return result;
    }

    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(d_random() % bound); }

  private:
    std::mt19937_64 d_random;
};

// Reading into an empty set takes the collected settings over whole; the flag ends cleared.
TEST(BinaryRoundTrip, RandomSetsOfEveryTypeReadBackEqual) {
    RandomSettings random(20261123);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        const AutoRefCounted<IConfigurationSet> original = newBinarySet();
        const uint32_t count = random.below(30);
        for (uint32_t i = 0; i < count; ++i) {
            const std::string path = random.text(1, 255);
            try {
                original->insertSetting(path, random.next());
            } catch (IConfigurationSet::ConfigurationSetException) {
                // the path was drawn twice; one setting under it is enough
            }
        }
        const Bytes form = serializedForm(*original);
        const AutoRefCounted<IConfigurationSet> copy = newBinarySet();
        read(*copy, form);
        ASSERT_FALSE(copy->checkModified());
        ASSERT_TRUE(setsEqual(copy, original));
        ASSERT_TRUE(setsEqual(original, copy));
        ASSERT_EQ(form, serializedForm(*copy));
    }
}

}  // namespace
