// Model features of the camera.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// The lens type code; 10 is the long lens, every other value the standard one.
int get_lenstype(void);

#ifdef __cplusplus
}
#endif
