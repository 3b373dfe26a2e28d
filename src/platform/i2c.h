// The I2C bus of the motion sensor.
#pragma once

struct i2c_rdwr_ioctl_data;

// Opens the bus device read-write. Returns its descriptor, or a negative value.
int openI2cBus(const char* path);

// Carries out one combined transfer. Negative on failure.
int transferI2c(int fd, i2c_rdwr_ioctl_data* request);
