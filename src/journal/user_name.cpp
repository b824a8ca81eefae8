#include "journal/user_name.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace tolvar {

std::string SessionUserName()
{
    constexpr std::size_t kRoom = 260;
    constexpr std::size_t kScratch = 16384;
    std::string scratch(kScratch, '\0');
    passwd entry = {};
    passwd* found = nullptr;
    const bool isKnown = getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) == 0 && found != nullptr;
    const char* fallback = std::getenv("USER");
    const std::string name = isKnown ? entry.pw_name : fallback != nullptr ? fallback : "";
    return name.substr(0, kRoom);
}

} // namespace tolvar
