// Without a display the studio can be reached over Qt's VNC platform, which listens on every address of the machine,
// asks for no password and has no option for either. Nobody but this machine's users may edit a registry through it, so
// the program takes the place of the C library's bind: as long as that platform runs, "any address" means loopback.

#include <cstdlib>
#include <cstring>
#include <string_view>

#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

bool ServesVnc()
{
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    return platform != nullptr && std::string_view(platform).starts_with("vnc");
}

/// ::ffff:127.0.0.1, which a socket for both families takes.
constexpr in6_addr kLoopback = {{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127, 0, 0, 1}}};

} // namespace

extern "C" [[gnu::visibility("default")]] int bind(int descriptor, const sockaddr* address, socklen_t length) noexcept
{
    using Bind = int (*)(int, const sockaddr*, socklen_t);
    static const auto systemBind = reinterpret_cast<Bind>(dlsym(RTLD_NEXT, "bind"));
    if (ServesVnc() && address->sa_family == AF_INET6 && length >= sizeof(sockaddr_in6)) {
        sockaddr_in6 local;
        std::memcpy(&local, address, sizeof local);
        local.sin6_addr = kLoopback;
        return systemBind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local);
    }
    if (ServesVnc() && address->sa_family == AF_INET && length >= sizeof(sockaddr_in)) {
        sockaddr_in local;
        std::memcpy(&local, address, sizeof local);
        local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return systemBind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local);
    }
    return systemBind(descriptor, address, length);
}
