#pragma once

#include "platform/hive/hive_walk.h"

namespace tolvar::fixtures {

/// Counts what a walk meets, and reads all of the data.
struct WalkCounter {
    const Hive* hive = nullptr;
    int keys = 0;
    int values = 0;
    int faults = 0;
    std::size_t dataBytes = 0;

    [[nodiscard]] static WalkCounter Walk(const Hive& hive)
    {
        WalkCounter counter{.hive = &hive};
        HiveWalk(hive, counter).Run(hive.Root());
        return counter;
    }

    bool OnKey(const KeyNode& /*key*/, unsigned /*depth*/)
    {
        ++keys;
        return true;
    }
    void OnValue(const ValueRecord& /*value*/, DataView data)
    {
        ++values;
        for (auto piece = hive->NextPiece(data); piece && !piece->empty(); piece = hive->NextPiece(data)) {
            dataBytes += piece->size();
        }
    }
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& /*fault*/, unsigned /*depth*/) { ++faults; }
    [[nodiscard]] bool IsStopped() const { return false; }
};

} // namespace tolvar::fixtures
