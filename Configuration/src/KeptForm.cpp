#include <orvandel/configuration/internal/KeptForm.h>

#include <orvandel/configuration/internal/Setting.h>

namespace com {
namespace orvandel {
namespace configuration {

void KeptForm::noteSetting(const ISetting& setting) {
    if (!static_cast<const Setting&>(setting).carriesFlag(&d_changes)) {
        d_keepable = false;
    }
}

void KeptForm::noteBinary(size_t offset, ISetting& setting) {
    d_binaries.push_back({offset, &setting});
}

bool KeptForm::isCurrent() const {
    return d_kept && d_builtAt == d_changes.changes();
}

// Room for a form as long as the last one is made at once, so that a large form is not copied
// from block to block as it grows.
void KeptForm::build(const std::function<void(KeptForm&)>& build) {
    release();
    try {
        d_bytes.reserveMore(d_lastLength);
        build(*this);
        d_lastLength = d_bytes.size();
    } catch (...) {
        release();
        throw;
    }
    keep();
}

void KeptForm::keep() {
    d_kept = d_keepable;
    d_builtAt = d_changes.changes();
    if (d_kept) {
        d_changes.listenOnce(this);
    }
}

// The writable accessor raises the flag, which must not release the form being refreshed.
void KeptForm::refreshBinaries(const BinaryRewriter& rewrite) {
    d_changes.listenOnce(nullptr);
    try {
        for (const BinaryValue& value : d_binaries) {
            unsigned char* binary = nullptr;
            size_t length = 0;
            value.setting->getBinaryBuffer(&binary, &length);
            rewrite(d_bytes.data() + value.offset, binary, length);
        }
    } catch (...) {
        release();
        throw;
    }
    keep();
}

FormBuffer KeptForm::take() {
    FormBuffer form(std::move(d_bytes));
    release();
    return form;
}

void KeptForm::release() {
    if (d_kept) {
        d_changes.listenOnce(nullptr);
    }
    FormBuffer().swap(d_bytes);
    std::vector<BinaryValue>().swap(d_binaries);
    d_keepable = true;
    d_kept = false;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
