#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hexctrl/byte_store.h"
#include "hexctrl/hex_types.h"

namespace tolvar {

/// Reads a whole file. Only regular files: a pipe or a device could keep the window waiting for ever.
HexCode ReadHexFile(const std::string& name, std::vector<std::uint8_t>& bytes);

/// Writes a file anew, beside the old one, which it replaces once it is whole and on the disk; the permissions of the
/// old one stay. Returns 0, a HexCode where no file can be made, or else the number of bytes that could be written.
std::uint32_t WriteHexFile(const std::string& name, const ByteStore& bytes);

} // namespace tolvar
