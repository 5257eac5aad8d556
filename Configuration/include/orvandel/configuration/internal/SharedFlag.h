// The modified flag that a configuration set shares with every setting stored in it.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_SHAREDFLAG_H
#define ORVANDEL_CONFIGURATION_INTERNAL_SHAREDFLAG_H

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/internal/RefCounted.h>

namespace com {
namespace orvandel {
namespace configuration {

// A counted boolean: it lives as long as the set or any setting that holds it, so a change made
// through a setting is seen by the set even when the caller holds only the setting.
class SharedFlag : public RefCounted<IRefCounted> {
  public:
    explicit SharedFlag(bool flag) : d_flag(flag) {}

    // Raises the flag.
    void flag() { d_flag = true; }

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
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
