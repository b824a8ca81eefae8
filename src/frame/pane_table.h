#pragma once

#include <span>

#include "panes/pane.h"
#include "panes/pane_messages.h"
#include "ui/window_context.h"

namespace tolvar {

class CTolvarDoc;

/// What panes are made with. All of it outlives them.
struct PaneContext {
    const WindowContext& window;
    CTolvarDoc& document;
};

/// A pane on a tab of its own.
struct TabPage {
    TextId title;
    IconId icon;
    int id; ///< its property "pageId"
    Pane& (*make)(const PaneContext& context, const TabPage& page, QWidget* parent);
};

/// A pane that takes the place of the value list when its page is asked for.
struct RightPage {
    enum class Life : std::uint8_t {
        kOneUse, ///< goes with the next page
        kStays,  ///< is hidden with the next page, and shown again
    };

    PageId id; ///< its property "pageId" too
    Life life;
    Pane& (*make)(const PaneContext& context, QWidget* parent);
};

// The panes of the window. Made panes are owned by their parent.

/// The left pane's; the first of them is the key tree.
[[nodiscard]] std::span<const TabPage> LeftPages();

/// The lower pane's, in the order of their output numbers.
[[nodiscard]] std::span<const TabPage> OutputPages();

[[nodiscard]] Pane& MakeValueList(const PaneContext& context, QWidget* parent);

/// The page of that id; null for any that has the value list.
[[nodiscard]] const RightPage* FindRightPage(PageId id);

} // namespace tolvar
