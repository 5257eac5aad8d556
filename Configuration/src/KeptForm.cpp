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

// The writable accessor raises the flag, which must not release the form being completed. The
// settings lie wherever they were allocated, so each is fetched a few values ahead of its turn,
// and its bytes a little later.
void KeptForm::writeBinaries(const BinaryRewriter& rewrite) {
    constexpr size_t sd_settingAhead = 8;
    constexpr size_t sd_bytesAhead = 4;
    d_changes.listenOnce(nullptr);
    const size_t count = d_binaries.size();
    for (size_t i = 0; i < count; ++i) {
        if (i + sd_settingAhead < count) {
            static_cast<const Setting*>(d_binaries[i + sd_settingAhead].setting)->prefetch();
        }
        if (i + sd_bytesAhead < count) {
            static_cast<const Setting*>(d_binaries[i + sd_bytesAhead].setting)->prefetchValue();
        }
        unsigned char* binary = nullptr;
        size_t length = 0;
        d_binaries[i].setting->getBinaryBuffer(&binary, &length);
        rewrite(d_bytes.data() + d_binaries[i].offset, binary, length);
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
