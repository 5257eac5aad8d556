/* The road of one request, through the flat C interface: a uint32 setting is stored under
 * "group/value" in a binary set, saved to a file, loaded into a new set and read back; then the
 * loaded settings are written as an XML document, which is printed.
 *
 * Every handle handed out carries one reference that this program gives back with the
 * matching *_releaseInstance. Every call returns a ConfigurationResult; on failure the program
 * prints the library's message for it and stops.
 *
 *   save_and_load_c [FILE]     (FILE defaults to example.cfg) */
#include <orvandel/configuration/ConfigurationAPI.h>

#include <stdio.h>
#include <stdlib.h>

static const unsigned char* text(const char* s) {
    return (const unsigned char*)s;
}

/* Stops the program with the library's message when a call failed. */
static void check(uint32_t result, const char* call) {
    unsigned char message[256];
    uint32_t required = 0;
    if (result == ConfigurationResult_success) {
        return;
    }
    if (Configuration_getLastErrorMessage(message, sizeof message, &required) != 0) {
        message[0] = '\0';
    }
    fprintf(stderr, "%s failed with %u: %s\n", call, (unsigned)result, (const char*)message);
    exit(EXIT_FAILURE);
}

/* Saves one uint32 setting, 7 at "group/value", in a binary set to filePath. */
static void save(const char* filePath) {
    void* set = NULL;
    void* setting = NULL;
    check(ConfigurationSetFactory_createConfigurationSet(text("BinaryConfigurationSet"), &set),
          "createConfigurationSet");
    check(ConfigurationSetFactory_createSetting(&setting), "createSetting");
    check(Setting_initialize(setting, ConfigurationSettingType_uint32), "Setting_initialize");
    check(Setting_setUINT32(setting, 7), "Setting_setUINT32");
    /* The set takes a reference of its own; ours is still ours to give back. */
    check(ConfigurationSet_insertSetting(set, text("group/value"), setting), "insertSetting");
    check(ConfigurationSet_save(set, text(filePath)), "ConfigurationSet_save");
    check(Setting_releaseInstance(setting), "Setting_releaseInstance");
    check(ConfigurationSet_releaseInstance(set), "ConfigurationSet_releaseInstance");
}

/* Copies every setting of from into to: the same setting objects, shared by both sets. */
static void copySettings(void* from, void* to) {
    uint32_t count = 0;
    uint32_t index;
    check(ConfigurationSet_getSettingCount(from, &count), "getSettingCount");
    for (index = 0; index < count; ++index) {
        unsigned char path[256];
        uint32_t required = 0;
        void* setting = NULL;
        check(ConfigurationSet_retrieveSettingByIndex(from, text(""), index, &setting, path,
                                                      sizeof path, &required),
              "retrieveSettingByIndex");
        if (required > sizeof path) {
            fprintf(stderr, "a path of %u bytes is too long for this example\n",
                    (unsigned)required);
            exit(EXIT_FAILURE);
        }
        check(ConfigurationSet_insertSetting(to, path, setting), "insertSetting");
        check(Setting_releaseInstance(setting), "Setting_releaseInstance");
    }
}

/* Prints the settings of set as an XML document. The first serialize call only asks for the
 * length (result 6); the second fills a buffer of that length. */
static void printAsXml(void* set) {
    void* xml = NULL;
    unsigned char* document;
    uint32_t length = 0;
    uint32_t result;
    check(ConfigurationSetFactory_createConfigurationSet(text("XMLConfigurationSet"), &xml),
          "createConfigurationSet");
    copySettings(set, xml);
    result = ConfigurationSet_serialize(xml, NULL, 0, &length);
    if (result != ConfigurationResult_outBufferTooSmall) {
        check(result, "ConfigurationSet_serialize");
    }
    document = malloc(length + 1);
    if (document == NULL) {
        fprintf(stderr, "out of memory\n");
        exit(EXIT_FAILURE);
    }
    check(ConfigurationSet_serialize(xml, document, length, &length), "ConfigurationSet_serialize");
    document[length] = '\0';
    printf("The same settings as XML:\n%s\n", (const char*)document);
    free(document);
    check(ConfigurationSet_releaseInstance(xml), "ConfigurationSet_releaseInstance");
}

int main(int argc, char** argv) {
    const char* filePath = argc > 1 ? argv[1] : "example.cfg";
    void* loaded = NULL;
    void* setting = NULL;
    uint32_t value = 0;

    save(filePath);
    printf("C: saved group/value = 7 to %s\n", filePath);

    check(ConfigurationSetFactory_createConfigurationSet(text("BinaryConfigurationSet"), &loaded),
          "createConfigurationSet");
    check(ConfigurationSet_load(loaded, text(filePath)), "ConfigurationSet_load");
    check(ConfigurationSet_retrieveSetting(loaded, text("group/value"), &setting),
          "retrieveSetting");
    check(Setting_getUINT32(setting, &value), "Setting_getUINT32");
    check(Setting_releaseInstance(setting), "Setting_releaseInstance");
    printf("C: loaded group/value = %u\n", (unsigned)value);

    printAsXml(loaded);
    check(ConfigurationSet_releaseInstance(loaded), "ConfigurationSet_releaseInstance");
    return value == 7 ? EXIT_SUCCESS : EXIT_FAILURE;
}
