/* The flat interface as a C program sees it: compiled as C and linked to the shared library.
 * Every function is called for its null checks, its outputs and its failures; the last error
 * message is checked wherever a call fails. Prints one line per failed check and a summary. */
#include <orvandel/configuration/ConfigurationAPI.h>

#include <stdio.h>
#include <string.h>
#include <wchar.h>

static int passed;
static int failed;

static void check(bool ok, const char* text, const char* file, int line) {
    if (ok) {
        ++passed;
    } else {
        ++failed;
        fprintf(stderr, "%s:%d: check failed: %s\n", file, line, text);
    }
}

#define CHECK(condition) check((condition), #condition, __FILE__, __LINE__)

/* Checks that every result of a table of calls is the expected code; a failure names the
 * position of the call in the table. The calls must not depend on each other's order. */
static void checkAll(uint32_t expected, const uint32_t* results, size_t count, const char* file,
                     int line) {
    size_t i;
    for (i = 0; i < count; ++i) {
        char text[64];
        snprintf(text, sizeof text, "call %u of the table returned %u, not %u", (unsigned)i,
                 (unsigned)results[i], (unsigned)expected);
        check(results[i] == expected, text, file, line);
    }
}

#define CHECK_ALL(expected, ...)                                                                  \
    do {                                                                                          \
        const uint32_t results_[] = {__VA_ARGS__};                                                \
        checkAll((expected), results_, sizeof results_ / sizeof results_[0], __FILE__, __LINE__); \
    } while (0)

/* The calling thread's last error message, in a static buffer. */
static const char* lastError(void) {
    static unsigned char text[512];
    uint32_t required = 0;
    if (Configuration_getLastErrorMessage(text, sizeof text, &required) != 0) {
        return "<message does not fit>";
    }
    return (const char*)text;
}

#define CHECK_MESSAGE(expected) \
    check(strcmp(lastError(), (expected)) == 0, lastError(), __FILE__, __LINE__)

/* The message names what it must: a file, a position, a path. */
#define CHECK_MESSAGE_HAS(part) \
    check(strstr(lastError(), (part)) != NULL, lastError(), __FILE__, __LINE__)

static const unsigned char* u(const char* text) {
    return (const unsigned char*)text;
}

static void* newSet(const char* type) {
    void* set = NULL;
    CHECK(ConfigurationSetFactory_createConfigurationSet(u(type), &set) == 0);
    return set;
}

static void* newSetting(uint32_t mappedType) {
    void* setting = NULL;
    CHECK(ConfigurationSetFactory_createSetting(&setting) == 0);
    CHECK(Setting_initialize(setting, mappedType) == 0);
    return setting;
}

/* Inserts a uint32 setting holding value at path; the caller's reference is given back. */
static void insertUint32(void* set, const char* path, uint32_t value) {
    void* setting = newSetting(ConfigurationSettingType_uint32);
    CHECK(Setting_setUINT32(setting, value) == 0);
    CHECK(ConfigurationSet_insertSetting(set, u(path), setting) == 0);
    CHECK(Setting_releaseInstance(setting) == 0);
}

static uint32_t uint32At(void* set, const char* path) {
    void* setting = NULL;
    uint32_t value = 0;
    CHECK(ConfigurationSet_retrieveSetting(set, u(path), &setting) == 0);
    CHECK(Setting_getUINT32(setting, &value) == 0);
    CHECK(Setting_releaseInstance(setting) == 0);
    return value;
}

static void theFactoryCreatesSetsOfTheExactTypeNamesOnly(void) {
    const char* names[] = {"ConfigurationSet", "BinaryConfigurationSet", "XMLConfigurationSet"};
    const char* wrong[] = {"binaryconfigurationset", "BinaryConfigurationSet ", ""};
    unsigned char type[64];
    uint32_t required = 0;
    void* set = NULL;
    size_t i;
    for (i = 0; i < sizeof names / sizeof names[0]; ++i) {
        set = newSet(names[i]);
        CHECK(ConfigurationSet_getType(set, type, sizeof type, &required) == 0);
        CHECK(strcmp((const char*)type, names[i]) == 0);
        CHECK(ConfigurationSet_releaseInstance(set) == 0);
    }
    for (i = 0; i < sizeof wrong / sizeof wrong[0]; ++i) {
        set = &required;
        CHECK(ConfigurationSetFactory_createConfigurationSet(u(wrong[i]), &set) ==
              ConfigurationResult_unsupportedType);
        CHECK(set == &required);
    }
    CHECK_MESSAGE("unknown configuration set type ''");
    CHECK(ConfigurationSetFactory_createConfigurationSet(NULL, &set) == 1);
    CHECK_MESSAGE("argument 'type' of ConfigurationSetFactory_createConfigurationSet is null");
    CHECK(ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), NULL) == 1);
    CHECK(ConfigurationSetFactory_createSetting(NULL) == 1);
    CHECK_MESSAGE("argument 'instance' of ConfigurationSetFactory_createSetting is null");
}

