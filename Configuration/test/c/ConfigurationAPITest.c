/* The flat interface as a C program sees it, compiled as C and linked to the shared library: result
 * codes, the output-buffer protocol, null arguments and what handles show across calls. */
#include <orvandel/configuration/ConfigurationAPI.h>

#include <stdio.h>
#include <string.h>
#include <wchar.h>

static int passed, failed;

static void check(bool ok, const char* text, int line) {
    passed += ok;
    failed += !ok;
    if (!ok) {
        fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, line, text);
    }
}

#define CHECK(condition) check((condition), #condition, __LINE__)

/* Every call of a table returns expected; a failure names the call's position in the table. */
static void checkAll(uint32_t expected, const uint32_t* results, size_t count, int line) {
    char text[48];
    while (count-- > 0) {
        snprintf(text, sizeof text, "call %u of the table", (unsigned)count);
        check(results[count] == expected, text, line);
    }
}

#define CHECK_ALL(expected, ...)                          \
    checkAll((expected), (const uint32_t[]){__VA_ARGS__}, \
             sizeof((const uint32_t[]){__VA_ARGS__}) / sizeof(uint32_t), __LINE__)

/* Whether the calling thread's last error message names part (a path, an argument...). */
static bool has(const char* part) {
    unsigned char text[512];
    uint32_t required = 0;
    return Configuration_getLastErrorMessage(text, sizeof text, &required) == 0 &&
           strstr((const char*)text, part) != NULL;
}

#define u(text) ((const unsigned char*)(text))

static void* newSet(const char* type) {
    void* set = NULL;
    CHECK(ConfigurationSetFactory_createConfigurationSet(u(type), &set) == 0);
    return set;
}

static void* newSetting(uint32_t mappedType, uint32_t value) {
    void* setting = NULL;
    CHECK(ConfigurationSetFactory_createSetting(&setting) == 0);
    CHECK(Setting_initialize(setting, mappedType) == 0);
    CHECK(mappedType != ConfigurationSettingType_uint32 || Setting_setUINT32(setting, value) == 0);
    return setting;
}

/* Exact type names only (an unknown one leaves *instance alone); the type name follows the
 * output-buffer protocol. */
static void factoryTypeNames(void) {
    const char* wrong[] = {"binaryconfigurationset", "BinaryConfigurationSet ", "", "Nope"};
    unsigned char type[23];
    uint32_t required = 0;
    void* set = NULL;
    size_t i;
    for (i = 0; i < sizeof wrong / sizeof wrong[0]; ++i) {
        set = &required;
        CHECK(ConfigurationSetFactory_createConfigurationSet(u(wrong[i]), &set) == 2 &&
              set == &required);
    }
    CHECK(has("'Nope'"));
    set = newSet("BinaryConfigurationSet");
    memset(type, 'x', sizeof type);
    CHECK(ConfigurationSet_getType(set, type, 22, &required) == 6 && has("23") && has("22") &&
          required == 23 && type[0] == 'x');
    CHECK(ConfigurationSet_getType(set, type, 23, &required) == 0 &&
          strcmp((const char*)type, "BinaryConfigurationSet") == 0);
    CHECK(ConfigurationSet_releaseInstance(set) == 0);
}

/* Every null pointer gives 1 before anything happens: set, setting and outputs stay as they were,
 * and the message names argument and function. One shared check refuses null handles: a few
 * calls show it here, the fuzzer's calls with null handles the rest. */
