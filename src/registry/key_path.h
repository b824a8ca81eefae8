#pragma once

// The one place for texts of key paths and the table of roots. They lie in the platform's room, which needs them too;
// all above it come in by this door.

#include "platform/registry/key_path.h" // IWYU pragma: export
