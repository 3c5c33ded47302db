// _exit() in a build that counts: what the process has reached is written first. The linker
// puts the function in the place of the real one (--wrap).

extern "C" {

void __gcov_dump();  // gcov.h declares it without regard to C++
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}
}
