#include "twin/power_cut.h"

#include <string>

#include "twin/console.h"
#include "twin/fault_values.h"
#include "twin/output.h"
#include "twin/session.h"
#include "twin/timeline.h"

namespace twin {

void beforeChange(const char* kind, const char* name) {
    {
        const WorldLock world;
        if (!takeFault(Fault::powerCut, 0) || faultValue(Fault::powerCut) != 0) {
            return;
        }
    }
    answer(std::string("power cut: ") + kind + " " + name);
    endRun(consoleStatus());
}

}  // namespace twin
