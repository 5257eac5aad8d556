#include <gtest/gtest.h>

#include <orvandel/configuration/internal/Setting.h>

using namespace com::orvandel;
using namespace com::orvandel::configuration;

TEST(Setting, AFreshSettingIsABooleanHoldingFalse) {
    AutoRefCounted<ISetting> setting(new Setting());
    EXPECT_EQ(ISetting::boolType, setting->getType());
    bool value = true;
    setting->getValue(&value);
    EXPECT_FALSE(value);
}
