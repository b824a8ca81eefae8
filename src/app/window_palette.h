#pragma once

#include "app/studio_options.h"

namespace tolvar {

/// Sets the colours of all windows made from now on; kDesktop leaves them to the desktop.
void ApplyPalette(StudioOptions::Palette palette);

} // namespace tolvar
