/* The flat interface as a C program sees it: compiled as C and linked to the shared library.
 * Checks what only this boundary has: result codes, the output-buffer protocol, null
 * arguments, reference counts across calls, and messages that name what failed. Prints one line
 * per failed check and a summary. */
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

/* Checks that every result of a table of independent calls is the expected code; a failure
 * names the position of the call in the table. */
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

/* The message names what it must: a file, a position, a path, an argument. */
#define CHECK_MESSAGE_HAS(part) \
    check(strstr(lastError(), (part)) != NULL, lastError(), __FILE__, __LINE__)

/* The call returns code and leaves a message that names part. */
#define CHECK_FAILS(code, call, part) \
    do {                              \
        CHECK((call) == (code));      \
        CHECK_MESSAGE_HAS(part);      \
    } while (0)

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

static bool fileExists(const char* path) {
    FILE* file = fopen(path, "rb");
    if (file != NULL) {
        fclose(file);
    }
    return file != NULL;
}

/* Exact type names only (an unknown one leaves *instance alone); the type name follows the
 * output-buffer protocol and the capabilities follow the type. */
static void factoryTypeNamesAndCapabilities(void) {
    const char* names[] = {"ConfigurationSet", "BinaryConfigurationSet", "XMLConfigurationSet"};
    const char* wrong[] = {"binaryconfigurationset", "BinaryConfigurationSet ", "", "Nope"};
    unsigned char type[23];
    uint32_t required = 0;
    bool loadSave = true;
    bool serialize = true;
    void* set = NULL;
    size_t i;
    for (i = 0; i < 3; ++i) {
        set = newSet(names[i]);
        CHECK(ConfigurationSet_getType(set, type, sizeof type, &required) == 0);
        CHECK(strcmp((const char*)type, names[i]) == 0 && required == strlen(names[i]) + 1);
        CHECK(ConfigurationSet_capLoadAndSave(set, &loadSave) == 0 && loadSave == (i > 0));
        CHECK(ConfigurationSet_capSerialize(set, &serialize) == 0 && serialize == (i > 0));
        CHECK(ConfigurationSet_releaseInstance(set) == 0);
    }
    for (i = 0; i < sizeof wrong / sizeof wrong[0]; ++i) {
        set = &required;
        CHECK(ConfigurationSetFactory_createConfigurationSet(u(wrong[i]), &set) == 2);
        CHECK(set == &required);
    }
    CHECK_MESSAGE_HAS("'Nope'");

    set = newSet("BinaryConfigurationSet");
    memset(type, 'x', sizeof type);
    CHECK_FAILS(6, ConfigurationSet_getType(set, type, 22, &required), "23");
    CHECK(required == 23 && type[0] == 'x' && strstr(lastError(), "22") != NULL);
    required = 0;
    CHECK(ConfigurationSet_getType(set, NULL, 0, &required) == 6 && required == 23);
    CHECK(ConfigurationSet_getType(set, type, 23, &required) == 0 && type[22] == '\0');
    CHECK(ConfigurationSet_releaseInstance(set) == 0);
}

/* Every null pointer gives 1 before anything happens: the set stays empty and unmodified, the
 * setting keeps its value, outputs keep what the caller put there, and the message names the
 * argument and the function. */
