#include "focus/focus_stats.h"

#include <cstdio>

#include "numbers.h"
#include "platform/encoder.h"

namespace {

constexpr int kChannel = 0;

// Single precision throughout; a dark area gives infinity or no number, which truncation settles.
float sharpness(unsigned int sum, unsigned int lum) {
    return static_cast<float>(sum) / static_cast<float>(lum);
}

}  // namespace

std::int32_t readFocusStats(std::int32_t* a, std::int32_t* b, std::int32_t* c) {
    FocusInfo info = {};
    if (GutAF_Info(&info, kChannel) != 0) {
        return 0;
    }
    const float scoreA = 10000.0F * sharpness(info.sum_a, info.lum_a);
    const float scoreB = 10000.0F * sharpness(info.sum_b, info.lum_b);
    const float scoreC = 10000.0F * sharpness(info.sum_c, info.lum_c);
    *a = truncateToInt32(scoreA);
    *b = truncateToInt32(scoreB);
    *c = truncateToInt32(scoreC);
    return truncateToInt32((scoreA + scoreB + scoreC) / 3.0F);
}

std::int32_t focusScoreWeighted() {
    FocusInfo info = {};
    if (GutAF_Info(&info, kChannel) != 0) {
        return 0;
    }
    const float a = sharpness(info.sum_a, info.lum_a);
    const float b = sharpness(info.sum_b, info.lum_b);
    const float c = sharpness(info.sum_c, info.lum_c);
    std::printf("sum_a:%d lum_a:%d a:%.5f sum_b:%d lum_b:%d b:%.5f sum_c:%d lum_c:%d c:%.5f\n",
                cutToInt32(info.sum_a), cutToInt32(info.lum_a), static_cast<double>(a),
                cutToInt32(info.sum_b), cutToInt32(info.lum_b), static_cast<double>(b),
                cutToInt32(info.sum_c), cutToInt32(info.lum_c), static_cast<double>(c));
    return truncateToInt32((a * 10000.0F * 10000.0F + b * 30000.0F + c) / 5.0F);
}
