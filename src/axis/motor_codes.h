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
// Speeds.
inline constexpr int kPanSpeed = 250;
inline constexpr int kTiltSpeed = 245;
inline constexpr int kLensSpeed = 5000;
// The lens type code of the long lens, whose zoom turns the other way.
inline constexpr int kLongLens = 10;
