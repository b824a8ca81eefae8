#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/system/error.h"

namespace tolvar {

/// Appends a text of the registry, its control characters shown as "\x1b" and the like, so that a hostile name can
/// neither steer a terminal nor begin a new line.
void AppendVisible(std::string& out, std::string_view text);

/// Standard output, in large blocks. When the reader at the other end goes away the output closes, and whoever writes
/// asks IsClosed and stops: that is no failure. Any other failure to write is one.
class Output {
public:
    explicit Output(int descriptor);
    ~Output() { Flush(); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// The block that is being filled: append to it, then call Written.
    [[nodiscard]] std::string& Buffer() noexcept { return m_buffer; }
    /// Writes the block out once it is large.
    void Written()
    {
        if (m_buffer.size() >= kBlock) {
            Flush();
        }
    }
    void Write(std::string_view text)
    {
        m_buffer.append(text);
        Written();
    }
    /// Writes a text of the registry: on a terminal as AppendVisible shows it, everywhere else as it is.
    void WriteName(std::string_view text);
    void Flush();

    /// Nothing more will reach anyone: stop.
    [[nodiscard]] bool IsClosed() const noexcept { return m_isClosed; }
    /// Why writing failed, if it was not the reader's leaving.
    [[nodiscard]] const std::optional<Error>& Failure() const noexcept { return m_failure; }

private:
    static constexpr std::size_t kBlock = 1 << 16; ///< bytes

    int m_descriptor;
    bool m_isTerminal;
    bool m_isClosed = false;
    std::optional<Error> m_failure;
    std::string m_buffer;
};

} // namespace tolvar
