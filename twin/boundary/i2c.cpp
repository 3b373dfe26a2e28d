#include "platform/i2c.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <cerrno>
#include <cstring>
#include <span>

#include "twin/boundary/library_calls.h"
#include "twin/clock/timeline.h"
#include "twin/trace/trace.h"
#include "twin/world/faults.h"
#include "twin/world/motion_sensor.h"

namespace {

constexpr const char* kBusPath = "/dev/i2c-1";
// Beyond the descriptors that a process gets from the system.
constexpr int kBusDescriptor = 1'000'001;
constexpr unsigned int kMostMessages = 42;
constexpr unsigned int kLongestMessage = 256;

// The register that the next byte goes to or comes from.
std::uint8_t gRegister = 0;

int failure(int error) {
    errno = error;
    return -1;
}

bool wellFormed(const i2c_msg& message) {
    return message.buf != nullptr && message.len >= 1 && message.len <= kLongestMessage &&
           (message.flags & ~I2C_M_RD) == 0;
}

void readMessage(const i2c_msg& message) {
    for (std::uint8_t& byte : std::span(message.buf, message.len)) {
        byte = twin::readSensorRegister(gRegister++);
    }
}

// The first byte chooses the register, the others are written from there on.
void writeMessage(const i2c_msg& message) {
    gRegister = message.buf[0];
    for (const std::uint8_t byte : std::span(message.buf + 1, message.len - 1U)) {
        twin::trace("i2c", "write %02x %02x", unsigned{gRegister}, unsigned{byte});
        twin::writeSensorRegister(gRegister++, byte);
    }
}

}  // namespace

int openI2cBus(const char* path) {
    twin::enterLibrary("openI2cBus");
    const twin::WorldLock lock;
    if (path == nullptr || std::strcmp(path, kBusPath) != 0) {
        return failure(ENOENT);
    }
    return twin::callFails("openI2cBus") ? failure(EACCES) : kBusDescriptor;
}

int transferI2c(int fd, i2c_rdwr_ioctl_data* request) {
    twin::enterLibrary("transferI2c");
    const twin::WorldLock lock;
    if (fd != kBusDescriptor) {
        return failure(EBADF);
    }
    if (request == nullptr || request->msgs == nullptr || request->nmsgs < 1 ||
        request->nmsgs > kMostMessages) {
        return failure(EINVAL);
    }
    const std::span messages(request->msgs, request->nmsgs);
    for (const i2c_msg& message : messages) {
        if (!wellFormed(message)) {
            return failure(EINVAL);
        }
    }
    if (twin::callFails("transferI2c")) {
        return failure(EIO);
    }
    for (const i2c_msg& message : messages) {
        if (!twin::sensorAnswers(message.addr)) {
            return failure(ENXIO);
        }
        if ((message.flags & I2C_M_RD) != 0) {
            readMessage(message);
        } else {
            writeMessage(message);
        }
    }
    return static_cast<int>(request->nmsgs);
}
