#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "platform/files/file_store.h"
#include "platform/hive/writable_hive.h"
#include "platform/system/clock.h"
#include "platform/system/error.h"

namespace tolvar {

/// What a session may do to a hive.
enum class MountMode {
    kReadOnly, ///< nothing is written and nothing locked; what the logs hold is applied in memory alone
    kWritable, ///< locked against other programs, and recovered in the file where that is needed
};

/// One store of keys and its way to disk. Whatever the store is, its keys are those of a hive image, so that reading,
/// walking, images and undo are the same for all.
///
/// Thread safety: readers side by side; Writer and what is done with it, Flush and Revert, alone.
class Mount {
public:
    Mount() = default;
    virtual ~Mount() = default;
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;

    /// The image. It stays where it is, and its cells with it, as long as the mount.
    [[nodiscard]] virtual const Hive& Reader() const noexcept = 0;

    /// Changes the image in memory. Errors: kWriteProtect for a store that is open for reading alone, kAccessDenied for
    /// keys that belong to the session.
    [[nodiscard]] virtual Result<HiveWriter*> Writer() = 0;

    /// Makes all changes durable; nothing to do is success. Errors: the store's.
    [[nodiscard]] virtual Result<void> Flush() = 0;

    /// What came of the last Flush that failed; kNotMade where none did.
    [[nodiscard]] virtual FlushFate FailedFlush() const noexcept { return FlushFate::kNotMade; }

    /// Brings the image back to exactly what the last flush made: see WritableHive::Revert.
    [[nodiscard]] virtual Result<void> Revert() = 0;

    /// Whether there is anything for Flush to do.
    [[nodiscard]] virtual bool IsChanged() const noexcept = 0;

    /// Whether its keys lie in no file, and go with the session.
    [[nodiscard]] virtual bool IsVolatile() const noexcept = 0;
};

/// A hive file.
class HiveMount final : public Mount {
public:
    /// `recovery` tells what the file's logs gave. Errors: those of WritableHive::Open or OpenForReading.
    [[nodiscard]] static Result<std::unique_ptr<HiveMount>> Open(FileStore& files, const Clock& clock,
                                                                 const std::filesystem::path& file, MountMode mode,
                                                                 RecoveryReport& recovery);

    [[nodiscard]] const Hive& Reader() const noexcept override;
    [[nodiscard]] Result<HiveWriter*> Writer() override;
    [[nodiscard]] Result<void> Flush() override;
    [[nodiscard]] FlushFate FailedFlush() const noexcept override;
    [[nodiscard]] Result<void> Revert() override;
    [[nodiscard]] bool IsChanged() const noexcept override;
    [[nodiscard]] bool IsVolatile() const noexcept override { return false; }

private:
    HiveMount() = default;

    std::optional<Hive> m_readOnly;
    std::unique_ptr<WritableHive> m_writable; ///< one of the two
};

/// Keys of the session itself: the roots, the keys on the way to a mount, the links. SYSTEM and Administrators may do
/// all with them, Users read, and no call changes them. Their last write time is 0.
class MemoryMount final : public Mount {
public:
    /// Errors: kNotEnoughMemory.
    [[nodiscard]] static Result<std::unique_ptr<MemoryMount>> Make();

    [[nodiscard]] const Hive& Reader() const noexcept override { return m_hive; }
    [[nodiscard]] Result<HiveWriter*> Writer() override;
    [[nodiscard]] Result<void> Flush() override { return {}; }
    [[nodiscard]] Result<void> Revert() override { return {}; }
    [[nodiscard]] bool IsChanged() const noexcept override { return false; }
    [[nodiscard]] bool IsVolatile() const noexcept override { return true; }

    /// The subkey of that name, made where it is missing. Its cell stays as long as the mount. Errors: as
    /// HiveWriter::CreateKey.
    [[nodiscard]] Result<CellOffset> MakeKey(CellOffset parent, std::u16string_view name);

private:
    explicit MemoryMount(Hive hive);

    Hive m_hive;
    HiveEditor m_editor;
    HiveWriter m_writer;
};

} // namespace tolvar
