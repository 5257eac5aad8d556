// What the library keeps for each thread that calls it.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_THREADSTATE_H
#define ORVANDEL_CONFIGURATION_INTERNAL_THREADSTATE_H

#include <string>

#include <orvandel/configuration/internal/FailureDetail.h>

namespace com {
namespace orvandel {
namespace configuration {

struct ThreadState {
    FailureDetail failure;         // the last failure the library detected on this thread
    std::string lastErrorMessage;  // the flat interface's last failure on this thread
    bool outOfMemory = false;      // the message could not be composed for lack of memory
    std::string pathScratch;       // keeps its capacity, so a path argument costs no allocation
};

// The calling thread's state, made on its first use and freed when the thread ends (or the
// library is unloaded); null when it cannot be made because memory is exhausted, which the
// thread then remembers (see threadStateLost). Nothing here can abort the process: the state is
// no thread_local object with a destructor, whose registration the C library aborts on when it
// finds no memory.
ThreadState* threadState() noexcept;

// The calling thread's state if it has one; makes none.
ThreadState* existingThreadState() noexcept;

// True when the calling thread's state could not be made the last time it was needed.
bool threadStateLost() noexcept;

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
