#pragma once

#include <memory>
#include <memory_resource>
#include <span>
#include <string>
#include <vector>

#include "hexctrl/byte_store.h"
#include "hexctrl/hex_clipboard.h"
#include "hexctrl/hex_find.h"
#include "hexctrl/hex_types.h"
#include "hexctrl/hex_undo_log.h"

namespace tolvar {

/// How an operation on the data ended. Whatever it is but kDone, the data is as it was.
enum class HexOutcome {
    kDone,
    kNothing,        ///< there is nothing to do it with: the control beeps
    kOutside,        ///< the range passes the end of the data
    kTooMuchChanged, ///< no memory to keep what would be changed: the user is told that too much data was changed
    kNoMemory,       ///< no memory for the bytes to insert: the user is told so
};

/// The state of one hex control: the bytes, the caret and selection, the log of changes, and the search. Every
/// operation acts on `selection` and is one entry of the log.
///
/// Not safe for threads. The clipboard is shared by all controls of the thread.
class CHexData {
public:
    /// Typing is refused once the log holds this many entries.
    static constexpr std::size_t kTypingLimit = 4096;

    /// `chunkBytes` and `memory` are those of the bytes and of the log (see ByteStore).
    explicit CHexData(std::shared_ptr<HexClipboard> clipboard, std::size_t chunkBytes = ByteStore::kChunkBytes,
                      std::pmr::memory_resource* memory = std::pmr::get_default_resource());
    virtual ~CHexData() = default;
    CHexData(const CHexData&) = delete;
    CHexData& operator=(const CHexData&) = delete;

    // The whole data.

    /// Replaces the data, which can't be undone: the log is per load. `position` of the block is the base address.
    /// Codes: kBadParameter for a negative size or missing bytes; kNotEnoughMemory, and nothing has changed.
    HexCode Load(const HexDataBlock& block);
    /// Reads a whole file, which stays the name that Save writes to. Codes: the system's for a file that can't be read;
    /// nothing has changed then.
    HexCode LoadFile(const std::string& name);
    /// Copies the data out. kMoreData: the block has the size that is needed, and nothing was copied. kNoData: it is
    /// empty; `size` is 0 and the first byte of `data` is 0.
    HexCode Fetch(HexDataBlock& block) const;
    [[nodiscard]] std::vector<std::uint8_t> Bytes() const;
    /// Writes the data to `name`, or to the file that it came from. The old file stands until the new one is whole and
    /// on the disk. Returns 0, or a HexCode, or the number of bytes that could be written.
    std::uint32_t Save();
    std::uint32_t SaveAs(const std::string& name);

    // Parts of it.

    /// Copies bytes out; a range that passes the end is cut there. Returns the number copied.
    std::size_t Read(std::int64_t offset, std::span<std::uint8_t> out) const;
    /// Writes over the bytes from `start` on, one entry of kind kOverwritten. Nothing for no bytes.
    HexOutcome Overwrite(std::span<const std::uint8_t> bytes);
    /// The same with zeros, over the bytes from the start to the end of the selection.
    HexOutcome OverwriteWithZeros();
    /// Puts bytes in front of `start`, and selects them. A selection isn't replaced.
    HexOutcome Insert(std::span<const std::uint8_t> bytes);
    /// Takes out the bytes of the selection, or the one at the caret.
    HexOutcome Delete();

    // The log. Both select what has come back.
    HexOutcome Undo();
    HexOutcome Redo();

    // The control's own clipboard.
    HexOutcome Copy();
    [[nodiscard]] bool CanPaste() const;
    HexOutcome Paste();

    /// Takes a selection from a host: an unknown zone marks nothing, and offsets outside the data end at it.
    void SetSelection(const HexSelection& wanted);
    /// Marks bytes: zone kBytes from `start` on, `size` of them.
    void Select(std::int64_t start, std::int64_t size);
    /// The bytes that the selection covers, in order; empty at the append position.
    struct Range {
        std::int64_t start;
        std::int64_t size;
    };
    [[nodiscard]] Range SelectedRange() const;

    [[nodiscard]] std::int64_t Size() const { return static_cast<std::int64_t>(m_bytes.Size()); }
    [[nodiscard]] const ByteStore& Store() const { return m_bytes; }
    [[nodiscard]] const HexUndoLog& Log() const { return m_undo; }
    /// Whether the data differs from what was loaded or saved last, as far as the log tells: a change and the same
    /// change back, both typed, count as changes.
    [[nodiscard]] bool IsModified() const { return !m_undo.IsClean(); }

    HexSelection selection;
    std::vector<HexSelection> marks; ///< ranges that the host wants shown in the marked colours
    HexPane pane = HexPane::kHex;
    HexMode mode = HexMode::kNoData;
    std::int64_t baseAddress = 0; ///< added to a byte's offset for display and for the range of a search
    std::string fileName;         ///< of mode kFile
    HexSearch search;

private:
    void Reset(HexMode newMode, std::int64_t base);
    [[nodiscard]] std::uint32_t WriteFile(const std::string& name);
    HexOutcome Turn(HexUndoEntry& entry);

    ByteStore m_bytes;
    HexUndoLog m_undo;
    std::shared_ptr<HexClipboard> m_pClipboard;
};

} // namespace tolvar
