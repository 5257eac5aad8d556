// The set type "BinaryConfigurationSet", whose form is the binary configuration stream
// described in docs/binary-format.md.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_BINARYCONFIGURATIONSET_H
#define ORVANDEL_CONFIGURATION_INTERNAL_BINARYCONFIGURATIONSET_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <orvandel/configuration/internal/BinaryStream.h>
#include <orvandel/configuration/internal/ConfigurationSet.h>

namespace com {
namespace orvandel {
namespace configuration {

class BinaryConfigurationSet : public ConfigurationSet {
  public:
    BinaryConfigurationSet();

    // Reads the records into a map of its own and merges them only once the whole stream has
    // been read: a malformed stream (serializationFailureException) or an allocation failure
    // (std::bad_alloc) leaves the set's settings unchanged.
    void unserialize(const unsigned char* in, size_t inLength) override;

    // Writes every setting as one record, in path order. Zero-fills a buffer that is too small.
    //
    // A caller that does not know the length asks first with no buffer, then calls again with a
    // buffer of that length. To walk the settings only once for the pair, the first call keeps
    // the form it had to build anyway, and the second copies it, provided nothing changed in
    // between (the shared flag counts every change). Binary values are read afresh from the
    // settings, since a caller may write through a writable buffer it obtained earlier without
    // any further call. The buffer that holds the form is reused from call to call, so a set
    // that has been serialised keeps memory of its form's size until it is destroyed.
    void serialize(unsigned char* out, size_t outLength, size_t* reqLength) override;

  protected:
    ~BinaryConfigurationSet() override = default;

  private:
    // Where a binary value's bytes stand in a kept form, and whose they are.
    struct BinaryPlace {
        size_t offset;
        Setting* setting;
    };

    // The form built by a length query, kept for the call that follows.
    struct PendingForm {
        bool kept = false;
        uint64_t changes = 0;  // the flag's change count when the form was built
        GrowableBuffer bytes;
        std::vector<BinaryPlace> binaries;
        size_t lastLength = 0;  // the length of the last form built, to size the next one
    };

    template <class Writer>
    bool writeSettings(Writer& writer, std::vector<BinaryPlace>* binaries);
    size_t keepForm();
    bool keptFormIsCurrent() const;
    void serveKeptForm(unsigned char* out, size_t outLength, size_t* reqLength);
    void dropKeptForm();

    PendingForm d_pending;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
