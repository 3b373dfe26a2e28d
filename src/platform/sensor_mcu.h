// The sensor microcontroller: its firmware. Every function returns 0 on success.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// The running firmware version.
int getVersion_sen(unsigned int* version);

// Re-initialises the library's link to the microcontroller.
int mcuReInitall_sen(void);

// Writes the firmware image file at `path` through the bootstrap loader.
int msp430fr2433BslWrite_sen(const char* path);

#ifdef __cplusplus
}
#endif
