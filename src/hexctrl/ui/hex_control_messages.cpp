// The numbered messages of the hex control.

#include <algorithm>
#include <exception>
#include <type_traits>
#include <utility>

#include "hexctrl/hex_dump.h"
#include "hexctrl/ui/hex_control.h"

namespace tolvar {

namespace {

constexpr auto kBad = static_cast<qintptr>(HexCode::kBadParameter);
constexpr auto kFailed = static_cast<qintptr>(HexCode::kNotEnoughMemory);

template <typename Block>
Block* At(quintptr address)
{
    return reinterpret_cast<Block*>(address);
}

bool IsBlock(const HexDataBlock* block)
{
    return block != nullptr && block->size >= 0 && block->position >= 0 && (block->data != nullptr || block->size == 0);
}

std::span<std::uint8_t> BytesOf(const HexDataBlock& block)
{
    return {block.data, static_cast<std::size_t>(block.size)};
}

template <typename Number>
qintptr Answer(quintptr address, Number number)
{
    if (address == 0) {
        return kBad;
    }
    *At<Number>(address) = number;
    return 0;
}

} // namespace

struct HexControl::Messages {
    using Handler = qintptr (*)(HexControl& control, quintptr wParam, quintptr lParam);
    enum class Only { kAll, kMemory };
    struct Route {
        HexMessage message;
        Handler handler;
        Only only = Only::kAll;
    };

    /// Does a change and returns what the numbers of `done` and `failed` say.
    static qintptr Change(HexControl& control, qintptr done, qintptr failed, HexOutcome (CHexData::*change)())
    {
        const HexOutcome outcome = control.Act(Origin::kHost, [&] {
            const HexOutcome ended = (control.m_data.*change)();
            if (ended == HexOutcome::kDone) {
                control.m_view.Layout();
                control.m_view.Show(control.m_data.selection.start);
            }
            return ended;
        });
        control.ShowOutcome(outcome);
        return outcome == HexOutcome::kDone ? done : failed;
    }

    static qintptr Load(HexControl& control, const std::function<HexCode()>& load)
    {
        return static_cast<qintptr>(control.Act(Origin::kHost, [&] {
            const HexCode code = load();
            if (code == HexCode::kSuccess) {
                ++control.m_nLoads;
                control.m_view.ScrollToStart();
            }
            return code;
        }));
    }

    static qintptr Overwrite(HexControl& control, quintptr /*wParam*/, quintptr lParam)
    {
        const auto* block = At<const HexDataBlock>(lParam);
        CHexData& data = control.m_data;
        const bool isInside =
            block == nullptr ? data.SelectedRange().size > 0
                             : IsBlock(block) && block->position <= data.Size() - std::min(block->size, data.Size()) &&
                                   block->size <= data.Size();
        if (!isInside) {
            return kBad;
        }
        const HexOutcome outcome = control.Act(Origin::kHost, [&] {
            if (block == nullptr) {
                return data.OverwriteWithZeros();
            }
            data.Select(block->position, block->size);
            return data.Overwrite(BytesOf(*block));
        });
        control.ShowOutcome(outcome);
        return outcome == HexOutcome::kDone ? 0 : kFailed;
    }

    static qintptr Insert(HexControl& control, quintptr /*wParam*/, quintptr lParam)
    {
        const auto* block = At<const HexDataBlock>(lParam);
        if (!IsBlock(block) || block->position > control.m_data.Size()) {
            return kBad;
        }
        const HexOutcome outcome = control.Act(Origin::kHost, [&] {
            control.m_data.Select(block->position, 1);
            return control.m_data.Insert(BytesOf(*block));
        });
        control.ShowOutcome(outcome);
        return outcome == HexOutcome::kDone ? 0 : kFailed;
    }

    static qintptr Read(HexControl& control, quintptr /*wParam*/, quintptr lParam)
    {
        auto* block = At<HexDataBlock>(lParam);
        if (!IsBlock(block)) {
            return kBad;
        }
        block->size = static_cast<std::int64_t>(control.m_data.Read(block->position, BytesOf(*block)));
        return 0;
    }

    static qintptr Dump(HexControl& control, quintptr wParam, quintptr lParam)
    {
        const auto* block = At<const HexDataBlock>(lParam);
        if (block == nullptr || block->data == nullptr) {
            return kBad;
        }
        if (control.m_data.Size() == 0) {
            return kFailed;
        }
        const auto parts = wParam == 0 ? HexDumpPart::kHex | HexDumpPart::kText : static_cast<unsigned>(wParam);
        const std::string text = HexDump(control.m_data, control.m_view.BytesPerRow(), control.m_view.AddressDigits(),
                                         block->position, block->size, parts);
        std::ranges::copy(text, block->data);
        block->data[text.size()] = 0;
        return 0;
    }

