#include "twin/camera/guard.h"

#include <utility>

namespace twin {

int Guard::look(const Progress& progress, std::chrono::nanoseconds heldUp) {
    using std::chrono_literals::operator""ms;
    const bool stands =
        progress.running != nullptr && progress.time == last_.time && progress.turn == last_.turn;
    last_ = progress;
    const bool waited = heldUp - std::exchange(heldUp_, heldUp) > 500ms;
    standing_ = !stands ? 0 : waited ? standing_ : standing_ + 1;
    return standing_;
}

}  // namespace twin
