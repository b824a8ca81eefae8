#pragma once

namespace tolvar {

/// Lets screen readers see a hex control as an editable text whose value tells the caret or the selection. Once is
/// enough.
void InstallHexAccessibility();

} // namespace tolvar