static void nullPointersAreRefusedWithoutSideEffects(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* setting = newSetting(ConfigurationSettingType_uint32);
    void* handle = &set;
    unsigned char bytes[8] = "keep";
    wchar_t wide[8];
    uint32_t number = 99;
    double any[2]; /* never written: a call refused for its handle touches no output */
    bool flag = false;

    CHECK(Setting_setUINT32(setting, 5) == 0);
    CHECK_ALL(
        1, ConfigurationSet_getType(NULL, bytes, 8, &number),
        ConfigurationSet_capLoadAndSave(NULL, &flag), ConfigurationSet_load(NULL, u("x.cfg")),
        ConfigurationSet_save(NULL, u("x.cfg")), ConfigurationSet_capSerialize(NULL, &flag),
        ConfigurationSet_unserialize(NULL, bytes, 0),
        ConfigurationSet_serialize(NULL, bytes, 8, &number),
        ConfigurationSet_checkModified(NULL, &flag),
        ConfigurationSet_retrieveSetting(NULL, u("a"), &handle),
        ConfigurationSet_retrieveSettingByIndex(NULL, u(""), 0, &handle, bytes, 8, &number),
        ConfigurationSet_insertSetting(NULL, u("a"), setting),
        ConfigurationSet_getSettingCount(NULL, &number),
        ConfigurationSet_removeSetting(NULL, u("a")), ConfigurationSet_removeAllSettings(NULL),
        ConfigurationSet_equals(NULL, set, &flag), ConfigurationSet_releaseInstance(NULL),
        Setting_initialize(NULL, 1), Setting_getType(NULL, &number),
        Setting_equals(NULL, setting, &flag), Setting_releaseInstance(NULL),
        Setting_getBoolean(NULL, &number), Setting_setBoolean(NULL, 1),
        Setting_getUCHAR(NULL, (unsigned char*)any), Setting_setUCHAR(NULL, 1),
        Setting_getUINT16(NULL, (uint16_t*)any), Setting_setUINT16(NULL, 1),
        Setting_getUINT32(NULL, &number), Setting_setUINT32(NULL, 1),
        Setting_getUINT64(NULL, (uint64_t*)any), Setting_setUINT64(NULL, 1),
        Setting_getCHAR(NULL, (signed char*)any), Setting_setCHAR(NULL, 1),
        Setting_getINT16(NULL, (int16_t*)any), Setting_setINT16(NULL, 1),
        Setting_getINT32(NULL, (int32_t*)any), Setting_setINT32(NULL, 1),
        Setting_getINT64(NULL, (int64_t*)any), Setting_setINT64(NULL, 1),
        Setting_getFLOAT(NULL, (float*)any), Setting_setFLOAT(NULL, 1),
        Setting_getDOUBLE(NULL, (double*)any), Setting_setDOUBLE(NULL, 1),
        Setting_getString(NULL, bytes, 8, &number), Setting_setString(NULL, u("x")),
        Setting_getUnicodeString(NULL, wide, 8, &number), Setting_setUnicodeString(NULL, L"x"),
        Setting_getBinaryBuffer(NULL, bytes, 8, &number), Setting_setBinaryBuffer(NULL, bytes, 8),
        Setting_getBinaryLength(NULL, &number), Setting_resizeBinaryBuffer(NULL, &number),
        /* the other arguments */
        ConfigurationSet_getType(set, bytes, 8, NULL), ConfigurationSet_capLoadAndSave(set, NULL),
        ConfigurationSet_getType(set, NULL, 5, &number), ConfigurationSet_load(set, NULL),
        ConfigurationSet_save(set, NULL), ConfigurationSet_capSerialize(set, NULL),
        ConfigurationSet_unserialize(set, NULL, 0), ConfigurationSet_checkModified(set, NULL),
        ConfigurationSet_serialize(set, NULL, 4, &number),
        ConfigurationSet_serialize(set, bytes, 8, NULL),
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
    CHECK(handle == &set && number == 99 && strcmp((const char*)bytes, "keep") == 0);
    CHECK(ConfigurationSet_getSettingCount(set, &number) == 0 && number == 0);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && !flag);
    CHECK(Setting_getUINT32(setting, &number) == 0 && number == 5);

    CHECK_FAILS(1, ConfigurationSet_releaseInstance(NULL), "ConfigurationSet_releaseInstance");
    CHECK_MESSAGE_HAS("'instance'");
    CHECK_FAILS(1, ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &handle, bytes, 8, NULL),
                "ConfigurationSet_retrieveSettingByIndex");
    CHECK_MESSAGE_HAS("'reqPathBufferLengthCharsInclNULL'");
    CHECK_FAILS(1, ConfigurationSet_getType(set, NULL, 5, &number), "'buffer'");
    CHECK_ALL(0, Setting_releaseInstance(setting), ConfigurationSet_releaseInstance(set));
}

/* Serialising with the reported length round-trips; failures change neither the set nor the
 * caller's length nor any file, and their messages cross the boundary. */
