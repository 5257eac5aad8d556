// A configuration set: settings stored under string paths.
//
// Any narrow string is a path, the empty string included. Paths are ordered byte-wise (as
// std::string compares them) and a branch is a plain prefix: "a" takes in "a", "a/b" and "ab",
// while "a/" takes in one level only. The set has no separator of its own; only the XML form
// gives "/" a meaning. The set holds a counted reference to each stored setting and shares its
// modified flag with them, so a change made through any setting is reported by checkModified().
//
// Sets are created by the factory by type name: "ConfigurationSet" (in memory only),
// "BinaryConfigurationSet" and "XMLConfigurationSet" (which serialise and load/save). Failures
// are thrown by value as IConfigurationSet::ConfigurationSetException; the standard library's
// exceptions (std::ios_base::failure, std::bad_alloc) pass through untranslated. A set and its
// settings must be used by one thread at a time.
#ifndef ORVANDEL_CONFIGURATION_ICONFIGURATIONSET_H
#define ORVANDEL_CONFIGURATION_ICONFIGURATIONSET_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvandel/Export.h>
#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ISetting.h>

namespace com {
namespace orvandel {
namespace configuration {

class ORVANDEL_API IConfigurationSet : public IRefCounted {
  public:
    // Thrown by value by the operations below.
    enum ConfigurationSetException {
        unsupportedException = 0,           // the set's type cannot serialise, load or save
        serializationFailureException = 1,  // a form could not be read or written
        outBufferTooSmallException = 2,     // serialize: the form does not fit the buffer
        noSettingAtPathException = 3,       // no setting at the path, or at the index
        settingExistsAtPathException = 4    // insertion under a path already taken
    };

    // The set's type name, borrowed for the life of the set. Throws nothing.
    virtual const std::string* getType() const = 0;

    // True when load() and save() are supported. Throws nothing.
    virtual bool capLoadAndSave() const = 0;

    // Reads the whole file at filePath and merges the settings it describes into the set:
    // settings at the paths it names are replaced, all others kept; the modified flag is clear
    // afterwards. Only a regular file is read: a directory, FIFO, device or socket is refused at
    // once, without waiting on it. Throws unsupportedException (no file opened) when the set
    // cannot load, std::ios_base::failure (its what() names the file and the reason) when the
    // file cannot be opened or read or is not a regular file, std::bad_alloc when it does not
    // fit in memory, or the reader's exception (serializationFailureException for a malformed
    // form). A failed load leaves the set's settings unchanged; the modified flag too, except
    // that an XML set that built settings before failing reports itself modified.
    virtual void load(const std::string& filePath) = 0;

    // Writes the set's serialised form to filePath, created when missing. The form is made whole
    // in memory first, so a failure to serialise never touches the file. The file is then
    // replaced, not truncated: the form goes to a new file beside it (".NAME.*"), flushed to disk
    // and renamed over it, so a failed or interrupted save leaves the old file whole. The file
    // keeps its permissions (and owner and group where the process may set them), a new file
    // gets those of a plain create, and a symbolic link is followed and kept. Where replacing is
    // impossible or would break what the file is to its user (a directory the process cannot
    // create files in, a file with several hard links, a device or FIFO), the file is written in
    // place. Throws unsupportedException when the set cannot save, the serialiser's exception,
    // or std::ios_base::failure (naming the file and the reason) when any write, flush, close or
    // rename fails; the modified flag is cleared once the form is made.
    virtual void save(const std::string& filePath) = 0;

    // True when serialize() and unserialize() are supported. Throws nothing.
    virtual bool capSerialize() const = 0;

    // Reads exactly inLength bytes at in (borrowed for the call) as one serialised form and merges
    // its settings into the set, as load() does. Throws unsupportedException when the set cannot
    // serialise, serializationFailureException for a malformed form; an XML set also passes on
    // std::ios_base::failure for a number or bool text that does not parse. A failed read leaves
    // the set's settings unchanged (a binary set's modified flag too; an XML set that built
    // settings before failing reports itself modified). Clears the modified flag on success.
    virtual void unserialize(const unsigned char* in, size_t inLength) = 0;

    // Writes the set's serialised form into out (outLength writable bytes; out may be null when
    // outLength is 0). *reqLength (never null) receives the form's full length, also when it does
    // not fit, in which case outBufferTooSmallException is thrown and the flag is kept. On
    // success the first *reqLength bytes of out hold the form and the modified flag is cleared.
    // To learn the length, call with a null out and 0 first. Throws unsupportedException when
    // the set cannot serialise (after storing 0 in *reqLength), serializationFailureException when
    // the form cannot be written; an XML set passes on the XML library's DOMException for a path
    // whose branch parts are not XML names.
    virtual void serialize(unsigned char* out, size_t outLength, size_t* reqLength) = 0;

    // True when the set or any of its settings changed since the last call (or since the set was
    // created, read or written); clears the flag. Throws nothing.
    virtual bool checkModified() = 0;

    // The setting stored at path (the same object, not a copy). Changes through the returned
    // handle change the stored setting. Throws noSettingAtPathException.
    virtual AutoRefCounted<ISetting> retrieveSetting(const std::string& path) = 0;

    // As retrieveSetting, through a handle that allows only the const operations.
    virtual AutoRefCounted<const ISetting> retrieveLockedSetting(const std::string& path) const = 0;

    // The index-th setting (from 0, in path order) among the paths that begin with branch; its
    // path is copied into settingPath. Throws noSettingAtPathException when the branch holds no
    // more than index settings; settingPath is then unwritten. Enumerating a branch with
    // consecutive indices costs constant time per call.
    virtual AutoRefCounted<ISetting> retrieveSettingByIndex(const std::string& branch,
                                                            uint32_t index,
                                                            std::string& settingPath) = 0;
    virtual AutoRefCounted<const ISetting> retrieveLockedSettingByIndex(
        const std::string& branch, uint32_t index, std::string& settingPath) const = 0;

    // As above, with the branch as NUL-terminated text (not null) and *settingPath (not null)
    // pointed at the path stored inside the set: borrowed, valid until that setting is removed
    // or the set is destroyed.
    virtual AutoRefCounted<ISetting> retrieveSettingByIndex(const char* branch, uint32_t index,
                                                            const std::string** settingPath) = 0;
    virtual AutoRefCounted<const ISetting> retrieveLockedSettingByIndex(
        const char* branch, uint32_t index, const std::string** settingPath) const = 0;

    // Stores setting (not empty; a setting made by the factory) under path. The set shares the
    // object with the caller, who may go on changing it, and attaches the set's modified flag to
    // it (replacing another set's); the flag is raised. Throws settingExistsAtPathException when
    // path is taken (nothing changes), std::invalid_argument for an empty handle or a setting the
    // library did not make.
    virtual void insertSetting(const std::string& path, AutoRefCounted<ISetting> setting) = 0;

    // The number of settings. Throws nothing.
    virtual size_t getSettingCount() const = 0;

    // Removes the setting at path (callers holding it keep it; it keeps raising this set's flag
    // until inserted elsewhere) and raises the flag. Throws noSettingAtPathException.
    virtual void removeSetting(const std::string& path) = 0;

    // Removes every setting and raises the flag, also when the set was empty. Throws nothing.
    virtual void removeAllSettings() = 0;

    // True when r_hand (any set, not empty) holds the same paths with equal settings; type names
    // and flags are not compared. Exceptions other than r_hand's ConfigurationSetException pass
    // through.
    virtual bool equals(AutoRefCounted<const IConfigurationSet> r_hand) const = 0;

  protected:
    ~IConfigurationSet() = default;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
