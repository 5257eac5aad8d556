// The base implementation of IConfigurationSet: a sorted map from path to setting.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_CONFIGURATIONSET_H
#define ORVANDEL_CONFIGURATION_INTERNAL_CONFIGURATIONSET_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/FormBuffer.h>
#include <orvandel/configuration/internal/KeptForm.h>
#include <orvandel/configuration/internal/RefCounted.h>
#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/SettingOrder.h>
#include <orvandel/configuration/internal/SharedFlag.h>

namespace com {
namespace orvandel {
namespace configuration {

// The plain set type "ConfigurationSet" keeps settings in memory and cannot serialise; the
// format types derive from it and override serialize() and unserialize(). load() and save() are
// implemented here once for every type, on top of those two.
class ConfigurationSet : public RefCounted<IConfigurationSet> {
  public:
    using SettingMap = configuration::SettingMap;

    ConfigurationSet();

    const std::string* getType() const override;
    bool capLoadAndSave() const override;
    void load(const std::string& filePath) override;
    void save(const std::string& filePath) override;
    bool capSerialize() const override;
    void unserialize(const unsigned char* in, size_t inLength) override;
    void serialize(unsigned char* out, size_t outLength, size_t* reqLength) override;
    bool checkModified() override;
    AutoRefCounted<ISetting> retrieveSetting(const std::string& path) override;
    AutoRefCounted<const ISetting> retrieveLockedSetting(const std::string& path) const override;
    AutoRefCounted<ISetting> retrieveSettingByIndex(const std::string& branch, uint32_t index,
                                                    std::string& settingPath) override;
    AutoRefCounted<const ISetting> retrieveLockedSettingByIndex(
        const std::string& branch, uint32_t index, std::string& settingPath) const override;
    AutoRefCounted<ISetting> retrieveSettingByIndex(const char* branch, uint32_t index,
                                                    const std::string** settingPath) override;
    AutoRefCounted<const ISetting> retrieveLockedSettingByIndex(
        const char* branch, uint32_t index, const std::string** settingPath) const override;
    void insertSetting(const std::string& path, AutoRefCounted<ISetting> setting) override;
    size_t getSettingCount() const override;
    void removeSetting(const std::string& path) override;
    void removeAllSettings() override;
    bool equals(AutoRefCounted<const IConfigurationSet> r_hand) const override;

  protected:
    ~ConfigurationSet() override;

    // For readers: a new setting of the given type, already sharing this set's modified flag.
    AutoRefCounted<Setting> createAttachedSetting(ISetting::Type type) const;

    // For readers, while collecting a form into `read`: stores setting under path, replacing an
    // earlier setting read for the same path. Settings that arrive in path order cost constant
    // time each.
    static void storeRead(SettingMap& read, std::string&& path, AutoRefCounted<ISetting>&& setting);

    // For readers, once a whole form has been read into `read`: moves every entry into the set,
    // replacing the settings at the same paths and keeping all others, then clears the modified
    // flag. Throws nothing, so a read either changes the set completely or not at all. `read` is
    // left empty. Derived classes change d_settings only through this operation.
    void mergeRead(SettingMap& read);

    // For writers, after a successful serialize: the set now counts as unmodified.
    void clearModified();

    // For formats whose form is built whole: appends the set's whole form to form.bytes(),
    // telling `form` of every setting written, and leaving room for each binary value's form,
    // whose start it notes. The default refuses with unsupportedException.
    virtual void buildForm(KeptForm& form);

    // For formats whose form is built whole: writes the form of a binary value's current bytes
    // into the room buildForm left for it at `at`. A set without a form leaves no room, so the
    // default is never called.
    virtual void rewriteBinary(unsigned char* at, const unsigned char* binary,
                               size_t length) noexcept;

    // The length protocol for a form built whole (see KeptForm.h): serves the kept form when it
    // is current, otherwise builds it. A form that fits is copied into `out` and released, and
    // the set counts as unmodified; one that does not is kept for the next call, and
    // outBufferTooSmallException is thrown. Nothing is written into `out` then.
    void serializeWhole(unsigned char* out, size_t outLength, size_t* reqLength);

    // The whole form for save, in one buffer: the kept form when it is current, otherwise a new
    // one, so that saving needs the memory of one form. The set counts as unmodified afterwards.
    FormBuffer serializedForm();

    // For writers: the settings in path order, as an array to walk with forEachInOrder.
    const SettingOrder::Entries& settingsInOrder() { return d_order.of(d_settings); }

    std::string d_type;
    bool d_capLoadSave;
    bool d_capSerialize;
    std::string d_filePath;  // kept empty: every load and save names its file
    SettingMap d_settings;
    AutoRefCounted<SharedFlag> d_modifiedFlag;
    KeptForm d_keptForm;  // reports to d_modifiedFlag

  private:
    // Where the last successful by-index lookup ended, so that asking for the next index of the
    // same branch continues from there instead of walking from the branch's first path again.
    // Any change of the map forgets it.
    struct IndexCursor {
        bool valid = false;
        std::string branch;
        uint32_t index = 0;
        SettingMap::const_iterator position;
    };

    void prepareForm();
    void completeForm();
    SettingMap::const_iterator findByIndex(const std::string& branch, uint32_t index) const;
    // The entry at path; throws noSettingAtPathException.
    SettingMap::const_iterator findPath(const std::string& path) const;
    // Throws unsupportedException, recording that the set's type cannot do operation.
    [[noreturn]] void refuse(const char* operation) const;
    // The map gains or loses entries: forgets the positions kept in it.
    void changeShape() noexcept {
        d_indexCursor.valid = false;
        d_order.forget();
    }

    mutable IndexCursor d_indexCursor;
    SettingOrder d_order;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
