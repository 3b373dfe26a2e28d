// The message bus: a key/value store that tells listeners of every set.
//
// Texts are NUL-terminated and at most 127 bytes long. Every function may be called from any
// thread, also from inside a handler; none of them calls a handler itself.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Called on the bus's one dispatcher thread, one call at a time, in the order of the sets. `key` is
// the full name of the key that was set, `value` the text of that very set; both live only for the
// duration of the call.
typedef void (*nbus_handler)(const char* key, const char* value);

// Connects to the bus. 0 on success.
int nbus_initial(void);

// Has `handler` called for every later set of every key whose name begins with `key`, byte for
// byte; the caller's own sets come back too. 0 on success.
int nbus_listen(const char* key, nbus_handler handler);

// Copies the value of `key` into `value`, cut to `size` - 1 bytes and terminated. 0 on success,
// also for an empty value; non-zero if there is no such key, and then `value` is untouched.
int nbus_get(const char* key, char* value, int size);

// Stores `value` under `key`, queues the delivery to the listeners and returns. 0 on success.
int nbus_set(const char* key, const char* value);

// Copies the full name of the `index`-th key (from 0, in byte order) whose name begins with
// `prefix` and is longer than it. 0 on success, -1 past the last.
int nbus_get_name(const char* prefix, int index, char* name, int size);

#ifdef __cplusplus
}
#endif
