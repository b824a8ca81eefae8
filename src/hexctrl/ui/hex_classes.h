#pragma once

#include <cstdint>
#include <string_view>

#include "hexctrl/ui/hex_control.h"

namespace tolvar {

inline constexpr std::string_view kHexMemoryClass = "kdsw_dhex"; ///< data in memory
inline constexpr std::string_view kHexDeviceClass = "kdsw_hex";  ///< drives and files

/// Registers both window classes, once per process and before any window is made, with the clipboard that all controls
/// share. 0 registers nothing. Returns 0.
std::uint32_t RegisterHexClasses(int count = 1);

/// Takes both classes away. Controls that are alive keep the clipboard until they end. Returns 1.
std::uint32_t UnregisterHexClasses();

/// A control of a class by its name; its parent owns it. Null where no class of that name is registered.
[[nodiscard]] HexControl* CreateHexControl(std::string_view className, QWidget* parent);

} // namespace tolvar
