// Autofocus at the end of a zoom move, where the setting asks for it. Lens thread only.
#pragma once

// Switches the motor supply off for a moment and requests fast autofocus, if focus-after-zoom is
// on. The two differ in the line they print and in whether it comes before or after the request.
void focusAfterContinuousZoom();
void focusAfterAbsoluteZoom();
