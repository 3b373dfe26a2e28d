// The fixed arguments of the motor library's functions.
#pragma once

// Selects the head, for pan and tilt.
inline constexpr int kHead = 2;
// First arguments of the moves.
inline constexpr int kZoomCode = -1;
inline constexpr int kFocusCode = -56;
inline constexpr int kIrisCode = -86;
inline constexpr int kRotateCode = -3;
// First argument of the lens axes' drives to the end stops, but for the iris of a full home.
inline constexpr int kDriveCode = -1;
// Speeds of the lens axes, and of pan and tilt by the kind of their move (the fastest of the
// continuous ones).
inline constexpr int kLensSpeed = 5000;
inline constexpr int kPanMoveSpeed = 250;
inline constexpr int kPanContinuousSpeed = 240;
inline constexpr int kPanPresetSpeed = 240;
inline constexpr int kPanFastPresetSpeed = 251;
inline constexpr int kPanHomeSpeed = 250;
inline constexpr int kPanFastHomeSpeed = 252;
inline constexpr int kTiltMoveSpeed = 245;
inline constexpr int kTiltAbsoluteSpeed = 250;
inline constexpr int kTiltContinuousSpeed = 250;
inline constexpr int kTiltPresetSpeed = 250;
inline constexpr int kTiltHomeSpeed = 250;
// The lens type code of the long lens, whose zoom turns the other way.
inline constexpr int kLongLens = 10;
