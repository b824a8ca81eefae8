#include "platform/system/version.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace tolvar {

PlatformVersion GetPlatformVersion()
{
    constexpr PlatformVersion kDefault{2, 5, 1};
    const char* setting = std::getenv("TOLVAR_PLATFORM");
    if (setting == nullptr) {
        return kDefault;
    }
    const std::string_view text = setting;
    if (text == "9x") {
        return {1, 4, 10};
    }
    PlatformVersion version{2, 0, 0};
    const char* const end = text.data() + text.size();
    const auto major = std::from_chars(text.data(), end, version.major);
    if (major.ec != std::errc() || major.ptr == end || *major.ptr != '.') {
        return kDefault;
    }
    const auto minor = std::from_chars(major.ptr + 1, end, version.minor);
    return minor.ec == std::errc() && minor.ptr == end ? version : kDefault;
}

} // namespace tolvar
