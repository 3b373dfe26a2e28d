// Takes the place of _exit in coverage builds, where a process that ends at once must leave its
// counts as well.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

extern "C" void __gcov_dump();

extern "C" [[noreturn]] void _exit(int status) {
    __gcov_dump();
    for (;;) {
        syscall(SYS_exit_group, status);
    }
}