    static qintptr SetSelection(HexControl& control, quintptr /*wParam*/, quintptr lParam)
    {
        if (lParam == 0) {
            return kBad;
        }
        return control.Act(Origin::kHost, [&] {
            control.m_data.SetSelection(*At<const HexSelection>(lParam));
            return qintptr{0};
        });
    }

    static qintptr ShowOffset(HexControl& control, quintptr /*wParam*/, quintptr lParam)
    {
        const auto* offset = At<const std::int64_t>(lParam);
        if (offset == nullptr || *offset < 0 ||
            static_cast<std::uint64_t>(*offset) > static_cast<std::uint64_t>(control.m_data.baseAddress) +
                                                      static_cast<std::uint64_t>(control.m_data.Size())) {
            return kBad;
        }
        control.Act(Origin::kHost, [&] { return control.m_view.ScrollTo(control.m_view.RowOf(*offset)); });
        return 0;
    }

    static qintptr SetMarks(HexControl& control, quintptr wParam, quintptr lParam)
    {
        const auto count = static_cast<qintptr>(wParam);
        if (count <= 0 || lParam == 0) {
            return kBad;
        }
        try {
            const auto* marks = At<const HexSelection>(lParam);
            control.m_data.marks.assign(marks, marks + count);
        } catch (const std::exception&) { // no memory, or more than a vector can hold
            return kFailed;
        }
        control.viewport()->update();
        return 0;
    }

    static qintptr SetColours(HexControl& control, quintptr /*wParam*/, quintptr lParam)
    {
        if (lParam != 0) {
            constexpr auto kCount = static_cast<std::size_t>(HexColourIndex::kCount);
            control.m_colours = HexColours::Of(
                std::span<const std::uint32_t, kCount>(At<const std::uint32_t>(lParam), kCount), control.palette());
            control.viewport()->update();
        }
        return 0;
    }

    /// One field of the font: set it, and return the old one.
    template <auto kField>
    static qintptr SetFont(HexControl& control, quintptr wParam, quintptr /*lParam*/)
    {
        auto& field = control.m_fontFields.*kField;
        const auto fresh = static_cast<std::remove_reference_t<decltype(field)>>(wParam);
        const auto old = std::exchange(field, fresh);
        if (old != fresh) {
            control.RemakeFont();
        }
        return static_cast<qintptr>(old);
    }

    template <auto kField>
    static qintptr GetFont(HexControl& control, quintptr /*wParam*/, quintptr /*lParam*/)
    {
        return static_cast<qintptr>(control.m_fontFields.*kField);
    }

    template <auto kChange>
    static qintptr Step(HexControl& control, quintptr /*wParam*/, quintptr /*lParam*/)
    {
        return Change(control, 1, 0, kChange);
    }

