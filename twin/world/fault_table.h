// The table of faults. Only the `fault` command and the fault values themselves use it.
#pragma once

#include <cstddef>
#include <span>

#include "twin/world/fault_values.h"

namespace twin {

// What stands at a fault's end: mostly one word.
// `set` is a count, a key and a value.
enum class Value { none, count, calls, hex, offset, percent, factor, set };

struct ValueRow {
    Value value;
    const char* word;
    // Of what is kept: percentages and factors in thousandths.
    int low;
    int high;
};

// "NAME [SUBJECT] [SETTING] [VALUE]".
struct FaultRow {
    Fault fault;
    const char* name;
    const char* subjectWord;
    std::span<const char* const> subjects;  // one empty word where there is none
    const char* setting;
    ValueRow value;
    const char* effect;
};

// One row a fault, in the order of their numbers.
std::span<const FaultRow, kFaultCount> faultTable();

// To be called after values have changed, before the daemon goes on.
void faultsChanged();

}  // namespace twin
