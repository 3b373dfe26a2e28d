// The motion sensor's registers. Every function needs the world lock.
#pragma once

#include <cstdint>

namespace twin {

// The sensor as after power-up; `seed` is that of its noise.
void makeMotionSensor(std::uint64_t seed);

// Whether something answers at this bus address.
bool sensorAnswers(unsigned int address);

// One register. Identity and outputs cannot be written.
std::uint8_t readSensorRegister(std::uint8_t number);
void writeSensorRegister(std::uint8_t number, std::uint8_t value);

// Takes a change of the sensor's faults over: freezing holds the reading of this instant.
void refreshMotionSensor();

}  // namespace twin