static void everyFunctionRefusesANullHandle(void) {
    unsigned char bytes[8];
    wchar_t wide[8];
    uint32_t number = 0;
    uint64_t number64 = 0;
    int16_t signed16 = 0;
    int32_t signed32 = 0;
    int64_t signed64 = 0;
    uint16_t unsigned16 = 0;
    unsigned char uchar = 0;
    signed char schar = 0;
    float single = 0;
    double twice = 0;
    bool flag = false;
    void* handle = NULL;
    void* other = newSetting(ConfigurationSettingType_bool);

    CHECK_ALL(
        1, ConfigurationSet_getType(NULL, bytes, sizeof bytes, &number),
        ConfigurationSet_capLoadAndSave(NULL, &flag), ConfigurationSet_load(NULL, u("x.cfg")),
        ConfigurationSet_save(NULL, u("x.cfg")), ConfigurationSet_capSerialize(NULL, &flag),
        ConfigurationSet_unserialize(NULL, bytes, 0),
        ConfigurationSet_serialize(NULL, bytes, sizeof bytes, &number),
        ConfigurationSet_checkModified(NULL, &flag),
        ConfigurationSet_retrieveSetting(NULL, u("a"), &handle),
        ConfigurationSet_retrieveSettingByIndex(NULL, u(""), 0, &handle, bytes, 8, &number),
        ConfigurationSet_insertSetting(NULL, u("a"), other),
        ConfigurationSet_getSettingCount(NULL, &number),
        ConfigurationSet_removeSetting(NULL, u("a")), ConfigurationSet_removeAllSettings(NULL),
        ConfigurationSet_equals(NULL, other, &flag), ConfigurationSet_releaseInstance(NULL),
        Setting_initialize(NULL, 1), Setting_getType(NULL, &number),
        Setting_equals(NULL, other, &flag), Setting_releaseInstance(NULL),
        Setting_getBoolean(NULL, &number), Setting_setBoolean(NULL, 1),
        Setting_getUCHAR(NULL, &uchar), Setting_setUCHAR(NULL, 1),
        Setting_getUINT16(NULL, &unsigned16), Setting_setUINT16(NULL, 1),
        Setting_getUINT32(NULL, &number), Setting_setUINT32(NULL, 1),
        Setting_getUINT64(NULL, &number64), Setting_setUINT64(NULL, 1),
        Setting_getCHAR(NULL, &schar), Setting_setCHAR(NULL, 1), Setting_getINT16(NULL, &signed16),
        Setting_setINT16(NULL, 1), Setting_getINT32(NULL, &signed32), Setting_setINT32(NULL, 1),
        Setting_getINT64(NULL, &signed64), Setting_setINT64(NULL, 1),
        Setting_getFLOAT(NULL, &single), Setting_setFLOAT(NULL, 1), Setting_getDOUBLE(NULL, &twice),
        Setting_setDOUBLE(NULL, 1), Setting_getString(NULL, bytes, sizeof bytes, &number),
        Setting_setString(NULL, u("x")), Setting_getUnicodeString(NULL, wide, 8, &number),
        Setting_setUnicodeString(NULL, L"x"),
        Setting_getBinaryBuffer(NULL, bytes, sizeof bytes, &number),
        Setting_setBinaryBuffer(NULL, bytes, sizeof bytes), Setting_getBinaryLength(NULL, &number),
        Setting_resizeBinaryBuffer(NULL, &number));
    CHECK(ConfigurationSet_getType(NULL, bytes, sizeof bytes, &number) == 1);
    CHECK_MESSAGE("argument 'instance' of ConfigurationSet_getType is null");
    CHECK(ConfigurationSet_releaseInstance(NULL) == 1);
    CHECK_MESSAGE("argument 'instance' of ConfigurationSet_releaseInstance is null");
    CHECK(Setting_resizeBinaryBuffer(NULL, &number) == 1);
    CHECK_MESSAGE("argument 'instance' of Setting_resizeBinaryBuffer is null");
    CHECK(handle == NULL);
    CHECK(Setting_releaseInstance(other) == 0);
}

/* Each null pointer after the handle gives 1 and changes nothing: the set stays empty and
 * unmodified, the setting keeps its value and outputs keep what the caller put there. */
