// The daemon's lines are calls into a library, too: the linker has what writes them pass through
// here (stdio is not to be left in the midst of a line, so that the twin acts once it is written).
#include <cstdarg>
#include <cstdio>

#include "twin/boundary/library_calls.h"

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names for what is wrapped.
int __real_puts(const char* line);
int __wrap_puts(const char* line);
__attribute__((format(printf, 1, 2))) int __wrap_printf(const char* format, ...);
__attribute__((format(printf, 2, 3))) int __wrap___printf_chk(int flag, const char* format, ...);

int __wrap_puts(const char* line) {
    const int result = __real_puts(line);
    twin::enterLibrary("log");
    return result;
}

int __wrap_printf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = std::vprintf(format, arguments);
    va_end(arguments);
    twin::enterLibrary("log");
    return result;
}

// What printf is called where the C library checks its arguments.
int __wrap___printf_chk(int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = std::vprintf(format, arguments);
    va_end(arguments);
    twin::enterLibrary("log");
    return result;
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
