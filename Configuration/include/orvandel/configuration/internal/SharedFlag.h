// The modified flag that a configuration set shares with every setting stored in it.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_SHAREDFLAG_H
#define ORVANDEL_CONFIGURATION_INTERNAL_SHAREDFLAG_H

#include <cstdint>
#include <utility>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/internal/RefCounted.h>

namespace com {
namespace orvandel {
namespace configuration {

// A counted boolean: it lives as long as the set or any setting that holds it, so a change made
// through a setting is seen by the set even when the caller holds only the setting.
//
// Besides the flag, which callers clear when they ask, it counts every change it hears of, also
// the changes that do not raise the flag (a setting's type set anew, a setting taken over by
// another set, a read merged into the set). The count never goes back, so a set can tell whether
// anything changed between two moments, whoever cleared the flag in between.
//
// One listener may ask to hear of the next change (a set's kept form, which frees itself then).
class SharedFlag : public RefCounted<IRefCounted> {
  public:
    class ChangeListener {
      public:
        // Called once, at the first change after listenOnce; must not change the flag.
        virtual void changed() = 0;

      protected:
        ~ChangeListener() = default;
    };

    explicit SharedFlag(bool flag) : d_flag(flag), d_changes(0) {}

    // Raises the flag.
    void flag() {
        d_flag = true;
        noteChange();
    }

    // Counts a change that does not raise the flag.
    void noteChange() {
        ++d_changes;
        if (d_listener != nullptr) {
            std::exchange(d_listener, nullptr)->changed();
        }
    }

    // Has `listener` told of the next change (replacing any other listener), or nobody when
    // it is null. The listener must stop listening before it goes away.
    void listenOnce(ChangeListener* listener) { d_listener = listener; }

    // The number of changes so far.
    uint64_t changes() const { return d_changes; }

    // The flag's state, unchanged.
    bool isFlagged() const { return d_flag; }

    // Test and clear in one step: returns the state and clears it.
    bool checkFlagged() {
        const bool flagged = d_flag;
        d_flag = false;
        return flagged;
    }

  private:
    ~SharedFlag() override = default;

    bool d_flag;
    uint64_t d_changes;
    ChangeListener* d_listener = nullptr;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
