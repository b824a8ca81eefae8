#pragma once

#include <span>
#include <vector>

#include "platform/registry/winreg.h"

namespace tolvar {

// The bytes of a value as the hive holds them, whatever its type. The platform's own calls convert texts, and put
// terminators behind them; an editor that must bring back what it was given goes round that.

/// A value's type and bytes. Either pointer may be null. Otherwise as RegQueryValueExA; nothing is written on an error.
LSTATUS QueryStoredValue(HKEY key, const char* name, DWORD* type, std::vector<BYTE>* data);

/// Stores a value with exactly these bytes. Answers as RegSetValueExA.
LSTATUS SetStoredValue(HKEY key, const char* name, DWORD type, std::span<const BYTE> data);

} // namespace tolvar
