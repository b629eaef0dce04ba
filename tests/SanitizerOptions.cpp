// Linked into every test program: a failed huge allocation must come back to the code as an
// out-of-memory condition, as it does without the sanitizers, instead of ending the process.
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
    return "allocator_may_return_null=1:detect_leaks=1";
}
extern "C" __attribute__((visibility("default"), used)) const char* __ubsan_default_options() {
    return "print_stacktrace=1:halt_on_error=1";
}