static void nullArgumentsAreRefusedWithoutSideEffects(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* setting = newSetting(ConfigurationSettingType_uint32);
    void* handle = &set;
    unsigned char bytes[8] = "keep";
    uint32_t number = 99;
    bool flag = false;

    CHECK(Setting_setUINT32(setting, 5) == 0);
    CHECK_ALL(
        1, ConfigurationSet_getType(set, bytes, sizeof bytes, NULL),
        ConfigurationSet_getType(set, NULL, 5, &number), ConfigurationSet_capLoadAndSave(set, NULL),
        ConfigurationSet_load(set, NULL), ConfigurationSet_save(set, NULL),
        ConfigurationSet_capSerialize(set, NULL), ConfigurationSet_unserialize(set, NULL, 0),
        ConfigurationSet_serialize(set, NULL, 4, &number),
        ConfigurationSet_serialize(set, bytes, sizeof bytes, NULL),
        ConfigurationSet_checkModified(set, NULL),
        ConfigurationSet_retrieveSetting(set, NULL, &handle),
        ConfigurationSet_retrieveSetting(set, u("a"), NULL),
        ConfigurationSet_retrieveSettingByIndex(set, NULL, 0, &handle, bytes, 8, &number),
        ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, NULL, bytes, 8, &number),
        ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &handle, NULL, 8, &number),
        ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &handle, bytes, 8, NULL),
        ConfigurationSet_insertSetting(set, NULL, setting),
        ConfigurationSet_insertSetting(set, u("a"), NULL),
        ConfigurationSet_getSettingCount(set, NULL), ConfigurationSet_removeSetting(set, NULL),
        ConfigurationSet_equals(set, NULL, &flag), ConfigurationSet_equals(set, set, NULL),
        Setting_getType(setting, NULL), Setting_equals(setting, NULL, &flag),
        Setting_equals(setting, setting, NULL), Setting_getUINT32(setting, NULL),
        Setting_getString(setting, NULL, 3, &number), Setting_getString(setting, bytes, 3, NULL),
        Setting_setString(setting, NULL), Setting_getUnicodeString(setting, NULL, 3, &number),
        Setting_setUnicodeString(setting, NULL), Setting_getBinaryBuffer(setting, NULL, 3, &number),
        Setting_setBinaryBuffer(setting, NULL, 0), Setting_getBinaryLength(setting, NULL),
        Setting_resizeBinaryBuffer(setting, NULL));
    CHECK(ConfigurationSet_getType(set, bytes, sizeof bytes, NULL) == 1);
    CHECK_MESSAGE("argument 'reqLength' of ConfigurationSet_getType is null");
    CHECK(ConfigurationSet_getType(set, NULL, 5, &number) == 1);
    CHECK_MESSAGE("argument 'buffer' of ConfigurationSet_getType is null");
    CHECK(ConfigurationSet_unserialize(set, NULL, 0) == 1);
    CHECK_MESSAGE("argument 'in' of ConfigurationSet_unserialize is null");
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &handle, bytes, 8, NULL) == 1);
    CHECK_MESSAGE(
        "argument 'reqPathBufferLengthCharsInclNULL' of "
        "ConfigurationSet_retrieveSettingByIndex is null");
    CHECK(Setting_getUINT32(setting, NULL) == 1);
    CHECK_MESSAGE("argument 'value' of Setting_getUINT32 is null");

    CHECK(handle == &set && number == 99 && strcmp((const char*)bytes, "keep") == 0);
    CHECK(ConfigurationSet_getSettingCount(set, &number) == 0 && number == 0);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && !flag);
    CHECK(Setting_getUINT32(setting, &number) == 0 && number == 5);
    CHECK_ALL(0, Setting_releaseInstance(setting), ConfigurationSet_releaseInstance(set));
}

static void theTypeNameFollowsTheOutputBufferProtocolAndCapabilitiesFollowTheType(void) {
    void* set = newSet("BinaryConfigurationSet");
    unsigned char name[23];
    uint32_t required = 0;
    bool loadSave = false;
    bool serialize = false;
    CHECK(ConfigurationSet_capLoadAndSave(set, &loadSave) == 0 && loadSave);
    CHECK(ConfigurationSet_capSerialize(set, &serialize) == 0 && serialize);
    memset(name, 'x', sizeof name);
    CHECK(ConfigurationSet_getType(set, name, 22, &required) == 6);
    CHECK(required == 23 && name[0] == 'x');
    CHECK_MESSAGE("buffer too small: 23 required, 22 available");
    required = 0;
    CHECK(ConfigurationSet_getType(set, NULL, 0, &required) == 6 && required == 23);
    CHECK(ConfigurationSet_getType(set, name, 23, &required) == 0 && required == 23);
    CHECK(strcmp((const char*)name, "BinaryConfigurationSet") == 0);
    CHECK(ConfigurationSet_releaseInstance(set) == 0);

    set = newSet("ConfigurationSet");
    CHECK(ConfigurationSet_capLoadAndSave(set, &loadSave) == 0 && !loadSave);
    CHECK(ConfigurationSet_capSerialize(set, &serialize) == 0 && !serialize);
    CHECK(ConfigurationSet_releaseInstance(set) == 0);
}

