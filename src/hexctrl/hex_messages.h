#pragma once

#include <cstdint>

namespace tolvar {

inline constexpr std::uint32_t kHexFirstMessage = 0x400; ///< WM_USER

/// The messages to a hex control, by the numbers that hosts send. Every parameter that isn't named is 0; a block is
/// given by its address. Codes are those of HexCode.
enum class HexMessage : std::uint32_t {
    kLoad = kHexFirstMessage + 999,          ///< HexDataBlock in. 0 or a code
    kFetch = kHexFirstMessage + 1000,        ///< HexDataBlock, `size` the capacity. 0, kNoData, kMoreData
    kLoadFile = kHexFirstMessage + 1003,     ///< file name. 0 or a code
    kGetSelection = kHexFirstMessage + 1004, ///< HexSelection out. 0 or kBadParameter
    kSetSelection = kHexFirstMessage + 1005, ///< HexSelection in. 0 or kBadParameter
    kShowOffset =
        kHexFirstMessage + 1006, ///< address of a 64-bit offset, whose row becomes the first. 0 or kBadParameter
    kGetTopOffset = kHexFirstMessage + 1007, ///< address of a 64-bit result
    kGetSize = kHexFirstMessage + 1008,      ///< address of a 64-bit result. 0 or kBadParameter
    kRead = kHexFirstMessage + 1009,         ///< HexDataBlock in and out: a range, cut at the end. 0 or kBadParameter
    kOverwrite =
        kHexFirstMessage + 1010,       ///< HexDataBlock, which it selects; null: zeros over the selection. 0 or a code
    kInsert = kHexFirstMessage + 1011, ///< HexDataBlock. 0 or a code
    kDump = kHexFirstMessage + 1012,   ///< wParam: HexDumpPart, 0 for all; HexDataBlock: a range, `data` for the text
    kFindFirst = kHexFirstMessage + 2000,     ///< wParam: the receiver, a QObject; HexFindBlock
    kFindNext = kHexFirstMessage + 2001,      ///< wParam: the receiver
    kSave = kHexFirstMessage + 3000,          ///< see CHexData::Save
    kSaveAs = kHexFirstMessage + 3001,        ///< file name
    kSetColours = kHexFirstMessage + 4000,    ///< 19 numbers (see HexColourIndex), red in the lowest byte
    kSetFontHeight = kHexFirstMessage + 4001, ///< wParam, pixels. The old one; so do the next ones
    kGetFontHeight = kHexFirstMessage + 4002,
    kSetFontWeight = kHexFirstMessage + 4003,
    kGetFontWeight = kHexFirstMessage + 4004,
    kSetFontItalic = kHexFirstMessage + 4005,
    kGetFontItalic = kHexFirstMessage + 4006,
    kSetCharacterExtra = kHexFirstMessage + 4007, ///< pixels between characters
    kGetCharacterExtra = kHexFirstMessage + 4008,
    kSetFontCharset = kHexFirstMessage + 4009,
    kGetFontCharset = kHexFirstMessage + 4010,
    kSetMarks = kHexFirstMessage + 4011, ///< wParam: count above 0; array of HexSelection. 0 or kBadParameter
    kCanUndo = kHexFirstMessage + 5001,  ///< 1 or 0
    kUndo = kHexFirstMessage + 5002,     ///< 1; 0 after a beep
    kCanRedo = kHexFirstMessage + 5003,
    kRedo = kHexFirstMessage + 5004,
    kCopy = kHexFirstMessage + 6005,  ///< 1; 0 after a beep
    kPaste = kHexFirstMessage + 6006, ///< 1; 0 after a beep or a refusal
    kCanPaste = kHexFirstMessage + 6007,
    kDelete = kHexFirstMessage + 6008,      ///< 0 done, 1 failed
    kGetViewSize = kHexFirstMessage + 7004, ///< address of a 16-bit result: bytes in view
};

/// The notifications from a hex control (see HexNotification).
enum class HexNotice : std::uint32_t {
    kFound = kHexFirstMessage + 2002,    ///< posted to the search's receiver; lParam: address of the 64-bit position
    kProgress = kHexFirstMessage + 2003, ///< sent to it; wParam: percent; a result other than 0 ends the search
    kNotFound = kHexFirstMessage + 2005, ///< posted to it
    kScrolled = kHexFirstMessage + 7001, ///< posted to the parent; addresses of the bytes in view, 32-bit, and of the
                                         ///< first one's offset, 64-bit
    kSelected =
        kHexFirstMessage + 7002, ///< posted to the parent, by mouse and Shift; lParam: address of the HexSelection
    kHovered =
        kHexFirstMessage + 7003, ///< sent to the parent, no button down; addresses of the byte and its 64-bit offset
};

} // namespace tolvar
