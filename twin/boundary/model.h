// The lens that this camera has.
#pragma once

namespace twin {

void setLensType(int type);
int lensType();

// Whether it is the long lens.
bool lensIsLong();

}  // namespace twin