static void formsAndFiles(void) {
    void* set = newSet("BinaryConfigurationSet");
    void* copy = newSet("BinaryConfigurationSet");
    void* plain = newSet("ConfigurationSet");
    void* xml = newSet("XMLConfigurationSet");
    unsigned char form[256];
    uint32_t required = 0;
    uint32_t kept = 1234;
    bool flag = false;

    CHECK(ConfigurationSet_serialize(set, NULL, 0, &required) == 0 && required == 0);
    insertUint32(set, "group/value", 7);
    insertUint32(set, "group/other", 8);
    CHECK_FAILS(6, ConfigurationSet_serialize(set, NULL, 0, &required), "0 available");
    CHECK(required > 0 && required <= sizeof form);
    CHECK(ConfigurationSet_serialize(set, form, required, &kept) == 0 && kept == required);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && !flag);
    CHECK(ConfigurationSet_unserialize(copy, form, required) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &flag) == 0 && flag);
    CHECK(uint32At(copy, "group/value") == 7);
    CHECK_FAILS(5, ConfigurationSet_unserialize(copy, form, required - 1), "'group/value'");
    CHECK(ConfigurationSet_unserialize(copy, form, 0) == 0);
    CHECK(ConfigurationSet_equals(set, copy, &flag) == 0 && flag);

    kept = 1234;
    CHECK(ConfigurationSet_serialize(plain, form, sizeof form, &kept) == 4 && kept == 1234);
    CHECK_MESSAGE_HAS("'ConfigurationSet'");
    CHECK_ALL(4, ConfigurationSet_unserialize(plain, form, required),
              ConfigurationSet_save(plain, u("capi-plain.cfg")),
              ConfigurationSet_load(plain, u("capi-test.cfg")));
    CHECK(!fileExists("capi-plain.cfg"));

    CHECK(ConfigurationSet_save(set, u("capi-test.cfg")) == 0);
    CHECK(ConfigurationSet_load(copy, u("capi-test.cfg")) == 0);
    remove("capi-test.cfg");
    CHECK_FAILS(5, ConfigurationSet_load(copy, u("capi-missing.cfg")), "'capi-missing.cfg'");
    CHECK_FAILS(5, ConfigurationSet_save(set, u("capi-no-dir/x.cfg")), "'capi-no-dir/x.cfg'");
    CHECK(ConfigurationSet_equals(set, copy, &flag) == 0 && flag);

    /* A branch segment that is no XML name: the form is refused whole, no file is created. */
    insertUint32(xml, "1 bad/value", 1);
    CHECK_FAILS(5, ConfigurationSet_serialize(xml, form, sizeof form, &kept), "'1 bad/value'");
    remove("capi-unwritten.xml");
    CHECK_FAILS(5, ConfigurationSet_save(xml, u("capi-unwritten.xml")), "capi-unwritten.xml: ");
    CHECK(!fileExists("capi-unwritten.xml"));
    CHECK(ConfigurationSet_removeAllSettings(xml) == 0);
    CHECK_FAILS(5, ConfigurationSet_unserialize(xml, u("<configuration"), 14), "line 1, column 15");
    CHECK(ConfigurationSet_getSettingCount(xml, &kept) == 0 && kept == 0);

    CHECK_ALL(0, ConfigurationSet_releaseInstance(set), ConfigurationSet_releaseInstance(copy),
              ConfigurationSet_releaseInstance(plain), ConfigurationSet_releaseInstance(xml));
}

/* Lookup, insertion, enumeration and removal: their codes, the modified flag, the very object
 * handed in and out, a path buffer that need not fit, and the equality flags. */
