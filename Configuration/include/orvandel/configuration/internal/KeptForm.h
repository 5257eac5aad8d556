// The serialised form that a length query built, kept for the call that follows it.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_KEPTFORM_H
#define ORVANDEL_CONFIGURATION_INTERNAL_KEPTFORM_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/FormBuffer.h>
#include <orvandel/configuration/internal/SharedFlag.h>

namespace com {
namespace orvandel {
namespace configuration {

// A caller that does not know a form's length asks with no buffer, then calls again with a buffer
// of the length it was told. Building the form is nearly all the work of both calls, so the
// first keeps the form it had to build and the second copies it, provided nothing changed in
// between.
//
// "Nothing changed" is decided by the set's shared flag, which counts every change made through
// any handle to the set or its settings (SharedFlag::changes): the form is current while the
// count is what it was when the form was built. Two kinds of change escape the count:
//  - a setting that was taken over by another set reports to that set's flag; a form that holds
//    such a setting is never kept;
//  - bytes written through a binary buffer handed out writable earlier; so a form is built with
//    room for each binary value and a note of where it stands, and the values are written from
//    the settings when the form is handed out (reading them through the writable accessor,
//    exactly as a fresh walk does). A length query, which hands nothing out, never copies or
//    encodes them.
// A form is used once: the call that copies it out releases it, and so does the first change
// after it was built (the form listens to the flag), so a set holds a second copy of its data
// only between a length query and the call that follows.
class KeptForm : private SharedFlag::ChangeListener {
  public:
    // Writes the current bytes of a binary value into the room left for them at `at`, which is
    // as long as the value's form (a binary buffer cannot be resized without the flag counting
    // it). Must not throw: the room is there, so writing into it cannot fail.
    using BinaryRewriter =
        std::function<void(unsigned char* at, const unsigned char* binary, size_t length)>;

    // changes: the flag of the set whose forms are kept; it outlives the KeptForm.
    explicit KeptForm(SharedFlag& changes) : d_changes(changes) {}
    KeptForm(const KeptForm&) = delete;
    KeptForm& operator=(const KeptForm&) = delete;
    ~KeptForm() { release(); }

    // For writers, while building: the bytes so far.
    FormBuffer& bytes() { return d_bytes; }

    // For writers, once per setting written: a setting that reports to another flag makes the
    // form one that cannot be kept.
    void noteSetting(const ISetting& setting);

    // For writers: the form of setting's binary value starts at `offset` of the bytes. The writer
    // leaves its bytes unwritten; writeBinaries writes them.
    void noteBinary(size_t offset, ISetting& setting);

    // For writers: drops what the build has written and noted so far, to write the form afresh.
    void restartBuild() {
        d_bytes.truncate(0);
        d_binaries.clear();
    }

    // True when a form is kept and nothing changed since it was built.
    bool isCurrent() const;

    // Builds a new form with build(*this), replacing any kept one, and keeps it if it can be
    // kept. Its binary values are left for writeBinaries. Anything build throws leaves no form
    // behind.
    void build(const std::function<void(KeptForm&)>& build);

    // Writes the current bytes of every binary value into the form, which must then be handed
    // out: called once the form is current, before it is copied or taken. Throws nothing.
    void writeBinaries(const BinaryRewriter& rewrite);

    // The whole form, taken out of the set; nothing is kept.
    FormBuffer take();

    // Frees the form and everything recorded about it.
    void release();

  private:
    void changed() override { release(); }

    // Keeps the form built, stamped with the flag's count now, when it can be kept.
    void keep();

    struct BinaryValue {
        size_t offset;
        ISetting* setting;
    };

    SharedFlag& d_changes;
    FormBuffer d_bytes;
    std::vector<BinaryValue> d_binaries;
    bool d_keepable = true;
    bool d_kept = false;
    uint64_t d_builtAt = 0;   // the flag's change count when the form was built or completed
    size_t d_lastLength = 0;  // of the last form built, to size the next one
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
