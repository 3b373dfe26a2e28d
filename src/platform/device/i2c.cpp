#include "platform/i2c.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>

int openI2cBus(const char* path) {
    return open(path, O_RDWR);
}

int transferI2c(int fd, i2c_rdwr_ioctl_data* request) {
    return ioctl(fd, I2C_RDWR, request);
}
