#pragma once

#include <atomic>
#include <shared_mutex>

namespace tolvar {

/// Held shared by whoever reads a registry, alone by whoever writes. Readers may be in the majority for minutes: one of
/// them that knows a good moment lets a waiting writer in.
class RegistryLock {
public:
    void lock()
    {
        m_waiting.fetch_add(1);
        m_mutex.lock();
        m_waiting.fetch_sub(1);
        m_entered.fetch_add(1);
        m_entered.notify_all();
    }
    void unlock() { m_mutex.unlock(); }
    void lock_shared() { m_mutex.lock_shared(); }
    void unlock_shared() { m_mutex.unlock_shared(); }

    [[nodiscard]] bool IsWriterWaiting() const noexcept { return m_waiting.load() != 0; }

    /// For a reader while IsWriterWaiting: gives its hold away, and has it again when a writer was there.
    void LetWriterIn()
    {
        const unsigned entered = m_entered.load(); // none can enter before this reader is out
        m_mutex.unlock_shared();
        m_entered.wait(entered);
        m_mutex.lock_shared();
    }

private:
    std::shared_mutex m_mutex;
    std::atomic<unsigned> m_waiting{0};
    std::atomic<unsigned> m_entered{0}; ///< writers so far
};

} // namespace tolvar