static void nullPointersAreRefusedWithoutSideEffects(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* setting = newSetting(ConfigurationSettingType_uint32, 5);
    void* h = &set;
    unsigned char b[8] = "keep";
    uint32_t n = 99;
    bool flag = false;
    CHECK_ALL(
        1, ConfigurationSet_getSettingCount(NULL, &n), ConfigurationSet_equals(NULL, set, &flag),
        ConfigurationSet_releaseInstance(NULL), Setting_getType(NULL, &n),
        Setting_releaseInstance(NULL),
        /* the other arguments */
        ConfigurationSet_getType(set, b, 8, NULL), ConfigurationSet_capLoadAndSave(set, NULL),
        ConfigurationSet_getType(set, NULL, 5, &n), ConfigurationSet_load(set, NULL),
        ConfigurationSet_save(set, NULL), ConfigurationSet_capSerialize(set, NULL),
        ConfigurationSet_unserialize(set, NULL, 0), ConfigurationSet_checkModified(set, NULL),
        ConfigurationSet_serialize(set, NULL, 4, &n), ConfigurationSet_serialize(set, b, 8, NULL),
        ConfigurationSet_retrieveSetting(set, NULL, &h),
        ConfigurationSet_retrieveSetting(set, u("a"), NULL),
        ConfigurationSet_retrieveSettingByIndex(set, NULL, 0, &h, b, 8, &n),
        ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, NULL, b, 8, &n),
        ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &h, NULL, 8, &n),
        ConfigurationSet_insertSetting(set, NULL, setting),
        ConfigurationSet_insertSetting(set, u("a"), NULL),
        ConfigurationSet_getSettingCount(set, NULL), ConfigurationSet_removeSetting(set, NULL),
        ConfigurationSet_equals(set, NULL, &flag), ConfigurationSet_equals(set, set, NULL),
        Setting_getType(setting, NULL), Setting_equals(setting, NULL, &flag),
        Setting_equals(setting, setting, NULL), Setting_getUINT32(setting, NULL),
        Setting_getString(setting, NULL, 3, &n), Setting_getString(setting, b, 3, NULL),
        Setting_setString(setting, NULL), Setting_getBinaryBuffer(setting, NULL, 3, &n),
        Setting_setBinaryBuffer(setting, NULL, 0), Setting_getBinaryLength(setting, NULL),
        Setting_resizeBinaryBuffer(setting, NULL), Configuration_getLastErrorMessage(NULL, 4, &n),
        Configuration_getLastErrorMessage(b, 8, NULL));
    CHECK(h == &set && n == 99 && strcmp((const char*)b, "keep") == 0);
    CHECK(ConfigurationSet_getSettingCount(set, &n) == 0 && n == 0);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && !flag);
    CHECK(Setting_getUINT32(setting, &n) == 0 && n == 5);
    CHECK(ConfigurationSet_releaseInstance(NULL) == 1 && has("ConfigurationSet_releaseInstance"));
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &h, b, 8, NULL) == 1);
    CHECK(has("ConfigurationSet_retrieveSettingByIndex") && has("'reqPathBufferLength"));
    CHECK_ALL(0, Setting_releaseInstance(setting), ConfigurationSet_releaseInstance(set));
}

/* Capabilities follow the type. The form is written at the length reported and read back; a
 * failed read names the path and changes nothing; a set without the capability refuses with 4
 * and keeps the caller's length. */
static void formsAndFiles(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* copy = newSet("BinaryConfigurationSet");
    void* plain = newSet("ConfigurationSet");
    void* value = newSetting(ConfigurationSettingType_uint32, 7);
    unsigned char form[256];
    uint32_t required = 0, kept = 0;
    bool flag = false;
    CHECK(ConfigurationSet_capLoadAndSave(set, &flag) == 0 && flag);
    CHECK(ConfigurationSet_capSerialize(plain, &flag) == 0 && !flag);
    CHECK(ConfigurationSet_serialize(set, NULL, 0, &required) == 0 && required == 0);
    CHECK(ConfigurationSet_insertSetting(set, u("group/value"), value) == 0);
    CHECK(ConfigurationSet_serialize(set, NULL, 0, &required) == 6 && required > 0);
    CHECK(ConfigurationSet_serialize(set, form, required, &kept) == 0 && kept == required);
    CHECK(ConfigurationSet_unserialize(copy, form, required - 1) == 5 && has("'group/value'"));
    CHECK(ConfigurationSet_equals(set, copy, &flag) == 0 && !flag);
    CHECK(ConfigurationSet_unserialize(copy, form, required) == 0 &&
          ConfigurationSet_unserialize(copy, form, 0) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &flag) == 0 && flag);
    CHECK_ALL(4, ConfigurationSet_serialize(plain, form, sizeof form, &kept),
              ConfigurationSet_unserialize(plain, form, required),
              ConfigurationSet_save(plain, u("capi-plain.cfg")),
              ConfigurationSet_load(plain, u("capi-test.cfg")));
    CHECK(kept == required && ConfigurationSet_save(set, u("capi-test.cfg")) == 0);
    CHECK(ConfigurationSet_load(copy, u("capi-test.cfg")) == 0 && remove("capi-test.cfg") == 0);
    CHECK(ConfigurationSet_load(copy, u("capi-missing.cfg")) == 5 && has("'capi-missing.cfg'"));
    CHECK_ALL(0, ConfigurationSet_releaseInstance(set), ConfigurationSet_releaseInstance(copy),
              ConfigurationSet_releaseInstance(plain), Setting_releaseInstance(value));
}

/* The last error message is empty before any failure, follows the buffer protocol and outlives
 * successful calls. Lookup, insertion, enumeration and removal give their codes; a path buffer
 * too small is no error: the setting is handed out, the length stored. Runs first. */
