// A length query keeps the form it built for the call that follows. Whatever changes in between,
// through any handle, that call writes what a fresh walk over the set writes, for both formats.
#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/internal/KeptForm.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeSetting;

namespace {

std::vector<unsigned char> serializeInto(IConfigurationSet& set, size_t capacity) {
    std::vector<unsigned char> form(capacity);
    size_t written = 0;
    set.serialize(form.data(), form.size(), &written);
    form.resize(written);
    return form;
}

void expectChangesSeen(AutoRefCounted<IConfigurationSet> (*newSet)()) {
    unsigned char* blobBytes = nullptr;
    AutoRefCounted<ISetting> number;
    const AutoRefCounted<IConfigurationSet> set = newSet();
    const AutoRefCounted<IConfigurationSet> other = newSet();
    SCOPED_TRACE(*set->getType());
    // Each case: whether number first goes into another set too, whose flag it then reports to,
    // so that its changes pass unseen by this set's flag; and the change made after the query.
    const std::vector<std::pair<bool, std::function<void()>>> changes = {
        {false, [] {}},
        {false,
         [&] {
             number->setValue(uint32_t{99});
             set->checkModified();  // whoever clears the flag, the change is not forgotten
         }},
        {false, [&] { number->initialize(ISetting::int32Type); }},
        {false, [&] { blobBytes[2] = 0x55; }},  // through a buffer handed out before the query
        {false, [&] { set->insertSetting("c", makeSetting(ISetting::uint32Type, uint32_t{3})); }},
        {false,
         [&] {  // a read that replaces a setting
             const AutoRefCounted<IConfigurationSet> source = newSet();
             put(*source, "a/number", uint32_t{5});
             const std::vector<unsigned char> form = serialize(*source);
             set->unserialize(form.data(), form.size());
         }},
        {true, [&] { number->setValue(uint32_t{1234}); }},
    };
    for (size_t change = 0; change < changes.size(); ++change) {
        SCOPED_TRACE(change);
        set->removeAllSettings();
        other->removeAllSettings();
        number = makeSetting(ISetting::uint32Type, uint32_t{7});
        set->insertSetting("a/number", number);
        const AutoRefCounted<ISetting> blob = testsupport::makeBinarySetting({0xAA, 0xAA, 0xAA});
        set->insertSetting("b/blob", blob);
        size_t binaryLength = 0;
        blob->getBinaryBuffer(&blobBytes, &binaryLength);
        if (changes[change].first) {
            other->insertSetting("elsewhere", number);
        }
        size_t length = 0;
        EXPECT_THROW(set->serialize(nullptr, 0, &length),
                     IConfigurationSet::ConfigurationSetException);
        changes[change].second();
        const std::vector<unsigned char> afterQuery = serializeInto(*set, length + 64);
        EXPECT_FALSE(set->checkModified());
        EXPECT_EQ(serializeInto(*set, length + 64), afterQuery);
    }
}

TEST(KeptForm, TheCallAfterALengthQuerySeesEveryChangeMadeInBetween) {
    expectChangesSeen(testsupport::newBinarySet);
    expectChangesSeen([] { return AutoRefCounted<IConfigurationSet>(new XMLConfigurationSet()); });
}

// The form stays current from its build, stamped with the count of changes before it, until the
// next change or until it is taken out.
TEST(KeptForm, IsCurrentFromItsBuildUntilTheNextChangeOrItsUse) {
    const AutoRefCounted<SharedFlag> flag(new SharedFlag(false));
    flag->flag();
    KeptForm form(*flag);
    for (const bool taken : {true, false}) {
        form.build([](KeptForm& kept) { kept.bytes().putBytes("ab", 2); });
        EXPECT_TRUE(form.isCurrent());
        if (taken) {
            EXPECT_EQ(2u, form.take().size());
        } else {
            flag->flag();
        }
        EXPECT_FALSE(form.isCurrent());
    }
}

}  // namespace
