// Compiled by the build-level tests only. As it stands it must compile cleanly; with one REFUSE_*
// macro defined the compiler must refuse it with the layer's own message.
#include <orvandel/configuration/Convenience.h>

#include <string_view>

using namespace com::orvandel::configuration;

static_assert(SettingTypeOf<std::decay_t<const char (&)[5]>>::type == ISetting::stringType);
static_assert(SettingTypeOf<uint16_t>::type == ISetting::uint16Type);
static_assert(SettingTypeOf<int8_t>::type == ISetting::charType);

void use(IConfigurationSet& set) {
    put(set, "a/b", "text");
    put(set, "p", uint16_t{8080});
#if defined(REFUSE_LONG_DOUBLE)
    put(set, "x", 1.5L);
#elif defined(REFUSE_PLAIN_CHAR)
    put(set, "x", 'c');
#elif defined(REFUSE_LONG_LONG)
    put(set, "x", 1LL);
#elif defined(REFUSE_VIEW_READ)
    get<std::string_view>(set, "x");
#elif defined(REFUSE_TEXT_FALLBACK_FOR_BOOL)
    get<bool>(set, "x", "no");
#endif
    get<bool>(set, "x", true);
    get<std::string>(set, "x", "text");
}
