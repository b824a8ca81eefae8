#include "platform/security/sid.h"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>

namespace tolvar {

namespace {

constexpr std::size_t kMaxSubAuthorities = 15;

struct WellKnownName {
    const char* sid;
    const char* name;
};

constexpr WellKnownName kWellKnownNames[] = {
    {"S-1-0-0", "NULL SID"},
    {"S-1-1-0", "Everyone"},
    {"S-1-2-0", "LOCAL"},
    {"S-1-3-0", "CREATOR OWNER"},
    {"S-1-3-1", "CREATOR GROUP"},
    {"S-1-3-4", "OWNER RIGHTS"},
    {"S-1-5-1", "DIALUP"},
    {"S-1-5-2", "NETWORK"},
    {"S-1-5-3", "BATCH"},
    {"S-1-5-4", "INTERACTIVE"},
    {"S-1-5-6", "SERVICE"},
    {"S-1-5-7", "ANONYMOUS LOGON"},
    {"S-1-5-9", "ENTERPRISE DOMAIN CONTROLLERS"},
    {"S-1-5-10", "SELF"},
    {"S-1-5-11", "Authenticated Users"},
    {"S-1-5-12", "RESTRICTED"},
    {"S-1-5-13", "TERMINAL SERVER USER"},
    {"S-1-5-14", "REMOTE INTERACTIVE LOGON"},
    {"S-1-5-18", "SYSTEM"},
    {"S-1-5-19", "LOCAL SERVICE"},
    {"S-1-5-20", "NETWORK SERVICE"},
    {"S-1-5-32-544", "Administrators"},
    {"S-1-5-32-545", "Users"},
    {"S-1-5-32-546", "Guests"},
    {"S-1-5-32-547", "Power Users"},
    {"S-1-5-32-548", "Account Operators"},
    {"S-1-5-32-549", "Server Operators"},
    {"S-1-5-32-550", "Print Operators"},
    {"S-1-5-32-551", "Backup Operators"},
    {"S-1-5-32-552", "Replicator"},
    {"S-1-5-32-555", "Remote Desktop Users"},
    {"S-1-5-32-556", "Network Configuration Operators"},
    {"S-1-5-32-558", "Performance Monitor Users"},
    {"S-1-5-32-559", "Performance Log Users"},
    {"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", "TrustedInstaller"},
    {"S-1-15-2-1", "ALL APPLICATION PACKAGES"},
    {"S-1-16-4096", "Low Mandatory Level"},
    {"S-1-16-8192", "Medium Mandatory Level"},
    {"S-1-16-12288", "High Mandatory Level"},
    {"S-1-16-16384", "System Mandatory Level"},
};

} // namespace

Result<Sid> Sid::Parse(std::span<const std::byte> bytes)
{
    if (bytes.size() < 8 || bytes[0] != std::byte{1}) {
        return Failure(ErrorCode::kInvalidSid);
    }
    const auto count = std::to_integer<std::size_t>(bytes[1]);
    if (count > kMaxSubAuthorities || bytes.size() < 8 + 4 * count) {
        return Failure(ErrorCode::kInvalidSid);
    }
    Sid sid;
    for (std::size_t i = 2; i < 8; ++i) {
        sid.authority = sid.authority << 8 | std::to_integer<std::uint64_t>(bytes[i]);
    }
    sid.subAuthorities.resize(count);
    if (count != 0) {
        std::memcpy(sid.subAuthorities.data(), bytes.data() + 8, 4 * count);
    }
    return sid;
}

std::string Sid::ToText() const
{
    // The platform writes an authority of more than 32 bits in hexadecimal.
    std::string text =
        authority > 0xFFFFFFFF ? fmt::format("S-1-{:#014x}", authority) : fmt::format("S-1-{}", authority);
    for (const std::uint32_t part : subAuthorities) {
        fmt::format_to(std::back_inserter(text), "-{}", part);
    }
    return text;
}

std::string LookupAccountSid(const Sid& sid)
{
    std::string text = sid.ToText();
    const auto known = std::ranges::find(kWellKnownNames, std::string_view(text), &WellKnownName::sid);
    return known != std::end(kWellKnownNames) ? known->name : text;
}

} // namespace tolvar
