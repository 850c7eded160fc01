// KnownLeaks.cpp - allocations the leak checker must not report: ones third-party code keeps for
// the life of the process. Only the tests' own fixtures reach these.
extern "C" const char* __lsan_default_suppressions() {
    // The HEVC encoder behind the tests' HEIC fixtures keeps its thread pool's buffers.
    return "leak:libx265.so\n";
}
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}
