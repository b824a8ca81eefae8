#include "cli/output.h"

#include <cerrno>

#include <fmt/format.h>
#include <unistd.h>

namespace tolvar {

Output::Output(int descriptor) : m_descriptor(descriptor), m_isTerminal(isatty(descriptor) == 1)
{
    m_buffer.reserve(2 * kBlock);
}

void AppendVisible(std::string& out, std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        if (byte < 0x20 || byte == 0x7F) {
            fmt::format_to(std::back_inserter(out), "\\x{:02x}", byte);
        } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) { // U+0080 to U+009F steer terminals too
            fmt::format_to(std::back_inserter(out), "\\x{:02x}", next);
            ++i;
        } else {
            out.push_back(text[i]);
        }
    }
}

void Output::WriteName(std::string_view text)
{
    if (m_isTerminal) {
        AppendVisible(m_buffer, text);
        Written();
    } else {
        Write(text);
    }
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