static void serializingTwiceWithTheReportedLengthRoundTrips(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* copy = newSet("BinaryConfigurationSet");
    void* plain = newSet("ConfigurationSet");
    unsigned char form[256];
    uint32_t required = 0;
    uint32_t kept = 1234;
    bool equal = false;
    bool modified = false;

    CHECK(ConfigurationSet_serialize(set, NULL, 0, &required) == 0 && required == 0);
    insertUint32(set, "group/value", 7);
    insertUint32(set, "group/other", 8);
    CHECK(ConfigurationSet_serialize(set, NULL, 0, &required) == 6);
    CHECK(required > 0 && required <= sizeof form);
    {
        char expected[64];
        snprintf(expected, sizeof expected, "buffer too small: %u required, 0 available",
                 (unsigned)required);
        CHECK(strcmp(lastError(), expected) == 0);
    }
    CHECK(ConfigurationSet_serialize(set, form, required, &kept) == 0 && kept == required);
    CHECK(ConfigurationSet_checkModified(set, &modified) == 0 && !modified);
    CHECK(ConfigurationSet_unserialize(copy, form, required) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &equal) == 0 && equal);
    CHECK(uint32At(copy, "group/value") == 7);

    kept = 1234;
    CHECK(ConfigurationSet_serialize(plain, form, sizeof form, &kept) == 4 && kept == 1234);
    CHECK_MESSAGE("a set of type 'ConfigurationSet' cannot serialize");
    CHECK(ConfigurationSet_unserialize(plain, form, required) == 4);
    CHECK_MESSAGE("a set of type 'ConfigurationSet' cannot unserialize");
    CHECK(ConfigurationSet_unserialize(copy, form, required - 1) == 5);
    CHECK_MESSAGE_HAS("record of path 'group/value': truncated");
    CHECK(ConfigurationSet_unserialize(copy, form, 0) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &equal) == 0 && equal);

    CHECK_ALL(0, ConfigurationSet_releaseInstance(set), ConfigurationSet_releaseInstance(copy),
              ConfigurationSet_releaseInstance(plain));
}

static void fileFailuresAreStoppedAtTheBoundary(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* loaded = newSet("BinaryConfigurationSet");
    void* plain = newSet("ConfigurationSet");
    bool equal = false;
    FILE* probe;

    insertUint32(set, "group/value", 7);
    CHECK(ConfigurationSet_save(set, u("capi-test.cfg")) == 0);
    CHECK(ConfigurationSet_load(loaded, u("capi-test.cfg")) == 0);
    CHECK(ConfigurationSet_equals(set, loaded, &equal) == 0 && equal);

    CHECK(ConfigurationSet_load(loaded, u("capi-missing.cfg")) ==
          ConfigurationResult_serializationFailure);
    CHECK_MESSAGE("cannot open 'capi-missing.cfg': No such file or directory");
    CHECK(ConfigurationSet_save(set, u("capi-no-such-directory/x.cfg")) == 5);
    CHECK_MESSAGE("cannot write 'capi-no-such-directory/x.cfg': No such file or directory");
    CHECK(ConfigurationSet_equals(set, loaded, &equal) == 0 && equal);

    CHECK(ConfigurationSet_save(plain, u("capi-plain.cfg")) == 4);
    CHECK_MESSAGE("a set of type 'ConfigurationSet' cannot save");
    probe = fopen("capi-plain.cfg", "rb");
    CHECK(probe == NULL);
    CHECK(ConfigurationSet_load(plain, u("capi-test.cfg")) == 4);

    remove("capi-test.cfg");
    CHECK_ALL(0, ConfigurationSet_releaseInstance(set), ConfigurationSet_releaseInstance(loaded),
              ConfigurationSet_releaseInstance(plain));
}

