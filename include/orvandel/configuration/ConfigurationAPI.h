/* The flat C interface of the configuration library.
 *
 * Every object crosses this interface as an opaque handle: a configuration set as the
 * IConfigurationSet* and a setting as the ISetting* of the object interfaces, passed as void*.
 * A handle handed out by a function here carries one reference that belongs to the caller, who
 * gives it back with ConfigurationSet_releaseInstance or Setting_releaseInstance. The same
 * pointer may be used through the C++ interfaces as well, and back.
 *
 * Every function returns one of the ConfigurationResult codes below. A null required pointer
 * gives ConfigurationResult_badArgument before anything happens; outputs are written only on
 * success, except the required lengths of the output-buffer protocol. Narrow strings are
 * NUL-terminated bytes; wide strings are NUL-terminated wchar_t text.
 *
 * Output-buffer protocol (text and bytes copied out): the caller passes a buffer, its capacity
 * in elements (bytes, or wchar_t for wide text) and a mandatory uint32_t* for the required
 * length. The buffer may be null when the capacity is 0, which only asks for the length. The
 * required length (text: its length plus the terminating NUL; bytes: the exact count) is stored
 * on success and also when the buffer is too small; then nothing is copied and the result is
 * ConfigurationResult_outBufferTooSmall. What is longer than a uint32_t can count (4 GiB or more)
 * never fits: its required length is reported as UINT32_MAX and the result is
 * ConfigurationResult_outBufferTooSmall, with nothing copied.
 *
 * No exception ever leaves these functions. Each family translates its own exception values
 * into the codes below; any other failure inside the library (a file that cannot be opened or
 * written, memory exhaustion, an error of the XML library) is stopped at the boundary and
 * reported as ConfigurationResult_serializationFailure by a ConfigurationSet_* function (the
 * set's operation failed) and as ConfigurationResult_badArgument by a Setting_* or
 * ConfigurationSetFactory_* function. Configuration_getLastErrorMessage then tells what happened.
 *
 * Threads: the functions take no locks. A set and its settings must be used by one thread at a
 * time; the last error message is kept per thread.
 */
#ifndef ORVANDEL_CONFIGURATION_CONFIGURATIONAPI_H
#define ORVANDEL_CONFIGURATION_CONFIGURATIONAPI_H

#include <stdbool.h>
#include <stdint.h>
#include <wchar.h>

#include <orvandel/Export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The result of every function. The numbers are part of the interface. */
enum ConfigurationResult {
    /* The operation was performed and its outputs are written. */
    ConfigurationResult_success = 0,
    /* A required pointer was null, a type code was out of range, or a Setting_* or
     * ConfigurationSetFactory_* call failed for a reason of its own (e.g. out of memory). */
    ConfigurationResult_badArgument = 1,
    /* The factory knows no configuration-set type of that name. */
    ConfigurationResult_unsupportedType = 2,
    /* The setting holds another type than the call reads or writes. */
    ConfigurationResult_wrongSettingType = 3,
    /* The set's type cannot load, save, serialise or unserialise. */
    ConfigurationResult_unsupported = 4,
    /* A form could not be read or written: malformed input, a file that cannot be opened,
     * read or written, or any other failure inside a ConfigurationSet_* call. */
    ConfigurationResult_serializationFailure = 5,
    /* The caller's output buffer is too small; the required length has been stored. */
    ConfigurationResult_outBufferTooSmall = 6,
    /* No setting at the path, or no setting at the index under the branch. */
    ConfigurationResult_noSettingAtPath = 7,
    /* A setting is already stored at the path. */
    ConfigurationResult_settingExistsAtPath = 8
};

/* C type codes of settings, for Setting_initialize and Setting_getType. */
enum ConfigurationSettingType {
    ConfigurationSettingType_bool = 1,
    ConfigurationSettingType_uchar = 2,
    ConfigurationSettingType_uint16 = 3,
    ConfigurationSettingType_uint32 = 4,
    ConfigurationSettingType_uint64 = 5,
    ConfigurationSettingType_char = 6,
    ConfigurationSettingType_int16 = 7,
    ConfigurationSettingType_int32 = 8,
    ConfigurationSettingType_int64 = 9,
    ConfigurationSettingType_float = 10,
    ConfigurationSettingType_double = 11,
    ConfigurationSettingType_string = 12,
    ConfigurationSettingType_binary = 13,
    ConfigurationSettingType_unicodeString = 14
};

/* ---- Errors ---------------------------------------------------------------------------- */

/* Copies the text of the last non-zero result returned on the calling thread, by the
 * output-buffer protocol; an empty text when there was none. The text says what the library found
 * where it failed: "no setting at path 'a/b'", "cannot open 'x.cfg': No such file or directory",
 * "settings.xml:3:5: reason" for a document loaded from a file, "line 3, column 5: reason" or
 * "byte 117: reason" for a form in memory, "out of memory".
 * Successful calls leave the text as it was, and this function never changes it. Returns 0, 1
 * (reqLength null, or buffer null with a capacity) or 6. */
ORVANDEL_API uint32_t Configuration_getLastErrorMessage(unsigned char* buffer, uint32_t bufLength,
                                                        uint32_t* reqLength);

