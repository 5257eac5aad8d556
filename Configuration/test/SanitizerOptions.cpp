// Under AddressSanitizer, an allocation that no allocator can satisfy must fail as it does in a
// normal build (realloc returns null, operator new throws std::bad_alloc) instead of ending the
// run: several tests check that the library survives exactly such a failure.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
#endif