    static const Route kRoutes[];
};

const HexControl::Messages::Route HexControl::Messages::kRoutes[] = {
    {HexMessage::kLoad,
     [](HexControl& control, quintptr, quintptr lParam) {
         return lParam == 0 ? kBad : Load(control, [&] { return control.m_data.Load(*At<const HexDataBlock>(lParam)); });
     },
     Only::kMemory},
    {HexMessage::kFetch,
     [](HexControl& control, quintptr, quintptr lParam) {
         return lParam == 0 ? kBad : static_cast<qintptr>(control.m_data.Fetch(*At<HexDataBlock>(lParam)));
     },
     Only::kMemory},
    {HexMessage::kLoadFile,
     [](HexControl& control, quintptr, quintptr lParam) {
         return lParam == 0 ? kBad : Load(control, [&] { return control.m_data.LoadFile(At<const char>(lParam)); });
     },
     Only::kMemory},
    {HexMessage::kGetSelection,
     [](HexControl& control, quintptr, quintptr lParam) { return Answer(lParam, control.m_data.selection); }},
    {HexMessage::kSetSelection, SetSelection},
    {HexMessage::kShowOffset, ShowOffset},
    {HexMessage::kGetTopOffset,
     [](HexControl& control, quintptr, quintptr lParam) { return Answer(lParam, control.m_view.TopOffset()); }},
    {HexMessage::kGetSize,
     [](HexControl& control, quintptr, quintptr lParam) { return Answer(lParam, control.m_data.Size()); }},
    {HexMessage::kRead, Read},
    {HexMessage::kOverwrite, Overwrite},
    {HexMessage::kInsert, Insert, Only::kMemory},
    {HexMessage::kDump, Dump},
    {HexMessage::kFindFirst,
     [](HexControl& control, quintptr wParam, quintptr lParam) {
         if (lParam == 0) {
             return kBad;
         }
         control.m_data.search.Start(*At<const HexFindBlock>(lParam), control.m_data.baseAddress);
         return control.FindNext(At<QObject>(wParam));
     }},
    {HexMessage::kFindNext,
     [](HexControl& control, quintptr wParam, quintptr) { return control.FindNext(At<QObject>(wParam)); }},
    {HexMessage::kSave,
     [](HexControl& control, quintptr, quintptr) {
         return static_cast<qintptr>(control.Act(Origin::kHost, [&] { return control.m_data.Save(); }));
     }},
    {HexMessage::kSaveAs,
     [](HexControl& control, quintptr, quintptr lParam) {
         const std::string name = lParam == 0 ? std::string() : At<const char>(lParam);
         return static_cast<qintptr>(control.Act(Origin::kHost, [&] { return control.m_data.SaveAs(name); }));
     }},
    {HexMessage::kSetColours, SetColours},
    {HexMessage::kSetFontHeight, SetFont<&HexFont::fontHeight>},
    {HexMessage::kGetFontHeight, GetFont<&HexFont::fontHeight>},
    {HexMessage::kSetFontWeight, SetFont<&HexFont::fontWeight>},
    {HexMessage::kGetFontWeight, GetFont<&HexFont::fontWeight>},
    {HexMessage::kSetFontItalic, SetFont<&HexFont::fontItalic>},
    {HexMessage::kGetFontItalic, GetFont<&HexFont::fontItalic>},
    {HexMessage::kSetCharacterExtra, SetFont<&HexFont::characterExtra>},
    {HexMessage::kGetCharacterExtra, GetFont<&HexFont::characterExtra>},
    {HexMessage::kSetFontCharset, SetFont<&HexFont::fontCharset>},
    {HexMessage::kGetFontCharset, GetFont<&HexFont::fontCharset>},
    {HexMessage::kSetMarks, SetMarks},
    {HexMessage::kCanUndo,
     [](HexControl& control, quintptr, quintptr) -> qintptr { return control.m_data.Log().Count() > 0 ? 1 : 0; }},
    {HexMessage::kUndo, Step<&CHexData::Undo>},
    {HexMessage::kCanRedo,
     [](HexControl& control, quintptr, quintptr) -> qintptr {
         return control.m_data.Log().Count() < control.m_data.Log().Top() ? 1 : 0;
     }},
    {HexMessage::kRedo, Step<&CHexData::Redo>},
    {HexMessage::kCopy,
     [](HexControl& control, quintptr, quintptr) -> qintptr {
         const HexOutcome outcome = control.m_data.Copy();
         control.ShowOutcome(outcome);
         return outcome == HexOutcome::kDone ? 1 : 0;
     }},
    {HexMessage::kPaste, Step<&CHexData::Paste>},
    {HexMessage::kCanPaste,
     [](HexControl& control, quintptr, quintptr) -> qintptr { return control.m_data.CanPaste() ? 1 : 0; }},
    {HexMessage::kDelete,
     [](HexControl& control, quintptr, quintptr) { return Change(control, 0, 1, &CHexData::Delete); }, Only::kMemory},
    {HexMessage::kGetViewSize,
     [](HexControl& control, quintptr, quintptr lParam) {
         return Answer(lParam, static_cast<std::uint16_t>(control.m_view.BytesInView() & 0xFFFF));
     }},
};

qintptr HexControl::Send(std::uint32_t message, quintptr wParam, quintptr lParam)
{
    const auto* route =
        std::ranges::find(Messages::kRoutes, static_cast<HexMessage>(message), &Messages::Route::message);
    if (route == std::end(Messages::kRoutes) ||
        (route->only == Messages::Only::kMemory && m_windowClass != HexWindowClass::kMemory)) {
        return 0;
    }
    return route->handler(*this, wParam, lParam);
}

qintptr HexControl::FindNext(QObject* receiver)
{
    const bool isFound = m_data.search.Next(
        m_data.Store(), [&](unsigned percent) { return SendNotice(receiver, HexNotice::kProgress, percent, 0) != 0; });
    if (isFound) {
        m_pAnswers->found = m_data.search.Position();
        Post(receiver, HexNotice::kFound, 0, reinterpret_cast<quintptr>(&m_pAnswers->found));
    } else {
        Post(receiver, HexNotice::kNotFound, 0, 0);
    }
    return receiver != nullptr ? 1 : 0;
}

} // namespace tolvar
