#include "platform/files/mapped_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tolvar {

namespace {

constexpr std::size_t kMaxMappings = 256;

/// What the signal handler may look at: plain atomics in a fixed table, since it can neither allocate nor lock.
struct Slot {
    std::atomic<std::uintptr_t> begin{0};
    std::atomic<std::uintptr_t> end{0};
    std::atomic<std::uint64_t*> failedPages{nullptr}; ///< one bit a page, owned by the mapping
    std::atomic<bool> anyFailed{false};
    std::atomic<int> descriptor{-1}; ///< of the file, owned by the mapping
    std::atomic<int> protection{PROT_READ};
};

std::array<Slot, kMaxMappings> g_slots;
struct sigaction g_previous;
std::uintptr_t g_pageSize = 4096;

void NoteFailed(Slot& slot, std::uintptr_t page)
{
    std::atomic_ref<std::uint64_t>(slot.failedPages.load()[page / 64]).fetch_or(std::uint64_t{1} << (page % 64));
    slot.anyFailed.store(true, std::memory_order_release);
}

/// Notes the page in which a file that was cut short now ends: its rest reads as zeros without a signal.
void NoteCutPage(Slot& slot)
{
    struct stat status = {};
    if (fstat(slot.descriptor.load(), &status) == 0) {
        const auto size = static_cast<std::uintptr_t>(status.st_size);
        if (size < slot.end.load() - slot.begin.load() && size % g_pageSize != 0) {
            NoteFailed(slot, size / g_pageSize);
        }
    }
}

/// Puts a page of zeros where the file has none to give and notes it. Whatever is not ours goes to the handler before
/// us.
void OnBusError(int signal, siginfo_t* info, void* context)
{
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    for (Slot& slot : g_slots) {
        const std::uintptr_t begin = slot.begin.load(std::memory_order_acquire);
        if (begin == 0 || address < begin || address >= slot.end.load(std::memory_order_acquire)) {
            continue;
        }
        const std::uintptr_t page = (address - begin) / g_pageSize;
        void* at = reinterpret_cast<void*>(begin + page * g_pageSize);
        if (mmap(at, g_pageSize, slot.protection.load(), MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) ==
            MAP_FAILED) {
            break;
        }
        NoteFailed(slot, page);
        NoteCutPage(slot);
        return;
    }
    if ((g_previous.sa_flags & SA_SIGINFO) != 0 && g_previous.sa_sigaction != nullptr) {
        g_previous.sa_sigaction(signal, info, context);
    } else {
        sigaction(SIGBUS, &g_previous, nullptr); // the access is made again and ends as it would have without us
    }
}

void InstallBusHandler()
{
    static std::once_flag once;
    std::call_once(once, [] {
        g_pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        struct sigaction action = {};
        action.sa_sigaction = OnBusError;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(SIGBUS, &action, &g_previous);
    });
}

Slot* TakeSlot(std::uintptr_t begin, std::size_t size, std::uint64_t* failedPages, int descriptor, int protection)
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    for (Slot& slot : g_slots) {
        if (slot.begin.load() == 0) {
            slot.anyFailed.store(false);
            slot.failedPages.store(failedPages);
            slot.descriptor.store(descriptor);
            slot.protection.store(protection);
            slot.end.store(begin + size);
            slot.begin.store(begin, std::memory_order_release);
            return &slot;
        }
    }
    return nullptr;
}

/// Owns a file descriptor.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int Get() const noexcept { return m_fd; }

private:
    int m_fd;
};

} // namespace

struct MappedFile::Mapping {
    std::byte* data = nullptr;
    std::size_t size = 0;   ///< bytes that can be used
    std::size_t mapped = 0; ///< bytes that are mapped, from `data` on
    std::size_t room = 0;   ///< bytes of reserved address space; 0: this is no private copy
    std::unique_ptr<std::uint64_t[]> failedPages;
    Slot* slot = nullptr;
    Descriptor descriptor; ///< kept open, to ask how long the file still is
};

void MappedFile::Unmap::operator()(Mapping* mapping) const noexcept
{
    const std::unique_ptr<Mapping> owner(mapping);
    if (mapping->slot != nullptr) {
        mapping->slot->begin.store(0, std::memory_order_release);
    }
    if (mapping->data != nullptr) {
        munmap(mapping->data, std::max(mapping->room, mapping->mapped));
    }
}

namespace {

std::size_t RoundUpToPage(std::size_t size)
{
    return (size + g_pageSize - 1) / g_pageSize * g_pageSize;
}

} // namespace

Result<MappedFile> MappedFile::Open(const std::filesystem::path& file)
{
    return Map(file, Kind::kReadOnly, 0);
}

Result<MappedFile> MappedFile::OpenPrivate(const std::filesystem::path& file, std::size_t room)
{
    return Map(file, Kind::kPrivate, room);
}

