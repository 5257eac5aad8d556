// Reference counts held by AutoRefCounted handles and the conversion functions, lifetimes ending
// exactly at the last release, and the shared modified flag.
#include <gtest/gtest.h>

#include <orvandel/configuration/internal/SharedFlag.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::referenceCount;

namespace {

// A counted object that records how many of its kind have been destroyed.
class Probe : public RefCounted<IRefCounted> {
  public:
    inline static int sd_destroyed = 0;

  protected:
    ~Probe() override { ++sd_destroyed; }
};

// Release returns the remaining count; handles from raw pointers, copies, assignments (to itself
// too), moves, get() and casts each hold or hand over exactly one reference; the object goes with
// the last one.
TEST(RefCounting, HandlesHoldOneReferenceEachAndTheLastOneDestroys) {
    Probe::sd_destroyed = 0;
    Probe* probe = new Probe();
    EXPECT_EQ(2u, probe->addRef());
    EXPECT_EQ(1u, probe->release());
    auto* first = new AutoRefCounted<Probe>(make_autorefcounted_this(probe));
    AutoRefCounted<Probe> second(*first);
    auto locked = make_autorefcounted_this(static_cast<const Probe*>(probe));
    EXPECT_EQ(4u, referenceCount(*second));
    delete first;
    probe->release();
    const AutoRefCounted<Probe>& alias = second;
    second = alias;
    EXPECT_EQ(2u, referenceCount(*second));
    AutoRefCounted<Probe> third(second);
    second = third;
    EXPECT_EQ(3u, referenceCount(*second));
    AutoRefCounted<Probe> other(new Probe());
    third = other;
    second = other;
    EXPECT_EQ(0, Probe::sd_destroyed);
    locked = AutoRefCounted<const Probe>();
    EXPECT_EQ(1, Probe::sd_destroyed);  // with its last handle
    EXPECT_EQ(3u, referenceCount(*other));
    third = AutoRefCounted<Probe>();
    EXPECT_TRUE(!third);
    AutoRefCounted<Probe> moved(std::move(second));
    EXPECT_TRUE(!second);  // NOLINT(bugprone-use-after-move): the moved-from state is specified
    third = AutoRefCounted<Probe>(new Probe());
    third = std::move(moved);
    EXPECT_EQ(2, Probe::sd_destroyed);
    EXPECT_EQ(2u, referenceCount(*third));
    Probe* raw = third.get();  // adds a reference that another handle can adopt
    EXPECT_EQ(third.operator->(), raw);
    EXPECT_EQ(&*third, raw);
    EXPECT_EQ(3u, referenceCount(*third));
    { const AutoRefCounted<Probe> adopted(raw); }
    EXPECT_EQ(2u, referenceCount(*third));
    EXPECT_EQ(nullptr, AutoRefCounted<Probe>().get());
    EXPECT_TRUE(third != 0);
    EXPECT_FALSE(third != third.operator->());
    EXPECT_FALSE(AutoRefCounted<Probe>() != 0);
    {
        const AutoRefCounted<IRefCounted> base = static_pointer_cast<IRefCounted>(third);
        const AutoRefCounted<const Probe> back =
            const_pointer_cast<const Probe>(static_pointer_cast<Probe>(base));
        EXPECT_EQ(third.operator->(), back.operator->());
        EXPECT_EQ(4u, referenceCount(*third));
        other = third = AutoRefCounted<Probe>();
        EXPECT_EQ(2u, referenceCount(*back));
    }
    EXPECT_EQ(3, Probe::sd_destroyed);
    EXPECT_TRUE(!static_pointer_cast<Probe>(AutoRefCounted<IRefCounted>()));
    EXPECT_TRUE(!const_pointer_cast<const Probe>(AutoRefCounted<Probe>()));
}

// checkFlagged reports a raised flag once and clears it. A setting keeps its flag alive and drops
// the old one when given another.
TEST(SharedFlagTest, ReportsOnceAndLivesAsLongAsASettingHoldsIt) {
    EXPECT_TRUE(AutoRefCounted<SharedFlag>(new SharedFlag(true))->checkFlagged());
    AutoRefCounted<SharedFlag> flag(new SharedFlag(false));
    SharedFlag* raw = flag.operator->();
    const AutoRefCounted<SharedFlag> old(new SharedFlag(false));
    const AutoRefCounted<Setting> setting(new Setting());
    setting->setModifiedFlag(old);
    setting->setModifiedFlag(flag);
    flag = AutoRefCounted<SharedFlag>();
    EXPECT_EQ(1u, referenceCount(*old));
    EXPECT_EQ(1u, referenceCount(*raw));
    setting->setValue(true);
    EXPECT_FALSE(old->isFlagged());
    EXPECT_TRUE(raw->isFlagged());
    EXPECT_TRUE(raw->checkFlagged());
    EXPECT_FALSE(raw->checkFlagged());
}

}  // namespace
