#pragma once

namespace tolvar {

/// Which lock keys of the keyboard are on.
struct KeyboardLocks {
    bool isCapsOn = false;
    bool isNumOn = false;
    bool isScrollOn = false;
};

/// As the lights of the keyboards tell it; all off where there are none (a remote display, a virtual machine).
[[nodiscard]] KeyboardLocks ReadKeyboardLocks();

} // namespace tolvar
