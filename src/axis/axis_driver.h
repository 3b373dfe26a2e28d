// The axis drivers: the one place that talks to the motors.
//
// Positions are open-loop step counts. A move clamps its target into the axis's range, orders the
// difference and returns at once with the position that the axis will have when its motor stops;
// the caller stores it. A move that finds its motor not ready returns the present position. Every
// order to a motor and every query of its status is made under `gMotorLock`, held for that call
// alone. `setMotorPower`, `setIcrSwitch` and the counter that `tiltStepLossCheck` reads take no
// lock: the library is relied on to have these safe beside the motor calls; meant so. Probes and
// waits: any thread. Moves and the supply: the lens thread.
#pragma once

#include <cstdint>

// Status probes. Pan and tilt: 0 idle, else busy (1 if the query failed). The others: 0 ready, -1
// not ready or the query failed. An idle motor's power contribution is taken back.
std::int32_t panIsBusy();
std::int32_t tiltIsBusy();
std::int32_t zoomIsReady();
std::int32_t focusIsReady();
std::int32_t irisIsReady();
std::int32_t rotateIsReady();

// Waits until the motor is idle: 0, or -1 after the last poll, also if that poll found it idle. Pan
// gives up after 50 s, tilt after 60 s, the others after 5 s.
std::int32_t panWaitIdle();
std::int32_t tiltWaitIdle();
std::int32_t zoomWaitReady();
std::int32_t focusWaitReady();
std::int32_t irisWaitReady();
std::int32_t rotateWaitReady();

// Moves from `current` to `target`; the new position. Zoom, focus, iris and rotate first wait for
// their motor; pan and tilt order at once, but `panMoveToSpeed` refuses while the pan motor runs.
std::int32_t panMoveTo(std::int32_t current, std::int32_t target);
std::int32_t panMoveToSpeed(std::int32_t current, std::int32_t target, std::int32_t speed);
std::int32_t tiltMoveTo(std::int32_t current, std::int32_t target);
std::int32_t tiltMoveToSpeed(std::int32_t current, std::int32_t target, std::int32_t speed);
std::int32_t zoomMoveTo(std::int32_t current, std::int32_t target);
std::int32_t focusMoveTo(std::int32_t current, std::int32_t target);
std::int32_t irisMoveTo(std::int32_t current, std::int32_t target);
std::int32_t rotateMoveTo(std::int32_t current, std::int32_t target);

// Switches the motor supply if it is not already in that state: 1 on, anything else off.
void setMotorPower(std::int32_t on);

// Switches the infra-red cut filter: "on" in, any other text out. The library's result.
std::int32_t setIcrSwitch(const char* text);

// Ends all continuous commands and waits for every motor to finish what it was ordered. Lens
// thread.
void stopAllAndWait();

// Diagnostic: drives tilt down and up again, up to 100 times, until the controller's own counter no
// longer returns to where it started; prints it each time.
void tiltStepLossCheck();