/* ---- Factory --------------------------------------------------------------------------- */

/* Creates an empty set of the named type: exactly "ConfigurationSet", "BinaryConfigurationSet"
 * or "XMLConfigurationSet". *instance receives the set with one reference for the caller.
 * Returns 0, 1 or 2 (unknown name; *instance untouched). */
ORVANDEL_API uint32_t ConfigurationSetFactory_createConfigurationSet(const unsigned char* type,
                                                                     void** instance);

/* Creates a setting of type bool holding false. *instance receives it with one reference for
 * the caller. Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSetFactory_createSetting(void** instance);

/* ---- Configuration sets ---------------------------------------------------------------- */

/* Copies the set's type name by the output-buffer protocol; *reqLength is stored first.
 * Returns 0, 1 or 6. */
ORVANDEL_API uint32_t ConfigurationSet_getType(void* instance, unsigned char* buffer,
                                               uint32_t bufLength, uint32_t* reqLength);

/* *capLoadAndSave = whether the set can load and save files. Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_capLoadAndSave(void* instance, bool* capLoadAndSave);

/* Reads the whole file and merges its settings into the set (settings at other paths are kept;
 * a failed load changes none). Returns 0, 1, 4 (the set cannot load) or 5 (file missing or
 * unreadable, malformed content). */
ORVANDEL_API uint32_t ConfigurationSet_load(void* instance, const unsigned char* filePath);

/* Writes the set's form to the file, created or truncated; the file is opened only once the
 * form is complete. Returns 0, 1, 4 or 5 (the file cannot be written). */
ORVANDEL_API uint32_t ConfigurationSet_save(void* instance, const unsigned char* filePath);

/* *capSerialize = whether the set can serialise and unserialise. Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_capSerialize(void* instance, bool* capSerialize);

/* Reads inLength bytes at in (not null, even when inLength is 0) as one form and merges it
 * into the set. Returns 0, 1, 4 or 5 (malformed; the set is unchanged). */
ORVANDEL_API uint32_t ConfigurationSet_unserialize(void* instance, const unsigned char* in,
                                                   uint32_t inLength);

/* Writes the set's form into out by the output-buffer protocol (bytes, no terminator). Call
 * once with out null and outLength 0 to learn the length. Returns 0, 1, 4, 5 or 6; on other
 * failures *reqLength keeps the caller's value. */
ORVANDEL_API uint32_t ConfigurationSet_serialize(void* instance, unsigned char* out,
                                                 uint32_t outLength, uint32_t* reqLength);

/* *modified = whether the set or any of its settings changed since the last call; clears the
 * flag. Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_checkModified(void* instance, bool* modified);

/* *setting receives the setting stored at path (shared, not copied) with one reference for the
 * caller, who releases it with Setting_releaseInstance. Returns 0, 1 or 7. */
ORVANDEL_API uint32_t ConfigurationSet_retrieveSetting(void* instance, const unsigned char* path,
                                                       void** setting);

/* *setting receives the index-th setting (from 0, in byte-wise path order) among the paths that
 * begin with branch, with one reference for the caller; its path is copied by the output-buffer
 * protocol, except that a path buffer too small is not an error: the result is still 0, the
 * setting is handed out and only the required length is stored. Returns 0, 1 or 7. */
ORVANDEL_API uint32_t ConfigurationSet_retrieveSettingByIndex(
    void* instance, const unsigned char* branch, uint32_t index, void** setting,
    unsigned char* path, uint32_t pathBufferLengthCharsInclNULL,
    uint32_t* reqPathBufferLengthCharsInclNULL);

/* Stores settingInstance under path; the set takes a reference of its own and the caller keeps
 * (and still releases) its own. Returns 0, 1, 5 (not a setting of this library) or 8. */
ORVANDEL_API uint32_t ConfigurationSet_insertSetting(void* instance, const unsigned char* path,
                                                     void* settingInstance);

/* *count = the number of settings (low 32 bits). Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_getSettingCount(void* instance, uint32_t* count);

/* Removes the setting at path; callers holding it keep it. Returns 0, 1 or 7. */
ORVANDEL_API uint32_t ConfigurationSet_removeSetting(void* instance, const unsigned char* path);

/* Removes every setting. Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_removeAllSettings(void* instance);

/* *equallity = whether anotherInstance holds the same paths with equal settings (type names are
 * not compared). Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_equals(void* instance, void* anotherInstance,
                                              bool* equallity);

/* Gives back one reference to the set; the last one deletes it (settings that callers still hold
 * stay alive). Returns 0 or 1. */
ORVANDEL_API uint32_t ConfigurationSet_releaseInstance(void* instance);

/* ---- Settings -------------------------------------------------------------------------- */

/* Gives the setting the type of C type code mappedType (1 to 14, see ConfigurationSettingType);
 * the stored value is not reset. Returns 0 or 1 (also for a code out of range). */
ORVANDEL_API uint32_t Setting_initialize(void* instance, uint32_t mappedType);

/* *mappedType = the setting's C type code, 1 to 14. Returns 0 or 1. */
ORVANDEL_API uint32_t Setting_getType(void* instance, uint32_t* mappedType);