Result<MappedFile> MappedFile::CopyOf(std::span<const std::byte> bytes, std::size_t room)
{
    InstallBusHandler(); // settles the size of a page
    MappedFile result;
    result.m_mapping.reset(new Mapping);
    Mapping& mapping = *result.m_mapping;
    mapping.room = RoundUpToPage(std::max(room, bytes.size()));
    void* at = mmap(nullptr, mapping.room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (at == MAP_FAILED) {
        return Failure(ErrorCode::kNotEnoughMemory);
    }
    mapping.data = static_cast<std::byte*>(at);
    if (auto sized = result.Resize(bytes.size()); !sized) {
        return tl::unexpected(std::move(sized.error()));
    }
    std::ranges::copy(bytes, mapping.data);
    return result;
}

Result<MappedFile> MappedFile::Map(const std::filesystem::path& file, Kind kind, std::size_t room)
{
    const std::string context = "open " + file.string();
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    // Looking at a file is to leave no trace in it, where its owner may ask for that.
    Descriptor descriptor(open(file.c_str(), kFlags | O_NOATIME));
    if (descriptor.Get() < 0 && errno == EPERM) {
        descriptor = Descriptor(open(file.c_str(), kFlags));
    }
    if (descriptor.Get() < 0) {
        return Failure(ErrorCodeFromErrno(errno), context);
    }
    struct stat status = {};
    if (fstat(descriptor.Get(), &status) != 0) {
        return Failure(ErrorCodeFromErrno(errno), context);
    }
    if (S_ISDIR(status.st_mode)) {
        return Failure(ErrorCode::kDirectory, context + ": this is a folder");
    }
    if (!S_ISREG(status.st_mode)) {
        return Failure(ErrorCode::kNotSupported, context + ": this is no regular file");
    }
    InstallBusHandler();
    MappedFile result;
    result.m_mapping.reset(new Mapping);
    Mapping& mapping = *result.m_mapping;
    if (status.st_size == 0) {
        return result;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    const bool isPrivate = kind == Kind::kPrivate;
    const int protection = isPrivate ? PROT_READ | PROT_WRITE : PROT_READ;
    if (isPrivate) {
        mapping.room = RoundUpToPage(std::max(room, size));
        void* reserved = mmap(nullptr, mapping.room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (reserved == MAP_FAILED) {
            return Failure(ErrorCodeFromErrno(errno), context);
        }
        mapping.data = static_cast<std::byte*>(reserved);
    }
    void* at = mmap(mapping.data, size, protection, MAP_PRIVATE | (isPrivate ? MAP_FIXED : 0), descriptor.Get(), 0);
    if (at == MAP_FAILED) {
        return Failure(ErrorCodeFromErrno(errno), context);
    }
    mapping.data = static_cast<std::byte*>(at);
    mapping.size = size;
    mapping.mapped = RoundUpToPage(size);
    const std::size_t pages = std::max(mapping.room, mapping.mapped) / g_pageSize;
    mapping.failedPages = std::make_unique<std::uint64_t[]>((pages + 63) / 64);
    mapping.descriptor = std::move(descriptor);
    mapping.slot = TakeSlot(reinterpret_cast<std::uintptr_t>(at), size, mapping.failedPages.get(),
                            mapping.descriptor.Get(), protection);
    if (mapping.slot == nullptr) {
        return Failure(ErrorCode::kNotEnoughMemory, context + ": too many files are open");
    }
    result.m_anyFailed = &mapping.slot->anyFailed;
    return result;
}

std::span<const std::byte> MappedFile::Bytes() const noexcept
{
    return m_mapping ? std::span<const std::byte>(m_mapping->data, m_mapping->size) : std::span<const std::byte>();
}

std::span<std::byte> MappedFile::Writable() noexcept
{
    return m_mapping && m_mapping->room != 0 ? std::span(m_mapping->data, m_mapping->size) : std::span<std::byte>();
}

Result<void> MappedFile::Resize(std::size_t size)
{
    Mapping& mapping = *m_mapping;
    const std::size_t wanted = RoundUpToPage(size);
    if (wanted > mapping.room) {
        return Failure(ErrorCode::kNotEnoughMemory);
    }
    // Whole pages come from nowhere and go there; the rest of a page at the border is cleared by hand.
    if (wanted > mapping.mapped) {
        if (mmap(mapping.data + mapping.mapped, wanted - mapping.mapped, PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED) {
            return Failure(ErrorCode::kNotEnoughMemory);
        }
    } else if (wanted < mapping.mapped) {
        mmap(mapping.data + wanted, mapping.mapped - wanted, PROT_NONE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE, -1, 0);
    }
    const std::size_t border = std::min(size, mapping.size);
    const std::size_t borderEnd = std::min(RoundUpToPage(border), wanted);
    std::fill(mapping.data + border, mapping.data + borderEnd, std::byte{0});
    mapping.mapped = wanted;
    mapping.size = size;
    return {};
}

bool MappedFile::Failed(std::span<const std::byte> bytes) const noexcept
{
    if (!AnyFailed() || !m_mapping || bytes.empty()) {
        return false;
    }
    const auto first = static_cast<std::size_t>(bytes.data() - m_mapping->data) / g_pageSize;
    const auto last = static_cast<std::size_t>(bytes.data() + bytes.size() - 1 - m_mapping->data) / g_pageSize;
    for (std::size_t page = first; page <= last; ++page) {
        const std::uint64_t word = std::atomic_ref<std::uint64_t>(m_mapping->failedPages[page / 64]).load();
        if ((word >> (page % 64) & 1U) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace tolvar
