// What the sanitizers' runtimes ask the program for; nothing calls it elsewhere.

extern "C" {
// Tests ask for memory that cannot be had, and must get null for it.
__attribute__((visibility("default"), used)) const char* __asan_default_options();
const char* __asan_default_options() { return "allocator_may_return_null=1"; }
__attribute__((visibility("default"), used)) const char* __tsan_default_options();
const char* __tsan_default_options() { return "allocator_may_return_null=1"; }
}
