#include <orvandel/configuration/internal/ThreadState.h>

#include <pthread.h>

#include <new>

namespace com {
namespace orvandel {
namespace configuration {

namespace {

// Stands in the key's slot of a thread whose state could not be made: setting a slot takes no
// memory, so the loss itself is remembered.
char sd_lost;

void deleteState(void* state) {
    if (state != &sd_lost) {
        delete static_cast<ThreadState*>(state);
    }
}

// The key under which each thread's state hangs, made when the library is loaded. At unload the
// key goes, with the unloading thread's state; so no thread ends later in a destructor that is
// no longer mapped.
class StateKey {
  public:
    StateKey() : d_valid(::pthread_key_create(&d_key, deleteState) == 0) {}
    ~StateKey() {
        if (d_valid) {
            deleteState(::pthread_getspecific(d_key));
            ::pthread_key_delete(d_key);
        }
    }
    StateKey(const StateKey&) = delete;
    StateKey& operator=(const StateKey&) = delete;

    bool valid() const { return d_valid; }
    pthread_key_t key() const { return d_key; }

  private:
    pthread_key_t d_key;
    bool d_valid;
};

const StateKey sd_stateKey;

}  // namespace

ThreadState* existingThreadState() noexcept {
    if (!sd_stateKey.valid()) {
        return nullptr;
    }
    void* slot = ::pthread_getspecific(sd_stateKey.key());
    return slot != &sd_lost ? static_cast<ThreadState*>(slot) : nullptr;
}

bool threadStateLost() noexcept {
    return sd_stateKey.valid() && ::pthread_getspecific(sd_stateKey.key()) == &sd_lost;
}

ThreadState* threadState() noexcept {
    if (ThreadState* existing = existingThreadState()) {
        return existing;
    }
    if (!sd_stateKey.valid()) {
        return nullptr;
    }
    ThreadState* state = new (std::nothrow) ThreadState;
    void* slot = state != nullptr ? static_cast<void*>(state) : &sd_lost;
    if (::pthread_setspecific(sd_stateKey.key(), slot) != 0) {
        delete state;
        return nullptr;
    }
    return state;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