static void xmlFailuresAreStoppedAtTheBoundary(void) {
    const char* badValue =
        "<configuration><setting name=\"x\" type=\"uint32\">abc</setting></configuration>";
    void* set = newSet("XMLConfigurationSet");
    void* copy = newSet("XMLConfigurationSet");
    unsigned char form[512];
    uint32_t length = 0;
    bool equal = false;
    FILE* file;

    insertUint32(set, "group/value", 7);
    CHECK(ConfigurationSet_serialize(set, form, sizeof form, &length) == 0);
    CHECK(ConfigurationSet_unserialize(copy, form, length) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &equal) == 0 && equal);

    /* A branch segment that is no XML name is refused by the XML library itself. */
    insertUint32(set, "1 bad/value", 1);
    CHECK(ConfigurationSet_serialize(set, form, sizeof form, &length) == 5);
    CHECK_MESSAGE_HAS("path '1 bad/value': the branch segment '1 bad' is not an XML name");
    remove("capi-unwritten.xml");
    CHECK(ConfigurationSet_save(set, u("capi-unwritten.xml")) == 5);
    CHECK_MESSAGE_HAS("capi-unwritten.xml: path '1 bad/value'");
    file = fopen("capi-unwritten.xml", "rb");
    CHECK(file == NULL);

    CHECK(ConfigurationSet_unserialize(copy, u(badValue), (uint32_t)strlen(badValue)) == 5);
    CHECK_MESSAGE_HAS("line 1, column 48: path '/x': ");
    CHECK_MESSAGE_HAS("text 'abc'");
    CHECK(ConfigurationSet_unserialize(copy, u("<configuration"), 14) == 5);
    CHECK_MESSAGE_HAS("line 1, column 15: ");
    file = fopen("capi-bad-value.xml", "wb");
    CHECK(file != NULL);
    if (file != NULL) {
        fputs(badValue, file);
        fclose(file);
    }
    CHECK(ConfigurationSet_load(copy, u("capi-bad-value.xml")) == 5);
    CHECK_MESSAGE_HAS("capi-bad-value.xml:1:48: path '/x': ");
    file = fopen("capi-bad-syntax.xml", "wb");
    CHECK(file != NULL);
    if (file != NULL) {
        fputs("<configuration>\n  <group>\n    <group size=>\n</configuration>\n", file);
        fclose(file);
    }
    CHECK(ConfigurationSet_load(copy, u("capi-bad-syntax.xml")) == 5);
    CHECK_MESSAGE_HAS("capi-bad-syntax.xml:3:");
    remove("capi-bad-syntax.xml");
    CHECK(ConfigurationSet_removeSetting(set, u("1 bad/value")) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &equal) == 0 && equal);

    remove("capi-bad-value.xml");
    CHECK_ALL(0, ConfigurationSet_releaseInstance(set), ConfigurationSet_releaseInstance(copy));
}

static void lookupsInsertionAndRemovalReportPathsInTheirCodes(void) {
    void* set = newSet("ConfigurationSet");
    void* setting = newSetting(ConfigurationSettingType_uint32);
    void* found = &set;
    uint32_t count = 99;
    bool modified = false;

    CHECK(ConfigurationSet_retrieveSetting(set, u("a/b"), &found) == 7 && found == &set);
    CHECK_MESSAGE("no setting at path 'a/b'");
    CHECK(ConfigurationSet_insertSetting(set, u("a/b"), setting) == 0);
    CHECK(ConfigurationSet_checkModified(set, &modified) == 0 && modified);
    CHECK(ConfigurationSet_checkModified(set, &modified) == 0 && !modified);
    CHECK(ConfigurationSet_insertSetting(set, u("a/b"), setting) == 8);
    CHECK_MESSAGE("setting exists at path 'a/b'");
    CHECK(ConfigurationSet_checkModified(set, &modified) == 0 && !modified);
    CHECK(ConfigurationSet_retrieveSetting(set, u("a/b"), &found) == 0 && found == setting);
    CHECK(Setting_releaseInstance(found) == 0);

    /* A change through the caller's handle is a change of the stored setting. */
    CHECK(Setting_setUINT32(setting, 11) == 0);
    CHECK(ConfigurationSet_checkModified(set, &modified) == 0 && modified);
    CHECK(uint32At(set, "a/b") == 11);

    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0 && count == 1);
    CHECK(ConfigurationSet_removeSetting(set, u("x")) == 7);
    CHECK_MESSAGE("no setting at path 'x'");
    CHECK(ConfigurationSet_removeSetting(set, u("a/b")) == 0);
    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0 && count == 0);
    insertUint32(set, "c", 1);
    insertUint32(set, "d", 2);
    CHECK(ConfigurationSet_removeAllSettings(set) == 0);
    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0 && count == 0);
    CHECK(ConfigurationSet_checkModified(set, &modified) == 0 && modified);

    CHECK_ALL(0, Setting_releaseInstance(setting), ConfigurationSet_releaseInstance(set));
}

