// How a set hands out a form that is built whole: the length protocol over the kept form, and
// the whole form for save.
#include <cstring>

#include <orvandel/configuration/internal/ConfigurationSet.h>

namespace com {
namespace orvandel {
namespace configuration {

void ConfigurationSet::buildForm(KeptForm&) {
    throw unsupportedException;
}

void ConfigurationSet::rewriteBinary(unsigned char*, const unsigned char*, size_t) noexcept {}

// A current form: the kept one when nothing changed since it was built, otherwise a new one.
void ConfigurationSet::prepareForm() {
    if (!d_keptForm.isCurrent()) {
        d_keptForm.build([this](KeptForm& form) { buildForm(form); });
    }
}

// The form is about to be handed out: its binary values are written from the settings now.
void ConfigurationSet::completeForm() {
    d_keptForm.writeBinaries([this](unsigned char* at, const unsigned char* binary, size_t length) {
        rewriteBinary(at, binary, length);
    });
}

void ConfigurationSet::serializeWhole(unsigned char* out, size_t outLength, size_t* reqLength) {
    prepareForm();
    const size_t length = d_keptForm.bytes().size();
    *reqLength = length;
    if (length > outLength) {
        if (!d_keptForm.isCurrent()) {
            d_keptForm.release();
        }
        throw outBufferTooSmallException;
    }
    completeForm();
    if (length != 0) {
        std::memcpy(out, d_keptForm.bytes().data(), length);
    }
    d_keptForm.release();
    clearModified();
}

FormBuffer ConfigurationSet::serializedForm() {
    prepareForm();
    completeForm();
    FormBuffer form = d_keptForm.take();
    clearModified();
    return form;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
