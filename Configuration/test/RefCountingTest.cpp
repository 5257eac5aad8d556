// Reference counts held by AutoRefCounted handles and the free conversion functions, object
// lifetimes ending exactly at the last release, and the shared modified flag.
#include <gtest/gtest.h>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/internal/RefCounted.h>
#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/SharedFlag.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::referenceCount;

namespace {

// A counted object that records how many of its kind have been destroyed.
class Probe : public RefCounted<IRefCounted> {
  public:
    static int sd_destroyed;

  protected:
    ~Probe() override { ++sd_destroyed; }
};

int Probe::sd_destroyed = 0;

class RefCounting : public testing::Test {
  protected:
    void SetUp() override { Probe::sd_destroyed = 0; }
};

TEST_F(RefCounting, ReleaseReturnsTheRemainingCountAndDestroysOnlyAtZero) {
    Probe* probe = new Probe();
    EXPECT_EQ(2u, probe->addRef());
    EXPECT_EQ(3u, probe->addRef());
    EXPECT_EQ(2u, probe->release());
    EXPECT_EQ(1u, probe->release());
    EXPECT_EQ(0, Probe::sd_destroyed);
    EXPECT_EQ(0u, probe->release());
    EXPECT_EQ(1, Probe::sd_destroyed);
}

TEST_F(RefCounting, CopiesTakeAReferenceAndTheLastHandleDestroys) {
    {
        AutoRefCounted<Probe>* first = new AutoRefCounted<Probe>(new Probe());
        EXPECT_EQ(1u, referenceCount(**first));
        const AutoRefCounted<Probe> second(*first);
        EXPECT_EQ(2u, referenceCount(*second));
        delete first;
        EXPECT_EQ(1u, referenceCount(*second));
        EXPECT_EQ(0, Probe::sd_destroyed);
        const AutoRefCounted<Probe> empty;
        EXPECT_TRUE(!AutoRefCounted<Probe>(empty));
    }
    EXPECT_EQ(1, Probe::sd_destroyed);
}

TEST_F(RefCounting, AssigningTheSameObjectKeepsTheCount) {
    AutoRefCounted<Probe> first(new Probe());
    const AutoRefCounted<Probe>& alias = first;
    first = alias;
    EXPECT_EQ(1u, referenceCount(*first));
    AutoRefCounted<Probe> second(first);
    first = second;
    EXPECT_EQ(2u, referenceCount(*first));
    second = first;
    EXPECT_EQ(2u, referenceCount(*second));
    EXPECT_EQ(0, Probe::sd_destroyed);
}

TEST_F(RefCounting, AssignmentAndMovesHandTheReferenceOver) {
    AutoRefCounted<Probe> target(new Probe());
    const AutoRefCounted<Probe> other(new Probe());
    target = other;
    EXPECT_EQ(1, Probe::sd_destroyed);
    EXPECT_EQ(2u, referenceCount(*other));
    target = AutoRefCounted<Probe>();
    EXPECT_TRUE(!target);
    EXPECT_EQ(1u, referenceCount(*other));

    AutoRefCounted<Probe> source(new Probe());
    AutoRefCounted<Probe> moved(std::move(source));
    EXPECT_TRUE(!source);  // NOLINT(bugprone-use-after-move): the moved-from state is specified
    EXPECT_EQ(1u, referenceCount(*moved));
    target = AutoRefCounted<Probe>(new Probe());
    target = std::move(moved);
    EXPECT_EQ(2, Probe::sd_destroyed);
    EXPECT_EQ(1u, referenceCount(*target));
}

TEST_F(RefCounting, GetAddsAReferenceThatAnotherHandleCanAdopt) {
    EXPECT_EQ(nullptr, AutoRefCounted<Probe>().get());
    const AutoRefCounted<Probe> handle(new Probe());
    Probe* raw = handle.get();
    EXPECT_EQ(handle.operator->(), raw);
    EXPECT_EQ(&*handle, raw);
    EXPECT_EQ(2u, referenceCount(*handle));
    {
        const AutoRefCounted<Probe> adopted(raw);
        EXPECT_EQ(2u, referenceCount(*handle));
    }
    EXPECT_EQ(1u, referenceCount(*handle));
    EXPECT_EQ(0, Probe::sd_destroyed);
}

TEST_F(RefCounting, CastsHoldAReferenceOfTheirOwn) {
    const AutoRefCounted<Setting> setting(new Setting());
    {
        const AutoRefCounted<ISetting> up = static_pointer_cast<ISetting>(setting);
        EXPECT_EQ(2u, referenceCount(*setting));
        EXPECT_EQ(static_cast<ISetting*>(setting.operator->()), up.operator->());
        const AutoRefCounted<Setting> down = static_pointer_cast<Setting>(up);
        EXPECT_EQ(setting.operator->(), down.operator->());
        const AutoRefCounted<const ISetting> locked = const_pointer_cast<const ISetting>(up);
        EXPECT_EQ(up.operator->(), locked.operator->());
        EXPECT_EQ(4u, referenceCount(*setting));
    }
    EXPECT_EQ(1u, referenceCount(*setting));
    const AutoRefCounted<ISetting> empty;
    EXPECT_TRUE(!static_pointer_cast<Setting>(empty));
    EXPECT_TRUE(!const_pointer_cast<const ISetting>(empty));
}

TEST_F(RefCounting, StaticPointerCastOfTheLastOtherHandleKeepsTheObjectAlive) {
    AutoRefCounted<IRefCounted> base;
    {
        const AutoRefCounted<Probe> probe(new Probe());
        base = static_pointer_cast<IRefCounted>(probe);
    }
    EXPECT_EQ(0, Probe::sd_destroyed);
    EXPECT_EQ(1u, referenceCount(*base));
    base = AutoRefCounted<IRefCounted>();
    EXPECT_EQ(1, Probe::sd_destroyed);
}

TEST_F(RefCounting, MakeAutorefcountedThisAddsAReferenceForTheHandle) {
    Probe* probe = new Probe();
    {
        const AutoRefCounted<Probe> handle = make_autorefcounted_this(probe);
        const AutoRefCounted<const Probe> locked =
            make_autorefcounted_this(static_cast<const Probe*>(probe));
        EXPECT_EQ(3u, referenceCount(*probe));
    }
    EXPECT_EQ(1u, referenceCount(*probe));
    EXPECT_EQ(0, Probe::sd_destroyed);
    probe->release();
    EXPECT_EQ(1, Probe::sd_destroyed);
}

TEST_F(RefCounting, ComparingWithNullAsksWhetherTheHandleHoldsAnObjectAndCountsNothing) {
    const AutoRefCounted<Probe> empty;
    const AutoRefCounted<Probe> full(new Probe());
    EXPECT_FALSE(empty != 0);
    EXPECT_TRUE(full != 0);
    EXPECT_EQ(1u, referenceCount(*full));
    EXPECT_FALSE(full != full.operator->());
    EXPECT_TRUE(!empty);
    EXPECT_FALSE(!full);
}

TEST(SharedFlagTest, CheckFlaggedReportsARaisedFlagOnceAndClearsIt) {
    const AutoRefCounted<SharedFlag> flag(new SharedFlag(false));
    EXPECT_FALSE(flag->checkFlagged());
    flag->flag();
    EXPECT_TRUE(flag->isFlagged());
    EXPECT_TRUE(flag->isFlagged());
    EXPECT_TRUE(flag->checkFlagged());
    EXPECT_FALSE(flag->isFlagged());
    EXPECT_FALSE(flag->checkFlagged());
    const AutoRefCounted<SharedFlag> raised(new SharedFlag(true));
    EXPECT_TRUE(raised->checkFlagged());
}

TEST(SharedFlagTest, LivesAsLongAsASettingHoldsIt) {
    AutoRefCounted<SharedFlag> flag(new SharedFlag(false));
    SharedFlag* raw = flag.operator->();
    const AutoRefCounted<Setting> setting(new Setting());
    setting->setModifiedFlag(flag);
    EXPECT_EQ(2u, referenceCount(*raw));
    flag = AutoRefCounted<SharedFlag>();
    EXPECT_EQ(1u, referenceCount(*raw));
    setting->setValue(true);
    EXPECT_TRUE(raw->isFlagged());
}

TEST(SharedFlagTest, ASettingGivenAnotherFlagDropsItsReferenceToTheOldOne) {
    const AutoRefCounted<SharedFlag> first(new SharedFlag(false));
    const AutoRefCounted<SharedFlag> second(new SharedFlag(false));
    const AutoRefCounted<Setting> setting(new Setting());
    setting->setModifiedFlag(first);
    setting->setModifiedFlag(second);
    EXPECT_EQ(1u, referenceCount(*first));
    EXPECT_EQ(2u, referenceCount(*second));
    setting->setValue(true);
    EXPECT_FALSE(first->isFlagged());
    EXPECT_TRUE(second->isFlagged());
}

}  // namespace
