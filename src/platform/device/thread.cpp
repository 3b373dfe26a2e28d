#include "platform/thread.h"

int startThread(pthread_t* thread, void* (*entry)(void*)) {
    return pthread_create(thread, nullptr, entry, nullptr);
}
