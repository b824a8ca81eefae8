#include "platform/registry/mount.h"

#include "platform/hive/hive_recovery.h"
#include "platform/hive/scratch_hive.h"

namespace tolvar {

namespace {

/// The keys of the session were never written.
class NoClock final : public Clock {
public:
    [[nodiscard]] std::uint64_t Now() const override { return 0; }
};

const NoClock kNoClock;

} // namespace

Result<std::unique_ptr<HiveMount>> HiveMount::Open(FileStore& files, const Clock& clock,
                                                   const std::filesystem::path& file, MountMode mode,
                                                   RecoveryReport& recovery)
{
    std::unique_ptr<HiveMount> mount(new HiveMount);
    if (mode == MountMode::kWritable) {
        Result<std::unique_ptr<WritableHive>> hive = WritableHive::Open(files, file, clock);
        if (!hive) {
            return tl::unexpected(std::move(hive.error()));
        }
        recovery = (*hive)->Recovery();
        mount->m_writable = *std::move(hive);
        return mount;
    }
    Result<Hive> hive = OpenForReading(files, file, LogFailure::kReport, recovery);
    if (!hive) {
        return tl::unexpected(std::move(hive.error()));
    }
    mount->m_readOnly.emplace(*std::move(hive));
    return mount;
}

const Hive& HiveMount::Reader() const noexcept
{
    return m_writable != nullptr ? m_writable->Reader() : *m_readOnly;
}

Result<HiveWriter*> HiveMount::Writer()
{
    return m_writable != nullptr ? Result<HiveWriter*>(&m_writable->Writer())
                                 : Failure(ErrorCode::kWriteProtect, Reader().File().string());
}

Result<void> HiveMount::Flush()
{
    return m_writable != nullptr ? m_writable->Flush() : Result<void>();
}

FlushFate HiveMount::FailedFlush() const noexcept
{
    return m_writable != nullptr ? m_writable->FailedFlush() : FlushFate::kNotMade;
}

Result<void> HiveMount::Revert()
{
    return m_writable != nullptr ? m_writable->Revert() : Result<void>();
}

bool HiveMount::IsChanged() const noexcept
{
    return m_writable != nullptr && m_writable->IsChanged();
}

MemoryMount::MemoryMount(Hive hive) : m_hive(std::move(hive)), m_editor(m_hive), m_writer(m_editor, kNoClock) {}

Result<std::unique_ptr<MemoryMount>> MemoryMount::Make()
{
    constexpr std::size_t kRoom = std::size_t{1}
                                  << 26; // address space alone: far more than a session has keys of its own
    Result<MappedFile> copy = MappedFile::CopyOf(EmptyHive(u"REGISTRY", 0), kRoom);
    Result<Hive> hive = copy ? Hive::FromMap(std::move(*copy), "session") : tl::unexpected(copy.error());
    if (!hive) {
        return tl::unexpected(std::move(hive.error()));
    }
    return std::unique_ptr<MemoryMount>(new MemoryMount(*std::move(hive)));
}

Result<HiveWriter*> MemoryMount::Writer()
{
    return Failure(ErrorCode::kAccessDenied);
}

Result<CellOffset> MemoryMount::MakeKey(CellOffset parent, std::u16string_view name)
{
    const Checked<KeyNode> node = m_hive.Key(parent);
    const Checked<CellOffset> found = node ? m_hive.FindSubkey(*node, name) : tl::unexpected(node.error());
    if (!found) {
        return tl::unexpected(m_hive.ToError(found.error()));
    }
    return found->IsNil() ? m_writer.CreateKey(parent, name) : Result<CellOffset>(*found);
}

} // namespace tolvar