static void enumerationHandsOutSettingsEvenWhenThePathDoesNotFit(void) {
    const char* paths[] = {"a", "a/b", "a/c", "ab", "b"};
    void* set = newSet("ConfigurationSet");
    void* found = NULL;
    unsigned char path[8];
    uint32_t required = 0;
    uint32_t i;
    for (i = 0; i < 5; ++i) {
        insertUint32(set, paths[i], i);
    }
    for (i = 0; i < 4; ++i) {
        CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), i, &found, path, sizeof path,
                                                      &required) == 0);
        CHECK(strcmp((const char*)path, paths[i]) == 0 && required == strlen(paths[i]) + 1);
        CHECK(Setting_releaseInstance(found) == 0);
    }
    found = &set;
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), 4, &found, path, sizeof path,
                                                  &required) == 7);
    CHECK(found == &set);
    CHECK_MESSAGE("no setting at index 4 under branch 'a'");

    memset(path, 'x', sizeof path);
    required = 0;
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a/"), 1, &found, path, 3, &required) ==
          0);
    CHECK(required == 4 && path[0] == 'x');
    CHECK(found != &set);
    {
        uint32_t value = 0;
        CHECK(Setting_getUINT32(found, &value) == 0 && value == 2);
    }
    CHECK(Setting_releaseInstance(found) == 0);
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u(""), 4, &found, NULL, 0, &required) == 0);
    CHECK(required == 2);
    CHECK_ALL(0, Setting_releaseInstance(found), ConfigurationSet_releaseInstance(set));
}

static void setsCompareTheirPathsAndSettingsTheirTypeAndValue(void) {
    void* binary = newSet("BinaryConfigurationSet");
    void* plain = newSet("ConfigurationSet");
    void* a = newSetting(ConfigurationSettingType_uint32);
    void* b = newSetting(ConfigurationSettingType_uint32);
    bool equal = false;
    insertUint32(binary, "x", 1);
    insertUint32(plain, "y", 1);
    CHECK(ConfigurationSet_equals(binary, plain, &equal) == 0 && !equal);
    CHECK(ConfigurationSet_removeAllSettings(plain) == 0);
    insertUint32(plain, "x", 1);
    CHECK(ConfigurationSet_equals(binary, plain, &equal) == 0 && equal);
    CHECK(Setting_equals(a, b, &equal) == 0 && equal);
    CHECK(Setting_setUINT32(b, 3) == 0);
    CHECK(Setting_equals(a, b, &equal) == 0 && !equal);
    CHECK(Setting_initialize(b, ConfigurationSettingType_int32) == 0);
    CHECK(Setting_equals(a, b, &equal) == 0 && !equal);
    CHECK_ALL(0, ConfigurationSet_releaseInstance(binary), ConfigurationSet_releaseInstance(plain),
              Setting_releaseInstance(a), Setting_releaseInstance(b));
}

/* A fresh setting is a bool holding false; every type code reads back; others are refused. */
static void typeCodesRoundTripAndOutOfRangeCodesAreRefused(void) {
    void* setting = NULL;
    uint32_t code;
    uint32_t read = 7;
    CHECK(ConfigurationSetFactory_createSetting(&setting) == 0);
    CHECK(Setting_getType(setting, &read) == 0 && read == ConfigurationSettingType_bool);
    CHECK(Setting_getBoolean(setting, &read) == 0 && read == 0);
    CHECK(Setting_setBoolean(setting, 2) == 0);
    CHECK(Setting_getBoolean(setting, &read) == 0 && read == 1);
    for (code = 1; code <= 14; ++code) {
        CHECK(Setting_initialize(setting, code) == 0);
        CHECK(Setting_getType(setting, &read) == 0 && read == code);
    }
    CHECK(Setting_initialize(setting, 0) == 1);
    CHECK_MESSAGE("type code 0 is not between 1 and 14");
    CHECK(Setting_initialize(setting, 15) == 1);
    CHECK(Setting_getType(setting, &read) == 0 && read == 14);
    CHECK(Setting_releaseInstance(setting) == 0);
}