/* *equallity = whether anotherInstance has the same type and an equal value. Returns 0 or 1. */
ORVANDEL_API uint32_t Setting_equals(void* instance, void* anotherInstance, bool* equallity);

/* Gives back one reference to the setting; the last one deletes it (a setting stored in a set
 * lives on through the set). Returns 0 or 1. */
ORVANDEL_API uint32_t Setting_releaseInstance(void* instance);

/* Scalar accessors. A getter stores the value in *value; a setter stores value and raises the
 * modified flag of the set holding the setting. Both return 0, 1 (null pointer) or 3 (the
 * setting holds another type; *value is untouched and nothing changes). Booleans cross as
 * uint32_t: the getter stores 1 or 0, the setter takes any non-zero value as true. */
ORVANDEL_API uint32_t Setting_getBoolean(void* instance, uint32_t* value);
ORVANDEL_API uint32_t Setting_setBoolean(void* instance, uint32_t value);
ORVANDEL_API uint32_t Setting_getUCHAR(void* instance, unsigned char* value);
ORVANDEL_API uint32_t Setting_setUCHAR(void* instance, unsigned char value);
ORVANDEL_API uint32_t Setting_getUINT16(void* instance, uint16_t* value);
ORVANDEL_API uint32_t Setting_setUINT16(void* instance, uint16_t value);
ORVANDEL_API uint32_t Setting_getUINT32(void* instance, uint32_t* value);
ORVANDEL_API uint32_t Setting_setUINT32(void* instance, uint32_t value);
ORVANDEL_API uint32_t Setting_getUINT64(void* instance, uint64_t* value);
ORVANDEL_API uint32_t Setting_setUINT64(void* instance, uint64_t value);
ORVANDEL_API uint32_t Setting_getCHAR(void* instance, signed char* value);
ORVANDEL_API uint32_t Setting_setCHAR(void* instance, signed char value);
ORVANDEL_API uint32_t Setting_getINT16(void* instance, int16_t* value);
ORVANDEL_API uint32_t Setting_setINT16(void* instance, int16_t value);
ORVANDEL_API uint32_t Setting_getINT32(void* instance, int32_t* value);
ORVANDEL_API uint32_t Setting_setINT32(void* instance, int32_t value);
ORVANDEL_API uint32_t Setting_getINT64(void* instance, int64_t* value);
ORVANDEL_API uint32_t Setting_setINT64(void* instance, int64_t value);
ORVANDEL_API uint32_t Setting_getFLOAT(void* instance, float* value);
ORVANDEL_API uint32_t Setting_setFLOAT(void* instance, float value);
ORVANDEL_API uint32_t Setting_getDOUBLE(void* instance, double* value);
ORVANDEL_API uint32_t Setting_setDOUBLE(void* instance, double value);

/* Copies the narrow string value by the output-buffer protocol (up to an embedded NUL, if the
 * value holds one). Returns 0, 1, 3 (nothing written, *reqLength included) or 6. */
ORVANDEL_API uint32_t Setting_getString(void* instance, unsigned char* value, uint32_t bufLength,
                                        uint32_t* reqLength);

/* Stores a copy of the NUL-terminated text value (empty is valid). Returns 0, 1 or 3. */
ORVANDEL_API uint32_t Setting_setString(void* instance, const unsigned char* value);

/* As Setting_getString for the wide string value; lengths count wchar_t. */
ORVANDEL_API uint32_t Setting_getUnicodeString(void* instance, wchar_t* value, uint32_t bufLength,
                                               uint32_t* reqLength);

/* As Setting_setString for the wide string value. */
ORVANDEL_API uint32_t Setting_setUnicodeString(void* instance, const wchar_t* value);

/* Copies the binary value by the output-buffer protocol (an empty value gives 0 with nothing
 * copied). Reading raises no flag. Returns 0, 1, 3 or 6. */
ORVANDEL_API uint32_t Setting_getBinaryBuffer(void* instance, unsigned char* binary,
                                              uint32_t bufLength, uint32_t* reqLength);

/* Copies the first min(bufLength, current length) bytes of binary (not null, even when
 * bufLength is 0) into the setting's buffer, whose length does not change: to store a value of
 * another size, call Setting_resizeBinaryBuffer first. Raises the flag. Returns 0, 1 or 3. */
ORVANDEL_API uint32_t Setting_setBinaryBuffer(void* instance, unsigned char* binary,
                                              uint32_t bufLength);

/* *binaryLength = the binary value's length (low 32 bits). Returns 0, 1 or 3. */
ORVANDEL_API uint32_t Setting_getBinaryLength(void* instance, uint32_t* binaryLength);

/* Resizes the binary value to *binaryLength bytes (0 empties it; kept bytes keep their values,
 * new ones are undefined) and stores the resulting length back. Returns 0, 1 (also when no
 * memory can be had; the value is then unchanged) or 3. */
ORVANDEL_API uint32_t Setting_resizeBinaryBuffer(void* instance, uint32_t* binaryLength);

#ifdef __cplusplus
}
#endif

#endif
