// The video encoder's focus statistics.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Edge energy and luminance, summed over the picture areas A, B and C of one frame.
struct FocusInfo {
    unsigned int sum_a, sum_b, sum_c, lum_a, lum_b, lum_c;
};

// Attaches to the encoder's shared memory. 0 on success.
int PTZShmInit(void);

// Fills `info` with the statistics of the latest frame of `channel`. 0 on success.
int GutAF_Info(struct FocusInfo* info, int channel);

#ifdef __cplusplus
}
#endif
