#include "platform/system/keyboard_locks.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace tolvar {

KeyboardLocks ReadKeyboardLocks()
{
    // Each light is a folder "inputN::capslock" with a file that holds its brightness; see the kernel's documentation
    // of the class "leds".
    KeyboardLocks locks;
    std::error_code error;
    for (const auto& light : std::filesystem::directory_iterator("/sys/class/leds", error)) {
        const std::string name = light.path().filename().string();
        bool* const lock = name.ends_with("::capslock")     ? &locks.isCapsOn
                           : name.ends_with("::numlock")    ? &locks.isNumOn
                           : name.ends_with("::scrolllock") ? &locks.isScrollOn
                                                            : nullptr;
        if (lock == nullptr) {
            continue;
        }
        int brightness = 0;
        std::ifstream(light.path() / "brightness") >> brightness;
        *lock = *lock || brightness > 0;
    }
    return locks;
}

} // namespace tolvar
