#pragma once

#include <string>
#include <vector>

#include "valuelist/key_rows.h"

namespace tolvar {

/// Labels of a tip, from the language library.
struct RowTipTexts {
    std::string valueName;
    std::string type;
    std::string length;
    std::string data;
    std::string lastChange;
    std::string owner;
    std::string group;
    std::string keyName;
    std::string keyClass;
    std::string valueCount;
    std::string valueNames;
    std::string subkeyCount;
    std::string subkeyNames;
    std::string noClass;
    std::string defaultName;
    std::string unknownTime;
    std::string upToKey;   ///< on the parent row of a key
    std::string upToRoots; ///< on the parent row of a root key
    std::string machine;   ///< behind it
};

/// The key whose rows are shown.
struct RowTipPlace {
    HKEY root = nullptr;
    std::string subpath;
};

/// All about one row, in lines: what it is, who owns it, what it holds. Empty where that can't be read, and for a row
/// that has nothing to tell. `name`: see KeyRows::Name. `isNT`: the platform has owners and times.
[[nodiscard]] std::vector<std::string> RowTip(const RowTipTexts& texts, bool isNT, const RowTipPlace& place,
                                              KeyRow::Kind kind, const std::string& name);

} // namespace tolvar
