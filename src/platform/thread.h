// Threads. Every thread of the daemon is started here.
#pragma once

#include <pthread.h>

// Starts a thread with default attributes that runs `entry` with a null argument, and stores its
// handle in `thread`. 0 on success, else an error number.
int startThread(pthread_t* thread, void* (*entry)(void*));
