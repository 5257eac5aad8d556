// The binary stream: the exact bytes of every record, the length protocol, the reader's handling
// of hostile input (never a crash, never a half-changed set) and the merge into a populated set.
// Random round trips are left to the model-based test and the fuzzer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/internal/Setting.h>

#include "FuzzSupport.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using namespace orvandel_fuzz;
using namespace testsupport;
using std::string_literals::operator""s;
using SetException = IConfigurationSet::ConfigurationSetException;

namespace {

using Bytes = std::vector<unsigned char>;

// Builds a stream by hand, field by field, in host byte order.
struct StreamBuilder {
    Bytes bytes;

    StreamBuilder& raw(const void* data, size_t length) {
        const auto* first = static_cast<const unsigned char*>(data);
        bytes.insert(bytes.end(), first, first + length);
        return *this;
    }
    StreamBuilder& u64(uint64_t value) { return raw(&value, sizeof value); }
    StreamBuilder& text(const std::string& value) { return raw(value.data(), value.size()); }
    // The start of a record: path length, path and type code.
    StreamBuilder& record(const std::string& path, uint32_t type) {
        return u64(path.size()).text(path).raw(&type, sizeof type);
    }
    StreamBuilder& stringRecord(const std::string& path, const std::string& value) {
        return record(path, ISetting::stringType).u64(value.size()).text(value);
    }
};

// One setting per type (and the empty values) with the bytes that follow its path and type code,
// in path order; "b/blob" is also a path of the populated set of FuzzSupport.h.
struct Row {
    std::string path;
    AutoRefCounted<ISetting> setting;
    std::string value;

