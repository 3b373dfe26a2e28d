#include "orientation/motion_sensor.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <cstdio>

#include "control_state.h"
#include "platform/i2c.h"

namespace {

constexpr char kBusPath[] = "/dev/i2c-1";
constexpr std::uint16_t kAddress = 0x6A;
constexpr std::uint8_t kIdentityRegister = 0x0F;
constexpr std::uint8_t kIdentity = 0x6B;

// Descriptor of the bus: above 0 open, else not, so that a descriptor of 0 is opened again.
constinit SharedInt giGyroFd = 0;

struct RegisterValue {
    std::uint8_t address;
    std::uint8_t value;
};

// The last two registers get other values right after, by GyroSetCtrl; kept as it stands.
constexpr RegisterValue kInitialValues[] = {{0x17, 0xE0}, {0x18, 0xE2}, {0x10, 0x72}, {0x11, 0x70}};
constexpr RegisterValue kControlValues[] = {{0x10, 0x40}, {0x11, 0x40}};

// m/s² per count: 0.061 thousandths of gravity.
float countsToAcceleration(std::int16_t counts) {
    return static_cast<float>(counts * 0.061 * 9.80665 / 1000);
}

// The most that one transfer carries, the register number included.
constexpr int kLongestTransfer = 256;

// Writes `length` bytes to the device at `address`: the register's number and what `data` has for
// it and the registers after it. What the transfer returned, or -1 if the bus is not open.
std::int32_t GyroI2cWrite(std::uint8_t address, std::uint8_t first, const std::uint8_t* data,
                          int length) {
    const std::int32_t fd = giGyroFd;
    if (fd < 0) {
        return -1;
    }
    std::uint8_t bytes[kLongestTransfer] = {first};
    std::copy_n(data, length - 1, bytes + 1);
    i2c_msg message = {address, 0, static_cast<std::uint16_t>(length), bytes};
    i2c_rdwr_ioctl_data request = {&message, 1};
    return transferI2c(fd, &request);
}

// Reads `length` bytes from the register on; zeros if the transfer fails. 0, or below 0 for a
// failed transfer and a bus that is not open.
std::int32_t GyroI2cRead(std::uint16_t address, std::uint8_t first, std::uint8_t* data,
                         int length) {
    const std::int32_t fd = giGyroFd;
    if (fd < 0) {
        return -1;
    }
    std::uint8_t received[kLongestTransfer] = {};
    i2c_msg messages[] = {{address, 0, 1, &first},
                          {address, I2C_M_RD, static_cast<std::uint16_t>(length), received}};
    i2c_rdwr_ioctl_data request = {messages, 2};
    const std::int32_t result = transferI2c(fd, &request);
    std::copy_n(received, length, data);
    return std::min(result, 0);
}

std::int32_t GyroWriteReg(const RegisterValue& entry) {
    return GyroI2cWrite(kAddress, entry.address, &entry.value, 2);
}

// 0 if it cannot be read.
std::uint8_t GyroReadReg(std::uint8_t address) {
    std::uint8_t value = 0;
    GyroI2cRead(kAddress, address, &value, 1);
    return value;
}

void GyroSetCtrl() {
    for (const RegisterValue& entry : kControlValues) {
        GyroWriteReg(entry);
    }
}

// The high byte is read first.
float readAxis(std::uint8_t lowRegister) {
    const unsigned high = GyroReadReg(static_cast<std::uint8_t>(lowRegister + 1));
    const unsigned low = GyroReadReg(lowRegister);
    return countsToAcceleration(static_cast<std::int16_t>(low | high << 8));
}

}  // namespace

std::int32_t GyroOpen() {
    if (giGyroFd > 0) {
        return 0;
    }
    const std::int32_t fd = openI2cBus(kBusPath);
    giGyroFd = fd;
    if (fd < 0) {
        std::printf("open %s error\n", kBusPath);
        return -1;
    }
    for (const RegisterValue& entry : kInitialValues) {
        const std::int32_t result = GyroWriteReg(entry);
        std::printf("Reg:0x%02x val:0x%02x iRet:%d\n", entry.address, entry.value, result);
    }
    GyroSetCtrl();
    return 0;
}

std::int32_t GyroCheckId() {
    GyroOpen();
    const std::uint8_t identity = GyroReadReg(kIdentityRegister);
    std::printf("Gyro ID:%x\n", identity);
    return identity == kIdentity ? 0 : -1;
}

Acceleration GyroReadAccel() {
    Acceleration acceleration = {};
    acceleration.x = readAxis(0x28);
    acceleration.y = readAxis(0x2A);
    acceleration.z = readAxis(0x2C);
    return acceleration;
}
