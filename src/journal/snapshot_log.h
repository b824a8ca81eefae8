#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "journal/change_snapshot.h"
#include "platform/files/file_store.h"

namespace tolvar {

// The snapshots of one day lie one behind another in a file "YYYYMMDD.log", so that a small one takes no file of its
// own. An image that stays large lies in a file named by its stamp: see change_snapshot.h.
//
//   frame: "TVSNAP01"; kind, size of the seal, of the pieces and of the image, 4 each; the stamp as a number, 8; a sum
//          over all of these, 8; pieces; seal; the size of the frame, 8
//   piece of an image: offset and size, 4 each, and its bytes. What no piece holds is zero.
// Numbers are little-endian. A frame that is damaged is passed over by looking for the next one.

enum class FrameKind : std::uint32_t {
    kChange = 1, ///< what a change was about to overwrite
    kRedo = 2,   ///< what an undo was about to overwrite
    kGone = 3,   ///< the snapshots of this stamp before it are needed no more
};

/// The snapshots of one journal. Not thread safe.
class SnapshotLog {
public:
    /// `files` must outlive the log. Nothing is read or made yet.
    SnapshotLog(FileStore& files, std::filesystem::path folder) : m_files(&files), m_folder(std::move(folder)) {}

    [[nodiscard]] const std::filesystem::path& Folder() const noexcept { return m_folder; }

    /// Adds a snapshot, durable with the next Sync. Errors: the file system's; the snapshot is not there then.
    [[nodiscard]] Result<void> Add(FrameKind kind, std::string_view stamp, std::span<const std::byte> image,
                                   const SnapshotSeal& seal);

    /// Makes durable what was added. What was said to be gone may come with it.
    [[nodiscard]] Result<void> Sync();

    /// The latest snapshot of a stamp. Errors: kFileNotFound where there is none; kFileCorrupt where there is one that
    /// can't be read, or may be: its day's file is damaged; kInvalidData for a text that is no stamp; the file
    /// system's.
    [[nodiscard]] Result<ChangeSnapshot> Find(FrameKind kind, std::string_view stamp) const;

    /// The seal of the latest snapshot of a stamp, without a look at its image where that lies in its day's file.
    /// Errors: as Find.
    [[nodiscard]] Result<SnapshotSeal> FindSeal(FrameKind kind, std::string_view stamp) const;

    /// The image of a change's snapshot whose seal can't be read, for what it is worth; empty where it has none.
    /// Errors: as Find, but for the seal's.
    [[nodiscard]] Result<std::vector<std::byte>> UnsealedImage(std::string_view stamp) const;

    /// Whether there are snapshots of more than one command that are not gone. Cost: a look at all seals.
    [[nodiscard]] bool HasSeveral() const;

    /// Whether there are snapshots of that day in a file together.
    [[nodiscard]] bool HasDay(std::string_view stamp) const { return m_files->Exists(DayFile(stamp.substr(0, 8))); }

    /// Whether there is anything under this stamp in a file of its own.
    [[nodiscard]] bool HasFile(std::string_view stamp) const { return m_files->Exists(File(stamp)); }

    /// Says that snapshots are needed no more. What can't be removed is left to expiry.
    void Remove(std::span<const std::string> stamps);

    /// All changes that have a snapshot which is not gone, in no particular order; only seals are read.
    void ForEachSeal(const std::function<void(const SnapshotSeal&)>& visit) const;

    /// Removes the files of days of which `isNeeded`, asked with eight digits, says no.
    void RemoveDays(const std::function<bool(std::string_view)>& isNeeded);

private:
    struct Frame {
        std::uint64_t offset = 0; ///< of its pieces
        std::uint32_t pieces = 0; ///< sizes
        std::uint32_t seal = 0;
        std::uint32_t image = 0;
    };
    /// What is known of a day's file.
    struct Day {
        MappedFile map;
        std::uint64_t read = 0; ///< up to here
        bool isDamaged = false; ///< something in front of that is no frame
        std::unordered_map<std::uint64_t, Frame> changes;
        std::unordered_map<std::uint64_t, Frame> redos;
    };
    struct Head;

    [[nodiscard]] std::filesystem::path File(std::string_view stamp) const { return m_folder / stamp; }
    [[nodiscard]] std::filesystem::path RedoFile(std::string_view stamp) const;
    [[nodiscard]] std::filesystem::path DayFile(std::string_view day) const;
    [[nodiscard]] Result<Day*> Read(std::string_view day) const;
    static void ReadFrames(Day& day);
    [[nodiscard]] Result<ChangeSnapshot> Find(FrameKind kind, std::string_view stamp, bool withImage) const;
    [[nodiscard]] static Result<ChangeSnapshot> Open(const Day& day, const Frame& frame, bool withImage);
    [[nodiscard]] Result<void> OpenForAdding(std::string_view day);
    [[nodiscard]] Result<void> AddFrames(std::string_view day, std::string_view bytes);
    [[nodiscard]] Result<void> AddFile(const std::filesystem::path& file, std::span<const std::byte> image,
                                       std::string_view seal);

    void RemoveDay(std::string_view day);

    FileStore* m_files;
    std::filesystem::path m_folder;
    std::string m_day;                             ///< of the file that is open for adding
    std::unique_ptr<StoredFile> m_file;            ///< null: none
    std::uint64_t m_end = 0;                       ///< of that file's frames
    std::vector<std::filesystem::path> m_unsynced; ///< files of their own, and those of days left behind
    bool m_isFileNew = false;                      ///< its name is not durable
    bool m_isFileStale = false;                    ///< something in it is not durable
    mutable std::map<std::string, Day, std::less<>> m_days;
};

} // namespace tolvar
