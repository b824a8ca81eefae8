#include "cli/output.h"

#include <cerrno>

#include <fmt/format.h>
#include <unistd.h>

namespace tolvar {

Output::Output(int descriptor) : m_descriptor(descriptor), m_isTerminal(isatty(descriptor) == 1)
{
    m_buffer.reserve(2 * kBlock);
}

void Output::WriteName(std::string_view text)
{
    if (!m_isTerminal) {
        Write(text);
        return;
    }
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            fmt::format_to(std::back_inserter(m_buffer), "\\x{:02x}", byte);
        } else {
            m_buffer.push_back(c);
        }
    }
    Written();
}

void Output::Flush()
{
    std::string_view rest = m_buffer;
    while (!rest.empty() && !m_isClosed) {
        const ssize_t written = write(m_descriptor, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            m_isClosed = true;
            if (errno != EPIPE) {
                m_failure = Error{ErrorCodeFromErrno(errno), "write the output"};
            }
        }
    }
    m_buffer.clear();
}

} // namespace tolvar