    Bytes record() const {
        return StreamBuilder().record(path, setting->getType()).text(value).bytes;
    }
};

std::vector<Row> layoutTable() {
    const std::string none(8, 0);
    return {
        {"", makeSetting(ISetting::stringType, std::string()), none},
        {"01", makeSetting(ISetting::boolType, true), "\x01"},
        {"02", makeSetting(ISetting::ucharType, static_cast<unsigned char>(200)), "\xC8"},
        {"03", makeSetting(ISetting::uint16Type, uint16_t{0x1234}), "\x34\x12"},
        {"04", makeSetting(ISetting::uint32Type, uint32_t{0x12345678}), "\x78\x56\x34\x12"},
        {"05", makeSetting(ISetting::uint64Type, uint64_t{0x0102030405060708}),
         "\x08\x07\x06\x05\x04\x03\x02\x01"},
        {"06", makeSetting(ISetting::charType, static_cast<signed char>(-2)), "\xFE"},
        {"07", makeSetting(ISetting::int16Type, int16_t{-2}), "\xFE\xFF"},
        {"08", makeSetting(ISetting::int32Type, int32_t{-2}), "\xFE\xFF\xFF\xFF"},
        {"09", makeSetting(ISetting::int64Type, int64_t{-2}), "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},
        {"10", makeSetting(ISetting::floatType, 1.0f), "\0\0\x80\x3F"s},
        {"11", makeSetting(ISetting::doubleType, 1.0), "\0\0\0\0\0\0\xF0\x3F"s},
        {"12", makeSetting(ISetting::stringType, std::string("hi")), "\x02\0\0\0\0\0\0\0hi"s},
        {"13", makeBinarySetting({0, 1, 0xFF}), "\x03\0\0\0\0\0\0\0\0\x01\xFF"s},
        {"14", makeBinarySetting({}), none},
        {"15", makeSetting(ISetting::unicodeString, std::wstring(L"A")),
         "\x04\0\0\0\0\0\0\0A\0\0\0"s},
        {"16", makeSetting(ISetting::unicodeString, std::wstring()), none},
        {"b/blob", makeSetting(ISetting::stringType, std::string("new")),
         "\x03\0\0\0\0\0\0\0new"s}};
}

// For a set with no settings, with no binary setting and with every row: a length query takes
// binary values writable, as the walk does, so it raises the flag only through a binary setting.
// A shorter buffer is zero-filled, told the full length and leaves the flag raised; a buffer of
// exactly the length receives the form and clears the flag. Nothing is written past capacity.
TEST(BinaryLengthProtocol, EveryBufferUpToTheLengthGetsTheFullLengthReported) {
    for (const int kind : {0, 1, 2}) {
        SCOPED_TRACE(kind);
        const AutoRefCounted<IConfigurationSet> set = newBinarySet();
        for (const Row& row : layoutTable()) {
            if (kind == 2 || (kind == 1 && row.setting->getType() != ISetting::binaryType)) {
                set->insertSetting(row.path, row.setting);
            }
        }
        const Bytes form = serialize(*set);  // clears the flag
        for (size_t capacity = 0; capacity <= form.size(); ++capacity) {
            if (capacity != 0) {  // capacity 0 is a bare length query
                set->retrieveSetting("03")->setValue(uint16_t{0x1234});
            }
            Bytes out(capacity + 4, 0xAA);
            size_t length = 99;
            const auto thrown = thrownValue<SetException>(
                [&] { set->serialize(capacity == 0 ? nullptr : out.data(), capacity, &length); });
            EXPECT_EQ(form.size(), length);
            EXPECT_EQ(Bytes(4, 0xAA), Bytes(out.begin() + capacity, out.end()));
            out.resize(capacity);
            const bool fits = capacity == form.size();
            EXPECT_EQ(
                fits ? std::nullopt : std::optional(IConfigurationSet::outBufferTooSmallException),
                thrown);
            EXPECT_EQ(fits ? form : Bytes(capacity, 0), out);
            EXPECT_EQ(capacity == 0 ? kind == 2 : !fits, set->checkModified()) << capacity;
        }
    }
}

// Reads bytes into a populated set (see FuzzSupport.h) and expects the failure and no change at
// all, the modified flag included.
void expectRefused(const Bytes& bytes, bool allocationFailure = false, bool flagged = false) {
    const AutoRefCounted<IConfigurationSet> target = createPopulatedSet("BinaryConfigurationSet");
    const std::vector<SettingSnapshot> before = snapshot(*target);
    if (flagged) {
        target->retrieveSetting("a/number")->setValue(int32_t{-7});
    }
    if (allocationFailure) {
        EXPECT_THROW(target->unserialize(bytes.data(), bytes.size()), std::bad_alloc);
    } else {
        EXPECT_EQ(IConfigurationSet::serializationFailureException, thrownValue<SetException>([&] {
                      target->unserialize(bytes.data(), bytes.size());
                  }));
    }
    EXPECT_EQ(flagged, target->checkModified());
    EXPECT_TRUE(before == snapshot(*target));
}

// The table's settings, inserted in any order, are written as its records in path order. That
// stream cut anywhere: inside a record it changes nothing; between records the records before
// the cut merge into the populated set. Other paths keep their very objects, a named path is
// replaced whatever its type, and the flag ends cleared (reading nothing included).
TEST(BinaryForm, TheTableIsWrittenExactlyAndEveryCutOfItReadsAllOrNothing) {
    const std::vector<Row> rows = layoutTable();
    const AutoRefCounted<IConfigurationSet> all = newBinarySet();
    Bytes stream;
    std::vector<size_t> recordEnds;
    for (size_t row = 0; row < rows.size(); ++row) {
        all->insertSetting(rows[rows.size() - 1 - row].path, rows[rows.size() - 1 - row].setting);
        const Bytes record = rows[row].record();
        stream.insert(stream.end(), record.begin(), record.end());
        recordEnds.push_back(stream.size());
    }
    EXPECT_EQ(stream, serialize(*all));
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        SCOPED_TRACE(cut);
        const size_t kept =
            std::find(recordEnds.begin(), recordEnds.end(), cut) - recordEnds.begin() + 1;
        if (cut != 0 && kept > rows.size()) {
            expectRefused(Bytes(stream.begin(), stream.begin() + cut), false, cut % 2 == 0);
            continue;
        }
        const size_t read = cut == 0 ? 0 : kept;
        const AutoRefCounted<IConfigurationSet> target =
            createPopulatedSet("BinaryConfigurationSet");
        const AutoRefCounted<ISetting> number = target->retrieveSetting("a/number");
        const AutoRefCounted<ISetting> replaced = target->retrieveSetting("b/blob");
        number->setValue(int32_t{-7});
        std::vector<std::string> paths = pathsOf(*target);  // leaves a cursor the read must forget
        target->unserialize(cut == 0 ? nullptr : stream.data(), cut);
        EXPECT_FALSE(target->checkModified());
        for (size_t row = 0; row < read; ++row) {
            EXPECT_TRUE(rows[row].setting->equals(target->retrieveLockedSetting(rows[row].path)));
            paths.push_back(rows[row].path);
        }
        std::sort(paths.begin(), paths.end());
        paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
        EXPECT_EQ(paths, pathsOf(*target));
        EXPECT_EQ(number.operator->(), target->retrieveSetting("a/number").operator->());
        EXPECT_EQ("kept", get<std::string>(*target, "/x"));
        EXPECT_EQ(read == rows.size(),
                  target->retrieveSetting("b/blob").operator->() != replaced.operator->());
        EXPECT_EQ((Bytes{1, 2, 3}), valueBytes(*replaced));
        EXPECT_EQ(read == rows.size() ? 1u : 2u, referenceCount(*replaced));
        const unsigned char* buffer = nullptr;  // an empty binary value reads back as no buffer
        size_t length = 0;
        if (read > 15) {
            buffer = stream.data();
            length = 1;
            target->retrieveLockedSetting("14")->getLockedBinaryBuffer(&buffer, &length);
        }
        EXPECT_EQ(std::make_pair<const unsigned char*>(nullptr, size_t{0}),
                  std::make_pair(buffer, length));
        if (read > 1) {  // the settings read share the set's flag
            target->retrieveSetting("01")->setValue(false);
            EXPECT_TRUE(target->checkModified());
        }
    }
}

TEST(BinaryReader, HostileTypeCodesAndLengthsAreRefusedWithoutWrappingAround) {
    const StreamBuilder first = StreamBuilder().stringRecord("first", "ok");
    std::vector<StreamBuilder> streams;
    for (uint32_t type : {14u, 15u, 20u, 255u, 0x80000000u, 0xFFFFFFFFu}) {
        streams.push_back(StreamBuilder(first).record("a", type));  // and nothing after it
    }
    // Lengths near 2^64 must not wrap around when added to the read position.
    const uint64_t max = std::numeric_limits<uint64_t>::max();
    const uint32_t uint32 = ISetting::uint32Type;
    for (uint64_t length : {max, max - 7, max - 11, max - 30, uint64_t{1} << 63, uint64_t{1000}}) {
        streams.push_back(StreamBuilder(first).u64(length).text("p").raw(&uint32, 4).text("1234"));
        streams.push_back(StreamBuilder().record("s", ISetting::stringType).u64(length).text("a"));
        streams.push_back(StreamBuilder().record("w", ISetting::unicodeString).u64(length));
    }
    streams.push_back(StreamBuilder().record("b", ISetting::binaryType).u64(1000).text("abc"));
    for (size_t stream = 0; stream < streams.size(); ++stream) {
        SCOPED_TRACE(stream);
        expectRefused(streams[stream].bytes);
    }
    // A binary length no buffer can hold fails with the allocation failure, still changing nothing.
    expectRefused(StreamBuilder(first).record("b", ISetting::binaryType).u64(max - 15).bytes, true);
}

// Read, a NUL ends a path or string; a wide byte count that is no multiple of four reads the
// complete units only; the later of two records for one path wins; any non-zero bool byte is true.
TEST(BinaryReader, ValuesAreCutAtNulAndPartialUnitsAndTheNextRecordsAreStillRead) {
    const wchar_t units[] = {L'x', 0, L'y'};
    const wchar_t pq[] = {L'p', L'q'};
    const unsigned char boolBytes[] = {0xFF, 0, 2};
    for (size_t extra = 1; extra <= 3; ++extra) {
        SCOPED_TRACE(extra);
        const unsigned char boolByte = boolBytes[extra - 1];
        const AutoRefCounted<IConfigurationSet> set = newBinarySet();
        const Bytes form = StreamBuilder()
                               .stringRecord(std::string("a\0ignored", 9), std::string("v\0w", 3))
                               .stringRecord("b", std::string("\0x", 2))
                               .stringRecord("c", "first")
                               .record("c", ISetting::boolType)
                               .raw(&boolByte, 1)
                               .record("p", ISetting::unicodeString)
                               .u64(sizeof pq + extra)
                               .raw(pq, sizeof pq)
                               .text(std::string(extra, 'r'))
                               .record("w", ISetting::unicodeString)
                               .u64(sizeof units)
                               .raw(units, sizeof units)
                               .stringRecord("z", "after")
                               .bytes;
        set->unserialize(form.data(), form.size());
        EXPECT_EQ((std::vector<std::string>{"a", "b", "c", "p", "w", "z"}), pathsOf(*set));
        EXPECT_EQ("v", get<std::string>(*set, "a"));
        EXPECT_EQ("", get<std::string>(*set, "b"));
        EXPECT_EQ(boolByte != 0, get<bool>(*set, "c"));
        EXPECT_EQ(L"pq", get<std::wstring>(*set, "p"));
        EXPECT_EQ(L"x", get<std::wstring>(*set, "w"));
        EXPECT_EQ("after", get<std::string>(*set, "z"));
        const bool one = boolByte != 0;  // written back as 1
        const Bytes boolRecord = StreamBuilder().record("c", ISetting::boolType).raw(&one, 1).bytes;
        const Bytes written = serialize(*set);
        EXPECT_NE(written.end(), std::search(written.begin(), written.end(), boolRecord.begin(),
                                             boolRecord.end()));
    }
    // The writer keeps a NUL, and writes an unknown type as path and type code only.
    const AutoRefCounted<IConfigurationSet> odd = newBinarySet();
    const std::string withNul("a\0b", 3);
    odd->insertSetting(withNul, makeSetting(ISetting::stringType, withNul));
    const AutoRefCounted<ISetting> unknown(new Setting());
    unknown->initialize(static_cast<ISetting::Type>(20));
    odd->insertSetting("x", unknown);
    EXPECT_EQ(StreamBuilder().stringRecord(withNul, withNul).record("x", 20).bytes,
              serialize(*odd));
}

}  // namespace