/* Sets and reads one scalar type, then checks that another type is refused. */
#define CHECK_SCALAR(CODE, SUFFIX, CTYPE, VALUE)                                   \
    do {                                                                           \
        CTYPE read = 0;                                                            \
        CHECK(Setting_initialize(setting, CODE) == 0);                             \
        CHECK(Setting_set##SUFFIX(setting, VALUE) == 0);                           \
        CHECK(Setting_get##SUFFIX(setting, &read) == 0 && read == (CTYPE)(VALUE)); \
        CHECK(Setting_initialize(setting, CODE == 4 ? 8 : 4) == 0);                \
        read = 0;                                                                  \
        CHECK(Setting_get##SUFFIX(setting, &read) == 3 && read == 0);              \
        CHECK(Setting_set##SUFFIX(setting, VALUE) == 3);                           \
    } while (0)

static void scalarsRoundTripAndRefuseOtherTypes(void) {
    void* setting = newSetting(ConfigurationSettingType_bool);
    int32_t kept = 42;
    CHECK_SCALAR(2, UCHAR, unsigned char, 200);
    CHECK_SCALAR(3, UINT16, uint16_t, 65000);
    CHECK_SCALAR(4, UINT32, uint32_t, 4000000000u);
    CHECK_SCALAR(5, UINT64, uint64_t, 18000000000000000000u);
    CHECK_SCALAR(6, CHAR, signed char, -100);
    CHECK_SCALAR(7, INT16, int16_t, -32000);
    CHECK_SCALAR(8, INT32, int32_t, -2000000000);
    CHECK_SCALAR(9, INT64, int64_t, -9000000000000000000);
    CHECK_SCALAR(10, FLOAT, float, 1.5f);
    CHECK_SCALAR(11, DOUBLE, double, -2.25);

    CHECK(Setting_initialize(setting, ConfigurationSettingType_uint32) == 0);
    CHECK(Setting_getINT32(setting, &kept) == 3 && kept == 42);
    CHECK_MESSAGE("type 'int32' expected, setting holds 'uint32'");
    CHECK(Setting_setBoolean(setting, 1) == 3);
    CHECK_MESSAGE("type 'bool' expected, setting holds 'uint32'");
    CHECK(Setting_releaseInstance(setting) == 0);
}

static void textValuesFollowTheOutputBufferProtocol(void) {
    void* text = newSetting(ConfigurationSettingType_string);
    void* wide = newSetting(ConfigurationSettingType_unicodeString);
    unsigned char narrow[8];
    wchar_t wideText[6];
    uint32_t required = 0;

    CHECK(Setting_getString(text, narrow, 1, &required) == 0);
    CHECK(required == 1 && narrow[0] == '\0');
    required = 0;
    CHECK(Setting_getString(text, NULL, 0, &required) == 6 && required == 1);
    CHECK(Setting_setString(text, u("hello")) == 0);
    memset(narrow, 'x', sizeof narrow);
    CHECK(Setting_getString(text, narrow, 5, &required) == 6 && required == 6);
    CHECK(narrow[0] == 'x');
    CHECK(Setting_getString(text, narrow, 6, &required) == 0);
    CHECK(strcmp((const char*)narrow, "hello") == 0 && narrow[6] == 'x');

    CHECK(Setting_setUnicodeString(wide, L"h\u00e9llo") == 0);
    CHECK(Setting_getUnicodeString(wide, wideText, 5, &required) == 6 && required == 6);
    CHECK(Setting_getUnicodeString(wide, wideText, 6, &required) == 0 && required == 6);
    CHECK(wcscmp(wideText, L"h\u00e9llo") == 0);

    required = 77;
    CHECK(Setting_getString(wide, narrow, sizeof narrow, &required) == 3 && required == 77);
    CHECK_MESSAGE("type 'string' expected, setting holds 'unicodeString'");
    CHECK(Setting_setUnicodeString(text, L"x") == 3);
    CHECK_ALL(0, Setting_releaseInstance(text), Setting_releaseInstance(wide));
}

static void binaryValuesKeepTheirLengthUntilResized(void) {
    void* setting = newSetting(ConfigurationSettingType_binary);
    unsigned char ten[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    unsigned char read[10];
    uint32_t length = 4;
    uint32_t required = 99;

    CHECK(Setting_getBinaryBuffer(setting, NULL, 0, &required) == 0 && required == 0);
    CHECK(Setting_resizeBinaryBuffer(setting, &length) == 0 && length == 4);
    CHECK(Setting_setBinaryBuffer(setting, ten, sizeof ten) == 0);
    CHECK(Setting_getBinaryLength(setting, &length) == 0 && length == 4);
    CHECK(Setting_getBinaryBuffer(setting, read, 3, &required) == 6 && required == 4);
    CHECK(Setting_getBinaryBuffer(setting, read, sizeof read, &required) == 0 && required == 4);
    CHECK(memcmp(read, ten, 4) == 0);

    length = 10;
    CHECK(Setting_resizeBinaryBuffer(setting, &length) == 0 && length == 10);
    CHECK(Setting_setBinaryBuffer(setting, ten, sizeof ten) == 0);
    memset(read, 0, sizeof read);
    CHECK(Setting_getBinaryBuffer(setting, read, sizeof read, &required) == 0 && required == 10);
    CHECK(memcmp(read, ten, sizeof ten) == 0);
    length = 1; /* a single byte is copied out too */
    CHECK(Setting_resizeBinaryBuffer(setting, &length) == 0 && length == 1);
    memset(read, 0, sizeof read);
    CHECK(Setting_getBinaryBuffer(setting, read, sizeof read, &required) == 0 && required == 1);
    CHECK(read[0] == ten[0]);

    CHECK(Setting_initialize(setting, ConfigurationSettingType_uint32) == 0);
    length = 5;
    CHECK(Setting_getBinaryLength(setting, &length) == 3 && length == 5);
    CHECK(Setting_resizeBinaryBuffer(setting, &length) == 3 && length == 5);
    CHECK(Setting_setBinaryBuffer(setting, ten, 1) == 3);
    CHECK_MESSAGE("type 'binary' expected, setting holds 'uint32'");
    CHECK(Setting_releaseInstance(setting) == 0);
}

/* Run under AddressSanitizer, these would report any object freed too early. */
static void handlesKeepObjectsAliveAcrossTheirOwners(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* setting = newSetting(ConfigurationSettingType_uint32);
    void* retrieved = NULL;
    uint32_t value = 0;

    CHECK(Setting_setUINT32(setting, 5) == 0);
    CHECK(ConfigurationSet_insertSetting(set, u("kept"), setting) == 0);
    CHECK(Setting_releaseInstance(setting) == 0);
    CHECK(uint32At(set, "kept") == 5);

    CHECK(ConfigurationSet_retrieveSetting(set, u("kept"), &retrieved) == 0);
    CHECK(Setting_releaseInstance(retrieved) == 0);
    CHECK(uint32At(set, "kept") == 5);

    CHECK(ConfigurationSet_retrieveSetting(set, u("kept"), &retrieved) == 0);
    CHECK(ConfigurationSet_releaseInstance(set) == 0);
    CHECK(Setting_setUINT32(retrieved, 6) == 0);
    CHECK(Setting_getUINT32(retrieved, &value) == 0 && value == 6);
    CHECK(Setting_releaseInstance(retrieved) == 0);
}

static void theLastErrorMessageIsKeptUntilTheNextFailure(void) {
    void* set = newSet("ConfigurationSet");
    void* found = NULL;
    unsigned char text[8];
    uint32_t required = 0;
    uint32_t count = 0;

    CHECK(ConfigurationSet_retrieveSetting(set, u("a/b"), &found) == 7);
    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0);
    CHECK_MESSAGE("no setting at path 'a/b'");

    memset(text, 'x', sizeof text);
    CHECK(Configuration_getLastErrorMessage(text, sizeof text, &required) == 6);
    CHECK(required == strlen("no setting at path 'a/b'") + 1 && text[0] == 'x');
    CHECK(Configuration_getLastErrorMessage(NULL, 0, &required) == 6);
    CHECK(Configuration_getLastErrorMessage(NULL, 4, &required) == 1);
    CHECK(Configuration_getLastErrorMessage(text, sizeof text, NULL) == 1);
    CHECK_MESSAGE("no setting at path 'a/b'");
    CHECK(ConfigurationSet_releaseInstance(set) == 0);
}

int main(void) {
    unsigned char text[4];
    uint32_t required = 99;
    /* Before any failure the message is empty. */
    CHECK(Configuration_getLastErrorMessage(text, sizeof text, &required) == 0 && required == 1);
    CHECK(text[0] == '\0');

    theFactoryCreatesSetsOfTheExactTypeNamesOnly();
    everyFunctionRefusesANullHandle();
    nullArgumentsAreRefusedWithoutSideEffects();
    theTypeNameFollowsTheOutputBufferProtocolAndCapabilitiesFollowTheType();
    serializingTwiceWithTheReportedLengthRoundTrips();
    fileFailuresAreStoppedAtTheBoundary();
    xmlFailuresAreStoppedAtTheBoundary();
    lookupsInsertionAndRemovalReportPathsInTheirCodes();
    enumerationHandsOutSettingsEvenWhenThePathDoesNotFit();
    setsCompareTheirPathsAndSettingsTheirTypeAndValue();
    typeCodesRoundTripAndOutOfRangeCodesAreRefused();
    scalarsRoundTripAndRefuseOtherTypes();
    textValuesFollowTheOutputBufferProtocol();
    binaryValuesKeepTheirLengthUntilResized();
    handlesKeepObjectsAliveAcrossTheirOwners();
    theLastErrorMessageIsKeptUntilTheNextFailure();

    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