static void pathsAndCodes(void) {
    void* set = newSet("ConfigurationSet");
    void* two = newSetting(ConfigurationSettingType_uint32, 2);
    void* one = newSetting(ConfigurationSettingType_uint32, 1);
    void* found = &set;
    unsigned char path[8];
    uint32_t count = 99;
    bool flag = false;
    CHECK(Configuration_getLastErrorMessage(path, 4, &count) == 0 && count == 1 && !path[0]);
    CHECK(ConfigurationSet_retrieveSetting(set, u("a/b"), &found) == 7 && found == &set);
    memset(path, 'x', sizeof path);
    CHECK(ConfigurationSet_insertSetting(set, u("a/bcdefgh"), two) == 0 && has("'a/b'"));
    CHECK(Configuration_getLastErrorMessage(path, 8, &count) == 6 && count > 8 && path[0] == 'x');
    CHECK(Configuration_getLastErrorMessage(NULL, 0, &count) == 6);
    CHECK(ConfigurationSet_insertSetting(set, u("a"), one) == 0);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && flag);
    CHECK(ConfigurationSet_insertSetting(set, u("a"), two) == 8 && has("'a'"));
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && !flag);
    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0 && count == 2);
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), 0, &found, path, 8, &count) == 0);
    CHECK(strcmp((const char*)path, "a") == 0 && count == 2 && found == one);
    CHECK(Setting_releaseInstance(found) == 0 && Setting_equals(one, two, &flag) == 0 && !flag);
    found = &set;
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), 2, &found, path, 8, &count) == 7);
    CHECK(found == &set);
    memset(path, 'x', sizeof path);
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), 1, &found, path, 8, &count) == 0);
    CHECK(count == 10 && path[0] == 'x' && found == two);
    CHECK(Setting_equals(found, two, &flag) == 0 && flag && Setting_releaseInstance(found) == 0);
    CHECK(ConfigurationSet_removeSetting(set, u("b")) == 7 && has("'b'"));
    CHECK_ALL(0, ConfigurationSet_removeSetting(set, u("a")),
              ConfigurationSet_removeAllSettings(set), ConfigurationSet_releaseInstance(set),
              Setting_releaseInstance(two), Setting_releaseInstance(one));
}

/* A fresh setting is a bool holding false; a bad type code or another type's value is refused,
 * the output untouched. Text follows the buffer protocol in both widths; binary values keep their
 * length until resized, and a buffer too small for them copies nothing. */
static void typesTextAndBinary(void) {
    void* text = newSetting(ConfigurationSettingType_string, 0);
    void* wide = newSetting(ConfigurationSettingType_unicodeString, 0);
    void* binary = newSetting(ConfigurationSettingType_binary, 0);
    void* found = NULL;
    unsigned char ten[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    unsigned char read[10];
    wchar_t wideText[6];
    uint32_t required = 0;
    uint32_t length = 4;
    uint32_t code = 0;
    CHECK(ConfigurationSetFactory_createSetting(&found) == 0 && Setting_getType(found, &code) == 0);
    CHECK(code == 1 && Setting_getBoolean(found, &code) == 0 && code == 0);
    CHECK(Setting_setBoolean(found, 2) == 0 && Setting_getBoolean(found, &code) == 0 && code == 1);
    CHECK(Setting_initialize(found, 0) == 1 && has("type code 0"));
    CHECK(Setting_initialize(found, ConfigurationSettingType_uint32) == 0);
    CHECK(Setting_getBoolean(found, &code) == 3 && code == 1 && Setting_setBoolean(found, 1) == 3);
    memset(read, 'x', sizeof read);
    CHECK(Setting_setString(text, u("hello")) == 0);
    CHECK(Setting_getString(text, read, 6, &required) == 0 && memcmp(read, "hello\0x", 7) == 0);
    CHECK(Setting_setUnicodeString(wide, L"h\u00e9llo") == 0 &&
          Setting_getUnicodeString(wide, wideText, 5, &required) == 6 && required == 6);
    CHECK(Setting_getUnicodeString(wide, wideText, 6, &required) == 0 &&
          wcscmp(wideText, L"h\u00e9llo") == 0);
    required = 99;
    CHECK(Setting_getBinaryBuffer(binary, NULL, 0, &required) == 0 && required == 0);
    CHECK(Setting_resizeBinaryBuffer(binary, &length) == 0 && length == 4);
    CHECK(Setting_setBinaryBuffer(binary, ten, sizeof ten) == 0 &&
          Setting_getBinaryLength(binary, &length) == 0 && length == 4);
    memset(read, 0, sizeof read);
    CHECK(Setting_getBinaryBuffer(binary, read, 3, &required) == 6 && required == 4 && !read[0]);
    CHECK(Setting_getBinaryBuffer(binary, read, 10, &required) == 0 && required == 4);
    CHECK(memcmp(read, ten, 4) == 0 && read[4] == 0);
    length = 1; /* a single byte is copied out too */
    memset(read, 0, sizeof read);
    CHECK(Setting_resizeBinaryBuffer(binary, &length) == 0 && length == 1);
    CHECK(Setting_getBinaryBuffer(binary, read, 10, &required) == 0 && required == 1);
    CHECK(read[0] == ten[0] && Setting_initialize(binary, ConfigurationSettingType_uint32) == 0);
    length = 5;
    CHECK(Setting_getBinaryLength(binary, &length) == 3 && length == 5);
    CHECK_ALL(0, Setting_releaseInstance(text), Setting_releaseInstance(wide),
              Setting_releaseInstance(binary), Setting_releaseInstance(found));
}

int main(void) {
    pathsAndCodes();
    factoryTypeNames();
    nullPointersAreRefusedWithoutSideEffects();
    formsAndFiles();
    typesTextAndBinary();
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
