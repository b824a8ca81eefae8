#include "hexctrl/ui/hex_classes.h"

#include "hexctrl/ui/hex_accessible.h"

namespace tolvar {

namespace {

/// The clipboard of the registered classes, which is what is registered of them: a process has one, like the system's
/// own register of window classes that this stands in for. The window's thread alone touches it.
std::shared_ptr<HexClipboard>& ClassClipboard()
{
    static std::shared_ptr<HexClipboard> clipboard;
    return clipboard;
}

} // namespace

std::uint32_t RegisterHexClasses(int count)
{
    if (count != 0 && !ClassClipboard()) {
        ClassClipboard() = std::make_shared<HexClipboard>();
        InstallHexAccessibility();
    }
    return 0;
}

std::uint32_t UnregisterHexClasses()
{
    ClassClipboard().reset();
    return 1;
}

HexControl* CreateHexControl(std::string_view className, QWidget* parent)
{
    const bool isMemory = className == kHexMemoryClass;
    if (!ClassClipboard() || (!isMemory && className != kHexDeviceClass)) {
        return nullptr;
    }
    return new HexControl(isMemory ? HexWindowClass::kMemory : HexWindowClass::kDevice, ClassClipboard(), parent);
}

} // namespace tolvar