static void pathsCodesAndFlags(void) {
    void* set = newSet("ConfigurationSet");
    void* other = newSet("BinaryConfigurationSet");
    void* setting = newSetting(ConfigurationSettingType_uint32);
    void* found = &set;
    unsigned char path[8];
    uint32_t count = 99;
    bool flag = false;

    CHECK_FAILS(7, ConfigurationSet_retrieveSetting(set, u("a/b"), &found), "'a/b'");
    CHECK(found == &set);
    CHECK(ConfigurationSet_insertSetting(set, u("x/y"), setting) == 0);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && flag);
    CHECK_FAILS(8, ConfigurationSet_insertSetting(set, u("x/y"), setting), "'x/y'");
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && !flag);
    CHECK(ConfigurationSet_retrieveSetting(set, u("x/y"), &found) == 0 && found == setting);
    CHECK(Setting_releaseInstance(found) == 0);
    CHECK(Setting_setUINT32(setting, 11) == 0);
    CHECK(ConfigurationSet_checkModified(set, &flag) == 0 && flag);
    CHECK(uint32At(set, "x/y") == 11);
    CHECK_FAILS(7, ConfigurationSet_removeSetting(set, u("x")), "'x'");

    insertUint32(set, "a", 1);
    insertUint32(set, "a/bcdefgh", 2);
    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0 && count == 3);
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), 0, &found, path, 8, &count) == 0);
    CHECK(strcmp((const char*)path, "a") == 0 && count == 2);
    CHECK(Setting_releaseInstance(found) == 0);
    found = &set;
    CHECK_FAILS(7, ConfigurationSet_retrieveSettingByIndex(set, u("a"), 2, &found, path, 8, &count),
                "'a'");
    CHECK(found == &set && strstr(lastError(), "2") != NULL);
    /* A path that does not fit is no error: the setting is handed out, the length stored. */
    memset(path, 'x', sizeof path);
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u("a"), 1, &found, path, 8, &count) == 0);
    CHECK(count == 10 && path[0] == 'x' && found != &set);
    CHECK(Setting_getUINT32(found, &count) == 0 && count == 2);
    CHECK(Setting_releaseInstance(found) == 0);
    CHECK(ConfigurationSet_retrieveSettingByIndex(set, u(""), 2, &found, NULL, 0, &count) == 0);
    CHECK(count == 4);
    CHECK(Setting_releaseInstance(found) == 0);

    CHECK(ConfigurationSet_equals(set, other, &flag) == 0 && !flag);
    CHECK(ConfigurationSet_equals(other, other, &flag) == 0 && flag);
    found = newSetting(ConfigurationSettingType_uint32);
    CHECK(Setting_equals(setting, found, &flag) == 0 && !flag);
    CHECK(Setting_setUINT32(found, 11) == 0);
    CHECK(Setting_equals(setting, found, &flag) == 0 && flag);

    CHECK(ConfigurationSet_removeSetting(set, u("x/y")) == 0);
    CHECK(ConfigurationSet_removeAllSettings(set) == 0);
    CHECK(ConfigurationSet_getSettingCount(set, &count) == 0 && count == 0);
    CHECK_ALL(0, Setting_releaseInstance(setting), Setting_releaseInstance(found),
              ConfigurationSet_releaseInstance(set), ConfigurationSet_releaseInstance(other));
}

/* Sets and reads one scalar type, then checks that another type is refused untouched. */
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

/* A fresh setting is a bool holding false; every type code reads back, others are refused;
 * scalars round-trip and a wrong type names both types. */
static void typeCodesAndScalars(void) {
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
    CHECK_FAILS(1, Setting_initialize(setting, 0), "type code 0");
    CHECK(Setting_initialize(setting, 15) == 1);
    CHECK(Setting_getType(setting, &read) == 0 && read == 14);

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
    read = 7;
    CHECK(Setting_getBoolean(setting, &read) == 3 && read == 7);
    CHECK_FAILS(3, Setting_setBoolean(setting, 1), "'bool'");
    CHECK_MESSAGE_HAS("'uint32'");
    CHECK(Setting_releaseInstance(setting) == 0);
}

/* Text and bytes follow the output-buffer protocol: too small copies nothing, the required
 * length counts the NUL of text; binary values keep their length until resized. */
