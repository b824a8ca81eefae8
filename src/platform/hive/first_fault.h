#pragma once

#include <optional>

#include "platform/hive/hive_walk.h"

namespace tolvar {

/// A visitor of HiveWalk that looks whether everything below a key can be read.
struct FirstFault {
    std::optional<HiveFault> first;

    bool OnKey(const KeyNode& /*key*/, unsigned /*depth*/) { return true; }
    void OnValue(const ValueRecord& /*value*/, DataView /*data*/) {}
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& fault, unsigned /*depth*/) { first = first.value_or(fault); }
    [[nodiscard]] bool IsStopped() const { return first.has_value(); }
};

} // namespace tolvar
