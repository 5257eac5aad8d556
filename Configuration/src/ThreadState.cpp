#include <orvandel/configuration/internal/ThreadState.h>

#include <pthread.h>

#include <new>

namespace com {
namespace orvandel {
namespace configuration {

namespace {

void deleteState(void* state) {
    delete static_cast<ThreadState*>(state);
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

ThreadState* threadState() noexcept {
    if (!sd_stateKey.valid()) {
        return nullptr;
    }
    if (void* existing = ::pthread_getspecific(sd_stateKey.key())) {
        return static_cast<ThreadState*>(existing);
    }
    ThreadState* state = new (std::nothrow) ThreadState;
    if (state != nullptr && ::pthread_setspecific(sd_stateKey.key(), state) != 0) {
        delete state;
        state = nullptr;
    }
    return state;
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