static void textAndBinaryBuffers(void) {
    void* text = newSetting(ConfigurationSettingType_string);
    void* wide = newSetting(ConfigurationSettingType_unicodeString);
    void* binary = newSetting(ConfigurationSettingType_binary);
    unsigned char ten[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    unsigned char read[10];
    wchar_t wideText[6];
    uint32_t required = 0;
    uint32_t length = 4;

    CHECK(Setting_getString(text, read, 1, &required) == 0 && required == 1 && read[0] == '\0');
    CHECK(Setting_getString(text, NULL, 0, &required) == 6 && required == 1);
    CHECK(Setting_setString(text, u("hello")) == 0);
    memset(read, 'x', sizeof read);
    CHECK(Setting_getString(text, read, 5, &required) == 6 && required == 6 && read[0] == 'x');
    CHECK(Setting_getString(text, read, 6, &required) == 0);
    CHECK(strcmp((const char*)read, "hello") == 0 && read[6] == 'x');
    CHECK(Setting_setUnicodeString(wide, L"h\u00e9llo") == 0);
    CHECK(Setting_getUnicodeString(wide, wideText, 5, &required) == 6 && required == 6);
    CHECK(Setting_getUnicodeString(wide, wideText, 6, &required) == 0 && required == 6);
    CHECK(wcscmp(wideText, L"h\u00e9llo") == 0);
    required = 77;
    CHECK(Setting_getString(wide, read, sizeof read, &required) == 3 && required == 77);
    CHECK(Setting_setUnicodeString(text, L"x") == 3);

    required = 99;
    CHECK(Setting_getBinaryBuffer(binary, NULL, 0, &required) == 0 && required == 0);
    CHECK(Setting_resizeBinaryBuffer(binary, &length) == 0 && length == 4);
    CHECK(Setting_setBinaryBuffer(binary, ten, sizeof ten) == 0);
    CHECK(Setting_getBinaryLength(binary, &length) == 0 && length == 4);
    CHECK(Setting_getBinaryBuffer(binary, read, 3, &required) == 6 && required == 4);
    CHECK(Setting_getBinaryBuffer(binary, read, 10, &required) == 0 && required == 4);
    CHECK(memcmp(read, ten, 4) == 0);
    length = 10;
    CHECK(Setting_resizeBinaryBuffer(binary, &length) == 0 && length == 10);
    CHECK(Setting_setBinaryBuffer(binary, ten, sizeof ten) == 0);
    memset(read, 0, sizeof read);
    CHECK(Setting_getBinaryBuffer(binary, read, 10, &required) == 0 && required == 10);
    CHECK(memcmp(read, ten, sizeof ten) == 0);
    length = 1; /* a single byte is copied out too */
    memset(read, 0, sizeof read);
    CHECK(Setting_resizeBinaryBuffer(binary, &length) == 0 && length == 1);
    CHECK(Setting_getBinaryBuffer(binary, read, 10, &required) == 0 && required == 1);
    CHECK(read[0] == ten[0]);
    CHECK(Setting_initialize(binary, ConfigurationSettingType_uint32) == 0);
    length = 5;
    CHECK(Setting_getBinaryLength(binary, &length) == 3 && length == 5);
    CHECK(Setting_resizeBinaryBuffer(binary, &length) == 3 && length == 5);
    CHECK(Setting_setBinaryBuffer(binary, ten, 1) == 3);
    CHECK_ALL(0, Setting_releaseInstance(text), Setting_releaseInstance(wide),
              Setting_releaseInstance(binary));
}

/* The last error message follows the buffer protocol, and successful calls leave it alone. */
static void theLastErrorMessage(void) {
    void* set = newSet("ConfigurationSet");
    void* found = NULL;
    unsigned char text[8];
    uint32_t value = 0;
    CHECK(ConfigurationSet_retrieveSetting(set, u("a/b"), &found) == 7);
    CHECK(ConfigurationSet_getSettingCount(set, &value) == 0);
    memset(text, 'x', sizeof text);
    CHECK(Configuration_getLastErrorMessage(text, sizeof text, &value) == 6);
    CHECK(value == strlen(lastError()) + 1 && text[0] == 'x');
    CHECK(Configuration_getLastErrorMessage(NULL, 0, &value) == 6);
    CHECK(Configuration_getLastErrorMessage(NULL, 4, &value) == 1);
    CHECK(Configuration_getLastErrorMessage(text, sizeof text, NULL) == 1);
    CHECK_MESSAGE_HAS("'a/b'");
    CHECK(ConfigurationSet_releaseInstance(set) == 0);
}

int main(void) {
    unsigned char text[4];
    uint32_t required = 99;
    /* Before any failure the message is empty. */
    CHECK(Configuration_getLastErrorMessage(text, sizeof text, &required) == 0 && required == 1);
    CHECK(text[0] == '\0');

    factoryTypeNamesAndCapabilities();
    nullPointersAreRefusedWithoutSideEffects();
    formsAndFiles();
    pathsCodesAndFlags();
    typeCodesAndScalars();
    textAndBinaryBuffers();
    theLastErrorMessage();

    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
