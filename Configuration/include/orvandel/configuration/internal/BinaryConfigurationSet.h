// The set type "BinaryConfigurationSet", whose form is the binary configuration stream
// described in docs/binary-format.md.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_BINARYCONFIGURATIONSET_H
#define ORVANDEL_CONFIGURATION_INTERNAL_BINARYCONFIGURATIONSET_H

#include <cstddef>

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
    // A length query keeps the form it built for the call that follows (see KeptForm.h).
    void serialize(unsigned char* out, size_t outLength, size_t* reqLength) override;

  protected:
    ~BinaryConfigurationSet() override = default;

    void buildForm(KeptForm& form) override;
    void rewriteBinary(unsigned char* at, const unsigned char* binary,
                       size_t length) noexcept override;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
