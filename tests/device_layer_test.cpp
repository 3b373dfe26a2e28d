// The layer between the daemon and the camera's system, on this machine.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/i2c.h"
#include "platform/thread.h"

// A second time beside the simulated head's. What it calls of the system is noted here.
namespace device {

struct Transfer {
    int fd;
    unsigned long request;
    const void* data;
};
std::vector<Transfer> transfers;
std::vector<useconds_t> sleeps;

int ioctl(int fd, unsigned long request, const void* data) {
    transfers.push_back({fd, request, data});
    return 2;
}

int usleep(useconds_t microseconds) {
    sleeps.push_back(microseconds);
    return 0;
}

// NOLINTBEGIN(bugprone-suspicious-include)
#include "platform/device/clock.cpp"
#include "platform/device/files.cpp"
#include "platform/device/i2c.cpp"
#include "platform/device/thread.cpp"
// NOLINTEND(bugprone-suspicious-include)

}  // namespace device

namespace {

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

TEST(DeviceLayer, ReadsTheRawClockAndSleepsForPositiveTimesOnly) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &before);
    const timespec read = device::readRawClock();
    clock_gettime(CLOCK_MONOTONIC_RAW, &after);
    EXPECT_LE(nanoseconds(before), nanoseconds(read));
    EXPECT_LE(nanoseconds(read), nanoseconds(after));
    for (const int time : {10'000, 1, 0, -1}) {
        device::sleepMicroseconds(time);
    }
    EXPECT_EQ(device::sleeps, (std::vector<useconds_t>{10'000, 1}));
}

TEST(DeviceLayer, LeavesPathsAsTheyAre) {
    EXPECT_EQ(device::devicePath("/mnt/nand/Pos.bin"), "/mnt/nand/Pos.bin");
}

TEST(DeviceLayer, OpensTheBusToReadAndWriteAndPassesTheTransferOn) {
    const int fd = device::openI2cBus("/dev/null");
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(device::openI2cBus("/dev/null/none"), -1);
    i2c_rdwr_ioctl_data request{};
    EXPECT_EQ(device::transferI2c(fd, &request), 2);
    ASSERT_EQ(device::transfers.size(), 1U);
    EXPECT_EQ(device::transfers[0].fd, fd);
    EXPECT_EQ(device::transfers[0].request, static_cast<unsigned long>(I2C_RDWR));
    EXPECT_EQ(device::transfers[0].data, &request);
    close(fd);
}

TEST(DeviceLayer, StartsAThreadBesideItsCreator) {
    static const pthread_t creator = pthread_self();
    pthread_t thread{};
    ASSERT_EQ(device::startThread(&thread,
                                  [](void*) -> void* {
                                      static bool beside;
                                      beside = pthread_equal(pthread_self(), creator) == 0;
                                      return &beside;
                                  }),
              0);
    void* beside = nullptr;
    ASSERT_EQ(pthread_join(thread, &beside), 0);
    EXPECT_TRUE(*static_cast<bool*>(beside));
}

}  // namespace
