// The main-board microcontroller: motors, power, infra-red cut filter, LEDs and its firmware.
//
// Every function returns 0 on success. A move function orders `steps` steps and returns at once.
// The calls that concern a motor are not safe against each other: callers serialise them.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Pan and tilt: `device` selects the head (2), `speed` is the library's speed code.
int setPanForwardS(int device, int steps, int speed);
int setPanBackwardS(int device, int steps, int speed);
int setTiltForwardS(int device, int steps, int speed);
int setTiltBackwardS(int device, int steps, int speed);

// Lens axes and image rotation: `code` is a fixed code per axis, `speed` in steps per second.
int setZoom8Forward(int code, int steps, int speed);
int setZoom8Backward(int code, int steps, int speed);
int setFocus8Forward(int code, int steps, int speed);
int setFocus8Backward(int code, int steps, int speed);
int setIrisForward(int code, int steps, int speed);
int setIrisBackward(int code, int steps, int speed);
int setRotatForward(int code, int steps, int speed);
int setRotatBackward(int code, int steps, int speed);

// Status: pan and tilt are busy while the byte is not zero; the others are idle while its high
// nibble is 0xA.
int getPanBusyStatus(int device, unsigned char* status);
int getTiltBusyStatus(int device, unsigned char* status);
int getZoomStatus(unsigned char* status);
int getFocusStatus(unsigned char* status);
int getIrisStatus(unsigned char* status);
int getRotatStatus(unsigned char* status);

// The controller's own step counters.
int getPanPos(int device, int* position);
int getTiltnPos(int device, int* position);

// Motor and boost supplies; the mask is the library's.
int setPowerEnable(int mask);
int setPowerDisable(int mask);

// Infra-red cut filter: in (day) and out (night).
int setIcrSwEnalbe(void);
int setIcrSwDisable(void);

// LEDs 0 to 7. A word is four channel bytes; groups A and B have four words each.
int setLedMode(int led, int mode);
int setMuiltLEDs(const unsigned int* groupA, const unsigned int* groupB);

// Firmware: the running version, the link's re-initialisation, and the bootstrap loader, which
// reads the image file itself.
int getVersion_mb(unsigned int* version);
int mcuReInitall(void);
int msp430fr2433BslWrite(const char* path);

#ifdef __cplusplus
}
#endif
